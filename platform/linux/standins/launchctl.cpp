// SPDX-License-Identifier: MIT
// launchctl load PLIST: makes the desktop session start the program of the property list at each
// login, with an entry in the user's autostart folder. launchctl unload PLIST: removes that entry,
// also when the list is gone or damaged; then the label is the name of the file.
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
#include <utility>
#include <variant>

namespace {

using namespace kestrelnet;

int refuse(const std::string& reason) {
    std::fprintf(stderr, "launchctl: %s\n", reason.c_str());
    return EXIT_FAILURE;
}

int refuse(const std::string& path, int error) {
    return refuse(path + ": " + std::strerror(error));
}

int load(const LaunchAgent& agent, const std::string& entry) {
    if (!agent.runAtLoad) {
        // The agent is not started at login, so there must be no entry.
        const bool isGone = ::unlink(entry.c_str()) == 0 || errno == ENOENT;
        return isGone ? EXIT_SUCCESS : refuse(entry, errno);
    }
    const std::string folder = autostartFolder();
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

std::variant<LaunchAgent, std::string> read(const std::string& path) {
    const auto text = files::read(path, propertyList::largest);
    if (!text) {
        return path + " cannot be read";
    }
    auto agent = launchAgent(*text);
    if (const auto* const error = std::get_if<Error>(&agent)) {
        return path + ": " + error->description;
    }
    return std::get<LaunchAgent>(std::move(agent));
}

/// The label in the name of a property list, which the application names after the label; empty
/// when the name has another form.
std::string labelInName(const std::string& path) {
    constexpr std::string_view extension = ".plist";
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.ends_with(extension) && isLabel(name)
               ? name.substr(0, name.size() - extension.size())
               : "";
}

std::string entryFor(const std::string& label) {
    return autostartFolder() + "/" + label + ".desktop";
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
    const auto found = read(path);
    const auto* const agent = std::get_if<LaunchAgent>(&found);
    if (subcommand == "load") {
        return agent != nullptr ? load(*agent, entryFor(agent->label))
                                : refuse(std::get<std::string>(found));
    }
    const std::string label = agent != nullptr ? agent->label : labelInName(path);
    return label.empty() ? refuse(std::get<std::string>(found)) : unload(entryFor(label));
}
