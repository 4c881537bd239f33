// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace kestrelnet::privileged {

/// The contents of a file of /proc; empty when it cannot be read. The library's streams would
/// double the size of a statically linked program.
inline std::string readProcFile(const std::string& path) {
    std::string text;
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 4096> part{};
    for (ssize_t size = 0; file >= 0 && (size = ::read(file, part.data(), part.size())) > 0;) {
        text.append(part.data(), static_cast<std::size_t>(size));
    }
    ::close(file);
    return text;
}

} // namespace kestrelnet::privileged
