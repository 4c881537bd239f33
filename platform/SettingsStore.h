// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// Where UserDefaults keeps its values; see there for the operations. Those that write return
/// whether they succeeded, and log a failure.
class SettingsStore {
  public:
    SettingsStore() = default;
    virtual ~SettingsStore() = default;
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    virtual std::optional<std::string> string(std::string_view key) = 0;
    virtual bool boolean(std::string_view key) = 0;
    virtual bool setString(std::string_view key, std::string_view value) = 0;
    virtual bool setBoolean(std::string_view key, bool value) = 0;
    virtual void clear() = 0;

  protected:
    /// Whether a stored text stands for a true Boolean.
    static bool isTrue(std::string_view text);
};

/// A store in the file at `path`.
std::unique_ptr<SettingsStore> settingsFile(const std::string& path);

/// The user's store of the application that `domain` names (reverse DNS), in the system's usual
/// place.
std::unique_ptr<SettingsStore> standardSettings(const std::string& domain);

} // namespace kestrelnet
