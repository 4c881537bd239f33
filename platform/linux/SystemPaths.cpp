// SPDX-License-Identifier: MIT
#include "platform/SystemPaths.h"
#include "platform/FileManager.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

bool isPrivateFolder(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid() && (status.st_mode & ACCESSPERMS) == S_IRWXU;
}

} // namespace

std::string files::temporaryDirectory() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime == '/' && isPrivateFolder(runtime)) {
        return std::string(runtime) + '/';
    }
    const std::string own = "/tmp/kestrelnet-" + std::to_string(::geteuid());
    ::mkdir(own.c_str(), S_IRWXU);
    if (isPrivateFolder(own)) {
        return own + '/';
    }
    // Somebody else has taken the name. Below the last resort nothing can be created at all.
    std::string fresh = own + "-XXXXXX";
    return ::mkdtemp(fresh.data()) != nullptr ? fresh + '/' : "/dev/null/";
}

std::string systemPaths::osascript(const std::string& bundle) {
    return bundle + "/Contents/Helpers/osascript";
}

std::string systemPaths::tail(const std::string& bundle) {
    return bundle + "/Contents/Helpers/tail";
}

} // namespace kestrelnet
