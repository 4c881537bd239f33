// SPDX-License-Identifier: MIT
#include "platform/FileManager.h"

#include <QFile>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace kestrelnet::files {

namespace {

/// Gives the new file the owner and group of the one at `path`, which it replaces.
bool keepOwner(const std::string& path, int replacement) {
    struct stat before {};
    struct stat after {};
    if (::stat(path.c_str(), &before) != 0) {
        return true;
    }
    return ::fstat(replacement, &after) == 0 &&
           ((before.st_uid == after.st_uid && before.st_gid == after.st_gid) ||
            ::fchown(replacement, before.st_uid, before.st_gid) == 0);
}

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

bool writeAtomically(const std::string& path, std::string_view text) {
    // QSaveFile keeps the permissions of an existing file and follows a link. Flush explicitly:
    // commit() does not report that the rest of the buffer could not be written.
    QSaveFile file(QFile::decodeName(path.c_str()));
    const auto size = static_cast<qint64>(text.size());
    return file.open(QIODevice::WriteOnly) && keepOwner(path, file.handle()) &&
           file.write(text.data(), size) == size && file.flush() && ::fsync(file.handle()) == 0 &&
           file.commit();
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
