// SPDX-License-Identifier: MIT
#include "platform/UserDefaults.h"

#include "platform/Log.h"
#include "platform/StandardSettings.h"

#include <QFile>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

void warn(const std::string& message, std::error_code reason) {
    log::warning(log::Category::settings, message, reason);
}

void closeToOthers(const std::filesystem::path& file) {
    using std::filesystem::perms;
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error)) {
        std::filesystem::permissions(file, perms::group_all | perms::others_all,
                                     std::filesystem::perm_options::remove, error);
        if (error) {
            warn("cannot make private " + file.string(), error);
        }
    }
}

/// QSettings keeps the mode of a file that is there, and would make a new one for all to read.
void createPrivate(const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        ::close(descriptor);
    } else if (errno != EEXIST) {
        warn("cannot create " + file.string(), {errno, std::generic_category()});
    }
}

} // namespace

struct UserDefaults::Store {
    explicit Store(std::unique_ptr<QSettings> opened) : settings(std::move(opened)) {
        if (settings->format() == QSettings::IniFormat) {
            file = settings->fileName().toStdString();
            closeToOthers(file);
        }
    }

    /// Writes what was changed, and takes in what another process has written.
    void sync() {
        settings->sync();
        // The status is that of the first error, and stays.
        if (settings->status() != QSettings::NoError && !std::exchange(failed, true)) {
            log::warning(log::Category::settings,
                         settings->status() == QSettings::FormatError
                             ? "the settings are damaged; what cannot be read is missing"
                             : "the settings cannot be read or written");
        }
    }

    QVariant value(std::string_view key) {
        sync();
        return settings->value(QString::fromUtf8(key));
    }

    void set(std::string_view key, const QVariant& value) {
        if (!file.empty()) {
            createPrivate(file);
            closeToOthers(file);
        }
        settings->setValue(QString::fromUtf8(key), value);
        sync();
    }

    void clear() {
        settings->clear();
        sync();
        if (!file.empty()) {
            std::error_code error;
            std::filesystem::remove(file, error);
            if (error) {
                warn("cannot remove " + file.string(), error);
            }
        }
    }

    std::unique_ptr<QSettings> settings;
    /// Empty where the system keeps the settings itself.
    std::filesystem::path file;
    bool failed = false;
};

UserDefaults::UserDefaults(const std::string& path)
    : UserDefaults(std::make_unique<Store>(
          std::make_unique<QSettings>(QFile::decodeName(path.c_str()), QSettings::IniFormat))) {}

UserDefaults::UserDefaults(std::unique_ptr<Store> store) : store_(std::move(store)) {}

UserDefaults::~UserDefaults() = default;

std::shared_ptr<UserDefaults> UserDefaults::standard(const std::string& domain) {
    return std::shared_ptr<UserDefaults>(
        new UserDefaults(std::make_unique<Store>(standardSettings(domain))));
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    const QVariant value = store_->value(key);
    if (value.typeId() != QMetaType::QString) {
        return std::nullopt;
    }
    return value.toString().toStdString();
}

bool UserDefaults::boolean(std::string_view key) const {
    // QVariant would take any other text for true.
    static constexpr std::array accepted{QLatin1String("true"), QLatin1String("1"),
                                         QLatin1String("yes")};
    const QString value = store_->value(key).toString();
    return std::any_of(accepted.begin(), accepted.end(), [&value](QLatin1String text) {
        return value.compare(text, Qt::CaseInsensitive) == 0;
    });
}

void UserDefaults::set(std::string_view key, std::string_view value) {
    store_->set(key, QString::fromUtf8(value));
}

void UserDefaults::setBoolean(std::string_view key, bool value) {
    store_->set(key, value);
}

void UserDefaults::removePersistentDomain() {
    store_->clear();
}

} // namespace kestrelnet
