// SPDX-License-Identifier: MIT
#include "tests/support/HangingFile.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/fuse.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {

HangingFile::HangingFile() : device_(::open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
    ::unlink(isWritten);
    ::close(::open(path, O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
    const std::string options =
        "fd=" + std::to_string(device_) + ",rootmode=100666,user_id=4711,group_id=4711,allow_other";
    isMounted_ = ::mount("hanging", path, "fuse", 0, options.c_str()) == 0;
    server_ = ::fork();
    if (server_ == 0) {
        serve();
    }
    ::close(device_);
}

HangingFile::~HangingFile() {
    ::kill(server_, SIGKILL);
    ::waitpid(server_, nullptr, 0);
    ::umount2(path, MNT_DETACH);
}

template <typename Answer>
void HangingFile::answer(std::uint64_t request, const Answer& answer) const {
    fuse_out_header header{.len = sizeof header + sizeof answer, .error = 0, .unique = request};
    std::array<iovec, 2> parts{
        iovec{.iov_base = &header, .iov_len = sizeof header},
        iovec{.iov_base = const_cast<Answer*>(&answer), .iov_len = sizeof answer}};
    if (::writev(device_, parts.data(), parts.size()) < 0) {
        ::_exit(1);
    }
}

void HangingFile::serve() const {
    alignas(fuse_in_header) std::array<char, 1U << 18U> buffer{};
    for (;;) {
        if (::read(device_, buffer.data(), buffer.size()) <= 0) {
            if (errno != EINTR && errno != ENOENT) {
                ::_exit(0);
            }
            continue;
        }
        fuse_in_header request{};
        std::memcpy(&request, buffer.data(), sizeof request);
        if (request.opcode == FUSE_INIT) {
            fuse_init_out reply{};
            reply.major = FUSE_KERNEL_VERSION;
            reply.minor = FUSE_KERNEL_MINOR_VERSION;
            reply.max_write = 1U << 16U;
            answer(request.unique, reply);
        } else if (request.opcode == FUSE_OPEN) {
            answer(request.unique, fuse_open_out{});
        } else if (request.opcode == FUSE_GETATTR) {
            fuse_attr_out reply{};
            reply.attr.ino = FUSE_ROOT_ID;
            reply.attr.mode = S_IFREG | 0666;
            reply.attr.nlink = 1;
            answer(request.unique, reply);
        } else if (request.opcode == FUSE_WRITE) {
            ::close(::open(isWritten, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        } else {
            const fuse_out_header done{
                .len = sizeof done, .error = -ENOSYS, .unique = request.unique};
            [[maybe_unused]] const ssize_t size = ::write(device_, &done, sizeof done);
        }
    }
}

} // namespace kestrelnet
