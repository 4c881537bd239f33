// SPDX-License-Identifier: MIT
// instance-probe PATIENCE-IN-MILLISECONDS [URL...]: acts as one process of the application. Prints
// the result of the acquisition, then each request, until it is ended.
#include "platform/ApplicationInstance.h"

#include <QCoreApplication>

#include <cstdlib>
#include <iostream>
#include <span>

namespace {

using kestrelnet::ApplicationInstance;

void print(const std::string& text) {
    std::cout << text << std::endl;
}

std::string nameOf(ApplicationInstance::Acquisition acquisition) {
    switch (acquisition) {
    case ApplicationInstance::Acquisition::acquired:
        return "acquired";
    case ApplicationInstance::Acquisition::unavailable:
        return "unavailable";
    case ApplicationInstance::Acquisition::passedOn:
        return "passed on";
    case ApplicationInstance::Acquisition::unresponsive:
        return "unresponsive";
    }
    return {};
}

std::string offeredToken() {
    const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
    return token == nullptr ? "" : std::string(", token ") + token;
}

} // namespace

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    const std::span<char*> words(arguments, static_cast<std::size_t>(count));
    if (words.size() < 2) {
        return EXIT_FAILURE;
    }
    const std::chrono::milliseconds patience(std::strtol(words[1], nullptr, 10));
    ApplicationInstance instance("com.kestrelnetvpn.app");
    const auto acquisition =
        instance.acquire(std::vector<std::string>(words.begin() + 2, words.end()), patience);
    print(nameOf(acquisition));
    if (acquisition != ApplicationInstance::Acquisition::acquired &&
        acquisition != ApplicationInstance::Acquisition::unavailable) {
        return EXIT_SUCCESS;
    }
    instance.setHandlers(
        {.activate = [] { print("activate" + offeredToken()); },
         .open = [](const std::string& url) { print("open " + url + offeredToken()); }});
    return QCoreApplication::exec();
}
