// SPDX-License-Identifier: MIT
#include "tests/privileged/InstallTest.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace kestrelnet {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

void InstallTest::SetUp() {
    fs::remove_all("/Library");
    fs::remove_all(contents);
    fs::remove(systemClient);
    rootWorld::install(KESTRELNET_BUILT_BUNDLE "/Contents/Resources/install-helper.sh",
                       contents + "/Resources");
    rootWorld::install(KESTRELNET_BUILT_BUNDLE "/Contents/Helpers/com.kestrelnetvpn.tunnel",
                       contents + "/Helpers");
}

void InstallTest::TearDown() {
    for (const std::string& path : stubs_) {
        fs::remove(path);
    }
}

void InstallTest::addStub(const std::string& name, const std::string& text) {
    // The first folder of the script's search path.
    const std::string path = "/usr/sbin/" + name;
    ASSERT_FALSE(fs::exists(path));
    write(path, "#!/bin/bash\n" + text + '\n');
    stubs_.push_back(path);
}

void InstallTest::write(const std::string& path, const std::string& text, mode_t mode) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
    EXPECT_EQ(::chmod(path.c_str(), mode), 0);
}

std::string InstallTest::inFolder(const std::string& name) {
    std::string path = folder;
    return path.append("/").append(name);
}

std::string InstallTest::temporary(const std::string& target) {
    return inFolder('.' + fs::path(target).filename().string() + ".a1B2c3");
}

void InstallTest::changeBundledHelper() {
    std::ofstream(bundledHelper, std::ios::app) << "more";
}

std::string InstallTest::facts(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return "no file";
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%u:%u %04o", status.st_uid, status.st_gid,
                  status.st_mode & 07777U);
    return text.data();
}

std::vector<std::string> InstallTest::names(const std::string& path) {
    std::vector<std::string> found;
    if (fs::exists(path)) {
        for (const auto& entry : fs::directory_iterator(path)) {
            found.push_back(entry.path().filename());
        }
    }
    return found;
}

InstallTest::Outcome InstallTest::run(const Environment& environment, const std::string& arguments,
                                      const std::string& path) {
    std::string command = "cd /tmp; env -i";
    for (const auto& [name, value] : environment) {
        command.append(" '").append(name).append("=").append(value).append("'");
    }
    command += " /bin/bash '" + path + "' " + arguments + " >/tmp/output 2>/tmp/errors";
    const int status = runAsRoot(command);
    return {status, readFile("/tmp/output"), readFile("/tmp/errors")};
}

InstallTest::Outcome InstallTest::runFor(const rootWorld::User& user) {
    return run({{"PKEXEC_UID", std::to_string(user.uid)}});
}

void InstallTest::expectInstalled(const std::string& clientText) {
    EXPECT_EQ(facts(client), "0:0 0755");
    EXPECT_EQ(facts(helper), "0:0 4755");
    EXPECT_EQ(readFile(client), clientText);
    EXPECT_TRUE(readFile(helper) == readFile(bundledHelper));
    EXPECT_THAT(names(folder),
                UnorderedElementsAre("com.kestrelnetvpn.tunnel", "kestrelnet-client"));
}

void InstallTest::expectRefusal(const Outcome& outcome, const std::string& message) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "Kestrelnet: " + message + ".\n");
    EXPECT_THAT(names(folder), IsEmpty());
}

} // namespace kestrelnet
