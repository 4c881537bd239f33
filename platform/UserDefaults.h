// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

class SettingsStore;

/// The per-user settings store. Main thread only. What cannot be read is missing. A failed write is
/// logged, and changes nothing: all values stay as they were.
class UserDefaults {
  public:
    /// The store in the file at `path`, created with mode 0600 at the first write.
    explicit UserDefaults(const std::string& path);
    ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    /// The user's store of the application that `domain` names, for example "com.example.app".
    static std::shared_ptr<UserDefaults> standard(const std::string& domain);

    /// The text stored under `key`; nothing when it is missing or no text. Empty text is a value.
    std::optional<std::string> string(std::string_view key) const;
    /// True when a true Boolean is stored under `key`; false when it is missing or anything else.
    bool boolean(std::string_view key) const;

    // Written through to the file before they return. Return whether that succeeded.

    /// Kept exactly. `value` is UTF-8.
    bool set(std::string_view key, std::string_view value);
    /// For `bool` alone: a pointer to characters is a text.
    bool set(std::string_view key, std::same_as<bool> auto value) { return setBoolean(key, value); }

    /// Removes every value. A file of its own is removed as well; a later write creates a new one.
    void removePersistentDomain();

  private:
    bool setBoolean(std::string_view key, bool value);

    explicit UserDefaults(std::unique_ptr<SettingsStore> store);
    std::unique_ptr<SettingsStore> store_;
};

} // namespace kestrelnet
