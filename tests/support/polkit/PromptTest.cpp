// SPDX-License-Identifier: MIT
#include "tests/support/polkit/PromptTest.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace kestrelnet {

namespace {

namespace fs = std::filesystem;

const std::string systemClient = "/usr/local/bin/kestrelnet-client";

} // namespace

void PromptTest::SetUp() {
    rootWorld::installBundle();
    rootWorld::install(KESTRELNET_CONTROLLER, rootWorld::bundle + "/Contents/Linux");
    rootWorld::install(rootWorld::bundle + "/Contents/Resources/com.kestrelnetvpn.app.policy",
                       "/usr/share/polkit-1/actions");
    errors_ = "/tmp/errors";
}

void PromptTest::TearDown() {
    if (HasFailure()) {
        std::cerr << "The application's standard error:\n"
                  << readFile(errors_) << "Processes: " << testing::PrintToString(strays())
                  << "\nFiles: " << testing::PrintToString(runFiles()) << '\n';
    }
}

FakeClient& PromptTest::install(std::string_view mode, std::string_view argument) {
    clients_.push_back(std::make_unique<FakeClient>(mode, argument));
    clients_.back()->installAt(systemClient);
    // The client is a link into this folder, and the application checks whether the client exists.
    fs::permissions(fs::path(clients_.back()->executable()).parent_path(),
                    static_cast<fs::perms>(0755));
    return *clients_.back();
}

void PromptTest::startController(const std::string& key) {
    std::vector<std::string> command =
        PolkitWorld::inSession({"/bin/sh", "-c", R"(exec "$0" 2>"$1")",
                                rootWorld::bundle + "/Contents/Linux/controller", "/tmp/errors"});
    controller.emplace(command);
    EXPECT_TRUE(tells("status Disconnected"));
    controller->tell("key " + key);
}

FakeClient& PromptTest::connect(std::string_view mode, std::string_view argument) {
    FakeClient& client = install(mode, argument);
    startController();
    controller->tell("connect");
    EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
    return client;
}

void PromptTest::connectScript(const std::string& text) {
    static constexpr const char* ready = "/tmp/ready";
    fs::remove(ready);
    fs::remove(systemClient);
    std::ofstream(systemClient) << "#!/bin/sh\n" << text;
    fs::permissions(systemClient, static_cast<fs::perms>(0755));
    startController();
    controller->tell("connect");
    EXPECT_TRUE(waitFor([] { return fs::exists(ready); }));
}

std::optional<std::string> PromptTest::readError() {
    std::optional<std::string> line;
    [[maybe_unused]] const bool came = waitFor([&] {
        const std::string text = readFile(errors_).substr(errorsRead_);
        if (const std::size_t end = text.find('\n'); end != std::string::npos) {
            line = text.substr(0, end);
            errorsRead_ += end + 1;
        }
        return line.has_value();
    });
    return line;
}

std::vector<rootWorld::Survivor> PromptTest::strays() const {
    std::vector<rootWorld::Survivor> found = rootWorld::processes();
    std::erase_if(found, [this](const rootWorld::Survivor& process) {
        constexpr std::array known{"dbus-daemon", "polkitd", "authentication-"};
        return (controller && process.pid == controller->pid()) ||
               std::any_of(known.begin(), known.end(), [&process](const char* name) {
                   return process.command.find(name) != std::string::npos;
               });
    });
    return found;
}

bool PromptTest::isTidy() const {
    return waitFor([this] { return strays().empty() && runFiles().empty(); });
}

std::optional<pid_t> PromptTest::find(std::string_view part) const {
    std::optional<pid_t> pid;
    [[maybe_unused]] const bool found = waitFor([&] {
        for (const rootWorld::Survivor& process : strays()) {
            if (process.command.find(part) != std::string::npos) {
                pid = process.pid;
            }
        }
        return pid.has_value();
    });
    return pid;
}

std::pair<pid_t, pid_t> PromptTest::processesOfTheRunner() const {
    std::vector<pid_t> found;
    for (const auto& process : strays()) {
        if (process.command.find("/Contents/Helpers/kestrelnet-run") != std::string::npos) {
            found.push_back(process.pid);
        }
    }
    EXPECT_EQ(found.size(), 2U);
    found.resize(2, -1);
    const auto [front, guard] = std::minmax(found[0], found[1]);
    return {front, guard};
}

std::vector<std::string> PromptTest::runFiles() {
    std::vector<std::string> names;
    for (const auto& entry :
         fs::directory_iterator("/run/user/" + std::to_string(rootWorld::user.uid))) {
        if (entry.path().filename().string().starts_with("kestrelnet-")) {
            names.push_back(entry.path().filename());
        }
    }
    return names;
}

} // namespace kestrelnet
