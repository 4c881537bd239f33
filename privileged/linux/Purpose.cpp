// SPDX-License-Identifier: MIT
#include "privileged/linux/Purpose.h"

#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

// The application writes these commands.
constexpr std::string_view launcher = "kestrelnet-launcher.sh";
constexpr std::string_view outputFifo = "kestrelnet-output.fifo";
constexpr std::string_view removal =
    "rm -f /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";

/// The shell gives other characters of an unquoted word a meaning.
constexpr std::string_view plainCharacters =
    "/._-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool isPrivate(const std::string& folder, uid_t user) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == user && (status.st_mode & ALLPERMS) == S_IRWXU;
}

bool isConnect(std::string_view text, uid_t user) {
    const std::size_t end = text.find(launcher);
    if (end == std::string_view::npos || end < 2) {
        return false;
    }
    std::string folder(text.substr(0, end));
    std::string expected = folder;
    expected.append(launcher).append(" > ").append(folder).append(outputFifo).append(" 2>&1");
    if (text != expected || !folder.starts_with('/') || !folder.ends_with('/') ||
        folder.find_first_not_of(plainCharacters) != std::string::npos) {
        return false;
    }
    folder.pop_back();
    return isPrivate(folder, user);
}

bool isInstallation(std::string_view text, std::string_view bundle) {
    std::string expected = "/bin/bash '";
    expected.append(bundle).append("/Contents/Resources/install-helper.sh'");
    return bundle.starts_with('/') && bundle.find('\'') == std::string_view::npos &&
           text == expected;
}

} // namespace

std::string purpose::ownBundle() {
    constexpr std::string_view helpers = "/Contents/Helpers";
    std::array<char, 4096> path{};
    const ssize_t size = ::readlink("/proc/self/exe", path.data(), path.size());
    const std::string_view self(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::string_view folder = self.substr(0, self.rfind('/'));
    return std::string(folder.ends_with(helpers) ? folder.substr(0, folder.size() - helpers.size())
                                                 : "");
}

const char* purpose::of(std::string_view text, uid_t user, std::string_view bundle) {
    if (isConnect(text, user)) {
        return connect;
    }
    if (isInstallation(text, bundle)) {
        return install;
    }
    return text == removal ? remove : command;
}

} // namespace kestrelnet::privileged
