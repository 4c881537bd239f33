// SPDX-License-Identifier: MIT
#include "platform/Bundle.h"

#include <QCoreApplication>

#include <filesystem>
#include <system_error>

namespace kestrelnet::bundle {

std::string mainBundlePath() {
    const std::filesystem::path named = QCoreApplication::applicationFilePath().toStdString();
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(named, error);
    const std::filesystem::path folder = (error ? named : resolved).parent_path();
    const std::filesystem::path contents = folder.parent_path();
    return contents.filename() == "Contents" ? contents.parent_path() : folder;
}

} // namespace kestrelnet::bundle
