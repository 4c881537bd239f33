// SPDX-License-Identifier: MIT
#include "platform/Bundle.h"

#include "platform/FileManager.h"
#include "platform/PropertyList.h"

#include <QCoreApplication>

#include <filesystem>

namespace kestrelnet::bundle {

std::string mainBundlePath() {
    // The toolkit has resolved all links in it.
    const std::filesystem::path executable = QCoreApplication::applicationFilePath().toStdString();
    const std::filesystem::path folder = executable.parent_path();
    const std::filesystem::path contents = folder.parent_path();
    return contents.filename() == "Contents" ? contents.parent_path() : folder;
}

std::optional<std::string> shortVersionString(const std::string& path) {
    const auto text = files::read(path + "/Contents/Info.plist", propertyList::largest);
    if (!text) {
        return std::nullopt;
    }
    const auto parsed = propertyList::parse(*text);
    const auto* const info = std::get_if<propertyList::Value>(&parsed);
    const auto* const version = info != nullptr ? info->at("CFBundleShortVersionString") : nullptr;
    const auto* const shown = version != nullptr ? version->text() : nullptr;
    return shown != nullptr ? std::optional(*shown) : std::nullopt;
}

} // namespace kestrelnet::bundle
