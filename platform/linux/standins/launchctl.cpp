// SPDX-License-Identifier: MIT
// launchctl load PLIST: lets the desktop session start the program of the property list at each
// login, by an entry in the user's autostart folder. launchctl unload PLIST: takes that back.
#include "platform/FileManager.h"
#include "platform/linux/standins/AutostartEntry.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace kestrelnet;

/// No login agent is longer.
constexpr std::size_t largestList = 1024UL * 1024;

int refuse(const std::string& reason) {
    std::fprintf(stderr, "launchctl: %s\n", reason.c_str());
    return EXIT_FAILURE;
}

int load(const LaunchAgent& agent, const std::string& folder, const std::string& entry) {
    if (!agent.runAtLoad) {
        // Known from now on, but nothing that a login starts.
        files::remove(entry);
        return EXIT_SUCCESS;
    }
    if (!files::createFolder(folder)) {
        return refuse(folder + " cannot be made");
    }
    // Whoever keeps such files in a repository has a link here: it stays, and leads to the new
    // text.
    if (!files::writeAtomically(entry, autostartEntry(agent))) {
        return refuse(entry + " cannot be written");
    }
    return EXIT_SUCCESS;
}

int unload(const std::string& entry) {
    return files::remove(entry) ? EXIT_SUCCESS
                                : refuse(entry + " is not there, or cannot be removed");
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view subcommand = count == 3 ? arguments[1] : "";
    if (subcommand != "load" && subcommand != "unload") {
        return refuse("the arguments are \"load\" or \"unload\" and a property list");
    }
    const std::string path = arguments[2];
    const auto text = files::read(path);
    if (!text || text->size() > largestList) {
        return refuse(path + " cannot be read");
    }
    const auto read = launchAgent(*text);
    if (const auto* const error = std::get_if<Error>(&read)) {
        return refuse(path + ": " + error->description);
    }
    const auto& agent = std::get<LaunchAgent>(read);
    const std::string folder = autostartFolder();
    const std::string entry = folder + "/" + agent.label + ".desktop";
    return subcommand == "load" ? load(agent, folder, entry) : unload(entry);
}
