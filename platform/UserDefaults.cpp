// SPDX-License-Identifier: MIT
#include "platform/UserDefaults.h"

#include "platform/SettingsStore.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace kestrelnet {

namespace {

/// Whether the texts are equal but for the case of ASCII letters. `lower` has no capital letters.
bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char written, char expected) {
                          return std::tolower(static_cast<unsigned char>(written)) == expected;
                      });
}

} // namespace

bool SettingsStore::isTrue(std::string_view text) {
    static constexpr std::array<std::string_view, 3> accepted{"true", "1", "yes"};
    return std::any_of(accepted.begin(), accepted.end(),
                       [text](std::string_view value) { return equalsIgnoringCase(text, value); });
}

UserDefaults::UserDefaults(const std::string& path) : UserDefaults(settingsFile(path)) {}

UserDefaults::UserDefaults(std::unique_ptr<SettingsStore> store) : store_(std::move(store)) {}

UserDefaults::~UserDefaults() = default;

std::shared_ptr<UserDefaults> UserDefaults::standard(const std::string& domain) {
    return std::shared_ptr<UserDefaults>(new UserDefaults(standardSettings(domain)));
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    return store_->string(key);
}

bool UserDefaults::boolean(std::string_view key) const {
    return store_->boolean(key);
}

bool UserDefaults::set(std::string_view key, std::string_view value) {
    return store_->setString(key, value);
}

bool UserDefaults::setBoolean(std::string_view key, bool value) {
    return store_->setBoolean(key, value);
}

void UserDefaults::removePersistentDomain() {
    store_->clear();
}

} // namespace kestrelnet
