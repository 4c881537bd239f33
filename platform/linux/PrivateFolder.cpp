// SPDX-License-Identifier: MIT
#include "platform/linux/PrivateFolder.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

bool isPrivate(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & ACCESSPERMS) == S_IRWXU;
}

} // namespace

std::string privateFolder(const char* runtimeFolder, std::string fallback) {
    if (runtimeFolder != nullptr && *runtimeFolder == '/' && isPrivate(runtimeFolder)) {
        return std::string(runtimeFolder) + '/';
    }
    ::mkdir(fallback.c_str(), S_IRWXU);
    if (isPrivate(fallback.c_str())) {
        return fallback + '/';
    }
    fallback += "-XXXXXX";
    // Nothing can be created below /dev/null, so every later use fails.
    return ::mkdtemp(fallback.data()) != nullptr ? fallback + '/' : "/dev/null/";
}

} // namespace kestrelnet
