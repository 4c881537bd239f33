// SPDX-License-Identifier: MIT
#include "platform/linux/standins/AutostartEntry.h"

#include "platform/FileManager.h"
#include "platform/PropertyList.h"

#include <algorithm>
#include <cstdlib>

namespace kestrelnet {

namespace {

constexpr std::string_view opener = "/usr/bin/open";
constexpr std::string_view quietStart = "KESTRELNET_QUIET_START=1";
constexpr std::string_view bundleProgram = "/Contents/Linux/kestrelnet";

bool hasControlCharacter(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

/// Puts a backslash before each of `special`.
std::string escaped(std::string_view text, std::string_view special) {
    std::string result;
    for (const char character : text) {
        if (special.find(character) != std::string_view::npos) {
            result += '\\';
        }
        result += character;
    }
    return result;
}

/// Escapes a value of a desktop entry. An unescaped blank at its start would be lost.
std::string stringValue(std::string_view text) {
    const std::string value = escaped(text, "\\");
    return value.starts_with(' ') ? "\\s" + value.substr(1) : value;
}

/// Escapes one argument of an Exec line: quotes it, doubles "%", then escapes it as a value.
std::string execArgument(std::string_view argument) {
    std::string doubled;
    for (const char character : argument) {
        doubled.append(character == '%' ? 2 : 1, character);
    }
    return escaped('"' + escaped(doubled, "\"`$\\") + '"', "\\");
}

std::optional<std::vector<std::string>> texts(const propertyList::Value* value) {
    const auto* const array = value != nullptr ? value->array() : nullptr;
    if (array == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> result;
    for (const auto& each : *array) {
        if (each.text() == nullptr) {
            return std::nullopt;
        }
        result.push_back(*each.text());
    }
    return result;
}

/// Replaces the command that opens a bundle by the bundle's program.
void resolveOpener(std::vector<std::string>& arguments) {
    if (arguments.size() == 3 && arguments[0] == opener && arguments[1] == "-a") {
        arguments = {arguments[2] + std::string(bundleProgram)};
    }
}

} // namespace

bool isLabel(std::string_view text) {
    return !text.empty() && text.front() != '.' && text.find('/') == std::string_view::npos &&
           !hasControlCharacter(text);
}

std::variant<LaunchAgent, Error> launchAgent(std::string_view text) {
    const auto parsed = propertyList::parse(text);
    if (const auto* const error = std::get_if<Error>(&parsed)) {
        return *error;
    }
    const auto& list = std::get<propertyList::Value>(parsed);
    const auto* const label = list.at("Label");
    if (label == nullptr || label->text() == nullptr || !isLabel(*label->text())) {
        return Error{"\"Label\" is missing, or no plain name"};
    }
    auto arguments = texts(list.at("ProgramArguments"));
    if (!arguments || arguments->empty()) {
        return Error{"\"ProgramArguments\" is missing, or no list of texts"};
    }
    resolveOpener(*arguments);
    if (!arguments->front().starts_with('/')) {
        return Error{"the program has no absolute path"};
    }
    if (std::any_of(arguments->begin(), arguments->end(), hasControlCharacter)) {
        return Error{"a control character stands in \"ProgramArguments\""};
    }
    const auto* const runAtLoad = list.at("RunAtLoad");
    const auto* const isOn = runAtLoad != nullptr ? runAtLoad->boolean() : nullptr;
    return LaunchAgent{*label->text(), *std::move(arguments), isOn != nullptr && *isOn};
}

std::string autostartEntry(const LaunchAgent& agent) {
    const std::string& program = agent.arguments.front();
    // The mark tells the program that nobody waits for its window. It also helps where the path
    // contains "%": GLib and systemd look up the first word before they replace "%%" by "%".
    std::string exec = "/usr/bin/env " + std::string(quietStart);
    // "env" would take a path with "=" for a variable. "nice" changes nothing here.
    if (program.find('=') != std::string::npos) {
        exec += " /usr/bin/nice -n 0";
    }
    for (const std::string& argument : agent.arguments) {
        exec += " " + execArgument(argument);
    }
    return "# Kestrelnet writes and removes this file as \"Start at login\" is switched.\n"
           "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Kestrelnet\n"
           "Icon=com.kestrelnetvpn.app\n"
           "Exec=" +
           exec + "\nTryExec=" + stringValue(program) +
           "\nTerminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::string autostartFolder() {
    const auto absolute = [](const char* variable) -> std::string {
        const char* const value = std::getenv(variable);
        return value != nullptr && *value == '/' ? value : "";
    };
    std::string folder = absolute("XDG_CONFIG_HOME");
    if (folder.empty()) {
        const std::string home = absolute("HOME");
        folder = (home.empty() ? files::homeDirectory() : home) + "/.config";
    }
    return folder + "/autostart";
}

} // namespace kestrelnet
