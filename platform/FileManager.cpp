// SPDX-License-Identifier: MIT
#include "platform/FileManager.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kestrelnet::files {

namespace {

/// Follows `path` while it is a link. Empty for links in a circle.
std::string linkTarget(std::string path) {
    constexpr int mostLinks = 40;
    for (int links = 0; links < mostLinks; ++links) {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) {
            return path;
        }
        path = (std::filesystem::path(path).parent_path() / target).string();
    }
    return {};
}

/// A new file beside another one, under a name that nothing had. Removed when destroyed, unless it
/// has replaced the other one. The functions set errno on failure.
class Draft {
  public:
    Draft(const std::string& target, mode_t mode) : target_(target) {
        static std::atomic<unsigned> count = 0;
        constexpr int mostTries = 100;
        for (int tries = 0; tries < mostTries && descriptor_ < 0; ++tries) {
            path_ = target_ + '.' + std::to_string(::getpid()) + '-' + std::to_string(++count);
            descriptor_ =
                ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
            if (descriptor_ < 0 && errno != EEXIST) {
                return;
            }
        }
    }
    ~Draft() {
        if (descriptor_ >= 0) {
            const int reason = errno;
            ::close(descriptor_);
            ::unlink(path_.c_str());
            errno = reason;
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Gives it the owner, the group and the mode of another file.
    bool copyRights(const struct stat& of) const {
        struct stat own {};
        return ::fstat(descriptor_, &own) == 0 &&
               ((own.st_uid == of.st_uid && own.st_gid == of.st_gid) ||
                ::fchown(descriptor_, of.st_uid, of.st_gid) == 0) &&
               ::fchmod(descriptor_, of.st_mode & 07777U) == 0;
    }

    bool write(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t size = ::write(descriptor_, text.data(), text.size());
            if (size < 0 && errno != EINTR) {
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
        return ::fsync(descriptor_) == 0;
    }

    bool replaceTarget() {
        if (::rename(path_.c_str(), target_.c_str()) != 0) {
            return false;
        }
        ::close(std::exchange(descriptor_, -1));
        return true;
    }

  private:
    std::string target_;
    std::string path_;
    int descriptor_ = -1;
};

} // namespace

bool exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

bool createFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return !error && std::filesystem::is_directory(path, error);
}

std::optional<std::string> read(const std::string& path, std::int64_t largest) {
    // Opening a named pipe would block.
    QFile file;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
                                     QFileDevice::AutoCloseHandle)) {
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largest) {
        return std::nullopt;
    }
    const QByteArray text = file.readAll();
    return file.error() == QFileDevice::NoError ? std::optional(text.toStdString()) : std::nullopt;
}

bool writeAtomically(const std::string& path, std::string_view text, unsigned mode) {
    const std::string target = linkTarget(path);
    struct stat before {};
    const bool replaces = ::stat(target.c_str(), &before) == 0;
    if (target.empty() || (replaces && !S_ISREG(before.st_mode))) {
        errno = target.empty() ? ELOOP : EEXIST;
        return false;
    }
    Draft draft(target, replaces ? 0600 : static_cast<mode_t>(mode));
    return draft.isOpen() && (!replaces || draft.copyRights(before)) && draft.write(text) &&
           draft.replaceTarget();
}

bool setPermissions(const std::string& path, unsigned mode) {
    return ::chmod(path.c_str(), static_cast<mode_t>(mode)) == 0;
}

bool remove(const std::string& path) {
    std::error_code error;
    return std::filesystem::remove_all(path, error) > 0 && !error;
}

bool makeFifo(const std::string& path, unsigned mode) {
    return ::mkfifo(path.c_str(), static_cast<mode_t>(mode)) == 0;
}

std::string standardizedPath(const std::string& path) {
    std::filesystem::path standardized;
    for (const std::filesystem::path& part : std::filesystem::path(path)) {
        if (part == "..") {
            std::error_code error;
            const std::filesystem::path real = std::filesystem::canonical(standardized, error);
            standardized = (error ? standardized : real).parent_path();
        } else if (!part.empty() && part != ".") {
            standardized /= part;
        }
    }
    return standardized.string();
}

std::string homeDirectory() {
    constexpr std::size_t largestRecord = 1024UL * 1024;
    for (std::size_t size = 1024; size <= largestRecord; size *= 4) {
        std::vector<char> buffer(size);
        passwd record{};
        passwd* found = nullptr;
        const int error = ::getpwuid_r(::getuid(), &record, buffer.data(), size, &found);
        if (error == ERANGE) {
            continue;
        }
        std::string home = found != nullptr ? found->pw_dir : "";
        while (home.ends_with('/')) {
            home.pop_back();
        }
        return home;
    }
    return {};
}

} // namespace kestrelnet::files
