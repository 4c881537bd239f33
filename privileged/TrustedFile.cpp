// SPDX-License-Identifier: MIT
#include "privileged/TrustedFile.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

const char* reasonFor(int error) {
    switch (error) {
    case ENOENT:
        return "is missing";
    case ELOOP:
    case ENOTDIR:
        return "is, or lies behind, a symbolic link or something that is no folder";
    default:
        return "cannot be opened";
    }
}

const char* check(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return "cannot be examined";
    }
    if (status.st_uid != 0) {
        return "does not belong to root, or lies in a folder that does not";
    }
    // The sticky bit does not help: anybody may add a file to such a folder.
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return "can be replaced by others than root, or lies in a folder where it can";
    }
    return nullptr;
}

const char* checkProgram(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        (status.st_mode & S_IXUSR) == 0) {
        return "is no program";
    }
    return nullptr;
}

/// Opens and checks the entry `name` of the folder `parent`, and closes `parent`.
TrustedFile step(int parent, const std::string& name, int flags) {
    TrustedFile next;
    // O_NONBLOCK: opening a named pipe must not wait.
    next.descriptor =
        ::openat(parent, name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_RDONLY | O_CLOEXEC);
    next.problem = next.descriptor < 0 ? reasonFor(errno) : check(next.descriptor);
    if (parent >= 0) {
        ::close(parent);
    }
    return next;
}

} // namespace

TrustedFile openTrusted(const char* path) {
    TrustedFile file = step(-1, "/", O_DIRECTORY);
    std::string_view rest = std::string_view(path).substr(1);
    while (file.problem == nullptr && !rest.empty()) {
        const std::size_t slash = rest.find('/');
        const bool isFolder = slash != std::string_view::npos;
        file =
            step(file.descriptor, std::string(rest.substr(0, slash)), isFolder ? O_DIRECTORY : 0);
        rest.remove_prefix(isFolder ? slash + 1 : rest.size());
    }
    if (file.problem == nullptr) {
        file.problem = checkProgram(file.descriptor);
    }
    if (file.problem != nullptr && file.descriptor >= 0) {
        ::close(file.descriptor);
        file.descriptor = -1;
    }
    return file;
}

} // namespace kestrelnet::privileged
