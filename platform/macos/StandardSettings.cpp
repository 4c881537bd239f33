// SPDX-License-Identifier: MIT
// The native preferences. The toolkit's own access to them escapes texts that begin with "@".
#include "platform/Log.h"
#include "platform/SettingsStore.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <system_error>
#include <type_traits>

namespace kestrelnet {

namespace {

struct Release {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns a reference to an object, or is empty.
template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, Release>;

/// Empty if `text` is not UTF-8.
Owned<CFStringRef> native(std::string_view text) {
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

std::string utf8(CFStringRef text) {
    const CFRange all{0, CFStringGetLength(text)};
    CFIndex size = 0;
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string result(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(result.data()), size, nullptr);
    return result;
}

/// The domain of the user on all computers.
class Preferences : public SettingsStore {
  public:
    explicit Preferences(const std::string& domain) : domain_(native(domain)) {}

    std::optional<std::string> string(std::string_view key) override {
        const Owned<CFTypeRef> value = read(key);
        if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID()) {
            return std::nullopt;
        }
        return utf8(static_cast<CFStringRef>(value.get()));
    }

    bool boolean(std::string_view key) override {
        const Owned<CFTypeRef> value = read(key);
        if (!value) {
            return false;
        }
        if (CFGetTypeID(value.get()) == CFBooleanGetTypeID()) {
            return CFBooleanGetValue(static_cast<CFBooleanRef>(value.get()));
        }
        return CFGetTypeID(value.get()) == CFStringGetTypeID() &&
               isTrue(utf8(static_cast<CFStringRef>(value.get())));
    }

    bool setString(std::string_view key, std::string_view value) override {
        const Owned<CFStringRef> text = native(value);
        return text && write(key, text.get());
    }

    bool setBoolean(std::string_view key, bool value) override {
        return write(key, value ? kCFBooleanTrue : kCFBooleanFalse);
    }

    void clear() override {
        const Owned<CFArrayRef> keys(CFPreferencesCopyKeyList(
            domain_.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
        if (keys) {
            CFPreferencesSetMultiple(nullptr, keys.get(), domain_.get(), kCFPreferencesCurrentUser,
                                     kCFPreferencesAnyHost);
        }
        finishWriting();
    }

  private:
    Owned<CFTypeRef> read(std::string_view key) {
        synchronize();
        const Owned<CFStringRef> name = native(key);
        return Owned<CFTypeRef>(CFPreferencesCopyValue(
            name.get(), domain_.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    }

    bool write(std::string_view key, CFPropertyListRef value) {
        const Owned<CFStringRef> name = native(key);
        CFPreferencesSetValue(name.get(), value, domain_.get(), kCFPreferencesCurrentUser,
                              kCFPreferencesAnyHost);
        return finishWriting();
    }

    /// Writes what was changed, and takes in what another process has written.
    bool synchronize() {
        return CFPreferencesSynchronize(domain_.get(), kCFPreferencesCurrentUser,
                                        kCFPreferencesAnyHost) != 0;
    }

    bool finishWriting() {
        const bool isDone = synchronize();
        if (!isDone) {
            log::error(log::Category::settings, "the settings cannot be written",
                       std::make_error_code(std::errc::io_error));
        }
        return isDone;
    }

    Owned<CFStringRef> domain_;
};

} // namespace

std::unique_ptr<SettingsStore> standardSettings(const std::string& domain) {
    return std::make_unique<Preferences>(domain);
}

} // namespace kestrelnet
