// SPDX-License-Identifier: MIT
// The settings in an INI file. QSettings would write the same file, but on a full disk it replaces
// a complete file by an incomplete one.
#include "platform/FileManager.h"
#include "platform/Log.h"
#include "platform/SettingsStore.h"
#include "platform/SettingsText.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kestrelnet {

namespace {

namespace fs = std::filesystem;

class SettingsFile : public SettingsStore {
  public:
    explicit SettingsFile(std::string path) : path_(std::move(path)) { closeToOthers(); }

    std::optional<std::string> string(std::string_view key) override {
        return settingsText::value(read(), key);
    }

    bool boolean(std::string_view key) override { return isTrue(string(key).value_or("")); }

    bool setString(std::string_view key, std::string_view value) override {
        files::createFolder(fs::path(path_).parent_path());
        closeToOthers();
        // For a folder or another special file.
        errno = EINVAL;
        const bool isWritten =
            isReadable() &&
            files::writeAtomically(path_, settingsText::withValue(read(), key, value), 0600);
        if (!isWritten) {
            log::error(log::Category::settings, "cannot write " + path_,
                       {errno, std::generic_category()});
        }
        return isWritten;
    }

    bool setBoolean(std::string_view key, bool value) override {
        return setString(key, value ? "true" : "false");
    }

    void clear() override {
        std::error_code error;
        // The target of a link would keep the key.
        const bool isEmpty = !fs::is_symlink(path_, error) || files::writeAtomically(path_, "");
        if (!isEmpty || (!files::remove(path_) && fs::exists(fs::symlink_status(path_, error)))) {
            log::error(log::Category::settings, "cannot remove " + path_,
                       {errno, std::generic_category()});
        }
    }

  private:
    /// The text of the file; none when it is missing or cannot be read.
    std::string read() {
        std::string text = files::read(path_).value_or("");
        if (settingsText::isDamaged(text) && !std::exchange(hasReportedDamage_, true)) {
            log::warning(log::Category::settings,
                         "the settings are damaged; what cannot be read is missing");
        }
        return text;
    }

    /// Whether a file that is there can be read: its other values must not get lost.
    bool isReadable() const { return files::read(path_).has_value() || !files::exists(path_); }

    /// Removes the permissions that an earlier version or the user has given to others.
    void closeToOthers() const {
        std::error_code error;
        if (fs::is_regular_file(path_, error)) {
            fs::permissions(path_, fs::perms::group_all | fs::perms::others_all,
                            fs::perm_options::remove, error);
            if (error) {
                log::warning(log::Category::settings, "cannot make private " + path_, error);
            }
        }
    }

    std::string path_;
    bool hasReportedDamage_ = false;
};

} // namespace

std::unique_ptr<SettingsStore> settingsFile(const std::string& path) {
    return std::make_unique<SettingsFile>(path);
}

} // namespace kestrelnet
