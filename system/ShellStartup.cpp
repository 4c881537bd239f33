// SPDX-License-Identifier: MIT
#include "system/ShellStartup.h"

#include "core/Product.h"

#include <algorithm>

namespace kestrelnet {

std::string withoutOwnLines(std::string_view text) {
    std::string kept;
    kept.reserve(text.size());
    bool isFirst = true;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string_view line = text.substr(begin, end - begin);
        begin = end + 1;
        if (line.find(product::userFolderName) != std::string_view::npos) {
            continue;
        }
        if (!isFirst) {
            kept += '\n';
        }
        isFirst = false;
        kept += line;
    }
    return kept;
}

} // namespace kestrelnet
