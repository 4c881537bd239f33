// SPDX-License-Identifier: MIT
#include "platform/Bundle.h"

#include <QCoreApplication>

#include <filesystem>

namespace kestrelnet::bundle {

std::string mainBundlePath() {
    // Comes with all links resolved.
    const std::filesystem::path executable = QCoreApplication::applicationFilePath().toStdString();
    const std::filesystem::path folder = executable.parent_path();
    const std::filesystem::path contents = folder.parent_path();
    return contents.filename() == "Contents" ? contents.parent_path() : folder;
}

} // namespace kestrelnet::bundle
