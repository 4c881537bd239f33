// SPDX-License-Identifier: MIT
#include "core/AdministratorStatement.h"

namespace kestrelnet {

std::string administratorStatement(const std::string& command) {
    return "do shell script \"" + command + "\" with administrator privileges";
}

} // namespace kestrelnet
