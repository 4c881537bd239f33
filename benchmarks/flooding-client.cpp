// SPDX-License-Identifier: MIT
// A client that writes lines without markers as fast as they are read, and one last line that names
// a server. Then it waits for a signal.

#include "benchmarks/Flood.h"

#include <string>
#include <string_view>
#include <unistd.h>

namespace {

using namespace kestrelnet::benchmarks;

void writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            ::_exit(1);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string linesOf(std::size_t size) {
    std::string lines;
    while (lines.size() < size) {
        std::string line = "keepalive from peer 10.20.30.40, round trip 12 ms, sequence ";
        line.resize(flood::lineSize - 1, '7');
        lines += line + '\n';
    }
    return lines;
}

} // namespace

int main() {
    const std::string block = linesOf(std::size_t{1} << 20);
    for (std::size_t written = 0; written < flood::byteCount; written += block.size()) {
        writeAll(block);
    }
    writeAll(std::string("server: ") + flood::lastServer + '\n');
    // So that cat ends.
    ::close(STDOUT_FILENO);
    ::pause();
}
