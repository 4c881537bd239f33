// SPDX-License-Identifier: MIT
// launchctl load PLIST: makes the desktop session start the program of the property list at each
// login, with an entry in the user's autostart folder. launchctl unload PLIST: removes that entry.
#include "platform/FileManager.h"
#include "platform/PropertyList.h"
#include "platform/linux/standins/AutostartEntry.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace kestrelnet;

int refuse(const std::string& reason) {
    std::fprintf(stderr, "launchctl: %s\n", reason.c_str());
    return EXIT_FAILURE;
}

int refuse(const std::string& path, int error) {
    return refuse(path + ": " + std::strerror(error));
}

int load(const LaunchAgent& agent, const std::string& folder, const std::string& entry) {
    if (!agent.runAtLoad) {
        // The agent is not started at login, so there must be no entry.
        const bool isGone = ::unlink(entry.c_str()) == 0 || errno == ENOENT;
        return isGone ? EXIT_SUCCESS : refuse(entry, errno);
    }
    if (!files::createFolder(folder)) {
        return refuse(folder + " cannot be made");
    }
    // Some users keep such files in a repository and link to them: a link stays, and its target
    // gets the new text.
    if (!files::writeAtomically(entry, autostartEntry(agent))) {
        return refuse(entry + " cannot be written");
    }
    return EXIT_SUCCESS;
}

/// Removes the entry; if it is a link, not its target, and never a folder.
int unload(const std::string& entry) {
    return ::unlink(entry.c_str()) == 0 ? EXIT_SUCCESS : refuse(entry, errno);
}

} // namespace

int main(int count, char** arguments) {
    // Only the user may read the new files and folders.
    ::umask(0077);
    const std::string_view subcommand = count == 3 ? arguments[1] : "";
    if (subcommand != "load" && subcommand != "unload") {
        return refuse("usage: launchctl load|unload PLIST");
    }
    const std::string path = arguments[2];
    const auto text = files::read(path, propertyList::largest);
    if (!text) {
        return refuse(path + " cannot be read");
    }
    const auto read = launchAgent(*text);
    if (const auto* const error = std::get_if<Error>(&read)) {
        return refuse(path + ": " + error->description);
    }
    const auto* const agent = std::get_if<LaunchAgent>(&read);
    const std::string folder = autostartFolder();
    const std::string entry = folder + "/" + agent->label + ".desktop";
    return subcommand == "load" ? load(*agent, folder, entry) : unload(entry);
}
