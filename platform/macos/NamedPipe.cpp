// SPDX-License-Identifier: MIT
#include "platform/NamedPipe.h"

#include <unistd.h>

namespace kestrelnet {

std::unique_ptr<NamedPipe> NamedPipe::at(const std::string& /*path*/) {
    // Only the reading end tells how much is unread, and to open that end would let writers go on
    // that wait for a reader.
    return nullptr;
}

NamedPipe::~NamedPipe() {
    ::close(descriptor_);
}

std::size_t NamedPipe::unread() const {
    return 0;
}

} // namespace kestrelnet
