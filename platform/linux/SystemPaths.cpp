// SPDX-License-Identifier: MIT
#include "platform/SystemPaths.h"

#include "platform/FileManager.h"
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
    // Below the last resort nothing can be created at all.
    return ::mkdtemp(fallback.data()) != nullptr ? fallback + '/' : "/dev/null/";
}

std::string files::temporaryDirectory() {
    return privateFolder(std::getenv("XDG_RUNTIME_DIR"),
                         "/tmp/kestrelnet-" + std::to_string(::geteuid()));
}

std::string systemPaths::osascript(const std::string& bundle) {
    return bundle + "/Contents/Helpers/osascript";
}

std::string systemPaths::tail(const std::string& bundle) {
    return bundle + "/Contents/Helpers/tail";
}

std::string systemPaths::launchctl(const std::string& bundle) {
    return bundle + "/Contents/Helpers/launchctl";
}

} // namespace kestrelnet
