// SPDX-License-Identifier: MIT
#include "platform/linux/PrivateFolder.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet {

namespace {

bool isPrivate(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid() && (status.st_mode & ACCESSPERMS) == S_IRWXU;
}

bool makePrivate(const std::string& path) {
    // Another process of the user may create it at the same time.
    ::mkdir(path.c_str(), S_IRWXU);
    return isPrivate(path);
}

std::vector<std::string> candidates(const std::string& fallback) {
    constexpr int count = 100;
    std::vector<std::string> names{fallback};
    for (int number = 1; number < count; ++number) {
        names.push_back(fallback + '-' + std::to_string(number));
    }
    return names;
}

} // namespace

std::string privateFolder(const char* runtimeFolder, const std::string& fallback) {
    if (runtimeFolder != nullptr && *runtimeFolder == '/' && isPrivate(runtimeFolder)) {
        return std::string(runtimeFolder) + '/';
    }
    const std::vector<std::string> names = candidates(fallback);
    // An existing folder first: a later caller must find it also when an earlier name becomes free.
    auto found = std::find_if(names.begin(), names.end(), isPrivate);
    if (found == names.end()) {
        found = std::find_if(names.begin(), names.end(), makePrivate);
    }
    // Nothing can be created below /dev/null, so every later use fails.
    return found == names.end() ? "/dev/null/" : *found + '/';
}

} // namespace kestrelnet
