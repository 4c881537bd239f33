// SPDX-License-Identifier: MIT
// launchctl load PLIST: lets the desktop session start the program of the property list at each
// login, by an entry in the user's autostart folder. launchctl unload PLIST: takes that back.
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
        // Known from now on, but nothing that a login starts.
        const bool isGone = ::unlink(entry.c_str()) == 0 || errno == ENOENT;
        return isGone ? EXIT_SUCCESS : refuse(entry, errno);
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

/// Takes the entry itself away: not what a link there leads to, and no folder with all it holds.
int unload(const std::string& entry) {
    return ::unlink(entry.c_str()) == 0 ? EXIT_SUCCESS : refuse(entry, errno);
}

} // namespace

int main(int count, char** arguments) {
    // What is made here, the folders above as well, is the user's alone.
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
