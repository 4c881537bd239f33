// SPDX-License-Identifier: MIT
// osascript -e 'do shell script "COMMAND" with administrator privileges': runs COMMAND as root
// after asking for an administrator's password, see Authorization.h. It understands nothing else.
#include "platform/linux/standins/AppleScriptStatement.h"
#include "platform/linux/standins/Authorization.h"
#include "privileged/CleanState.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace {

/// The program `name` beside this one; empty when that is nowhere.
std::string besideThis(std::string_view name) {
    std::array<char, 4096> path{};
    const ssize_t size = ::readlink("/proc/self/exe", path.data(), path.size());
    const std::string self(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::size_t folder = self.rfind('/');
    return folder == std::string::npos ? "" : self.substr(0, folder + 1).append(name);
}

int refuse(const char* reason) {
    std::fprintf(stderr, "osascript: %s\n", reason);
    return EXIT_FAILURE;
}

} // namespace

int main(int count, char** arguments) {
    using namespace kestrelnet;
    if (const char* const problem = privileged::cleanDescriptors()) {
        return refuse(problem);
    }
    if (count != 3 || std::string_view(arguments[1]) != "-e") {
        return refuse("the arguments are \"-e\" and a statement");
    }
    const auto command = administratorCommand(arguments[2]);
    if (!command) {
        return refuse("syntax error: this is no \"do shell script\" statement with administrator "
                      "privileges");
    }
    return runAsAdministrator(KESTRELNET_PKEXEC, besideThis("kestrelnet-run"), *command);
}
