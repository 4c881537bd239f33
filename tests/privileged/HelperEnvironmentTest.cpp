// SPDX-License-Identifier: MIT
// The environment of the client, whatever the caller has set.
#include "tests/privileged/HelperTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sys/wait.h>

namespace kestrelnet {
namespace {

using testing::IsEmpty;
using testing::IsSupersetOf;

namespace fs = std::filesystem;

const std::string hostile = "/tmp/hostile";

/// Each variable makes a shell, an interpreter or the loader run the user's code.
Environment hostileEnvironment() {
    return {
        {"BASH_ENV", hostile + "/bash-env"},
        {"ENV", hostile + "/env"},
        {"PATH", hostile + "/bin:/usr/bin:/bin"},
        {"LD_PRELOAD", KESTRELNET_HOSTILE_LIBRARY},
        {"LD_AUDIT", hostile + "/audit.so"},
        {"LD_LIBRARY_PATH", hostile},
        {"IFS", "/"},
        {"PYTHONPATH", hostile + "/python"},
        {"PERL5OPT", "-I" + hostile + " -Mharm"},
        {"GLIBC_TUNABLES", "glibc.malloc.check=3:glibc.malloc.tcache_count=0"},
        {"MALLOC_CHECK_", "3"},
        {"SHELLOPTS", "braceexpand:hashall:xtrace"},
        {"PS4", "$(>" + hostile + "/marks/ps4)+ "},
        {"BASH_FUNC_true%%", "() { >" + hostile + "/marks/function; }"},
        {"BASHOPTS", "extdebug"},
        {"HOME", hostile},
        {"TMPDIR", hostile},
        {"SHELL", hostile + "/bin/id"},
        {"LC_ALL", "en_US.UTF-8"},
        {"LOCPATH", hostile},
        {"GCONV_PATH", hostile},
        {"HOSTALIASES", hostile + "/hosts"},
        {"RESOLV_HOST_CONF", "/etc/shadow"},
        {"KESTRELNET_ANYTHING", "else"},
    };
}

void write(const std::string& name, const std::string& text) {
    fs::create_directories(fs::path(hostile + name).parent_path());
    std::ofstream(hostile + name) << text;
    fs::permissions(hostile + name, static_cast<fs::perms>(0755));
}

class HelperEnvironmentTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        fs::remove_all(hostile);
        write("/bash-env", ">" + hostile + "/marks/bash-env\n");
        write("/env", ">" + hostile + "/marks/env\n");
        write("/bin/id", "#!/bin/sh\n>" + hostile + "/marks/path\n");
        write("/python/sitecustomize.py", "open('" + hostile + "/marks/python', 'w')\n");
        fs::create_directory(hostile + "/marks");
        fs::permissions(hostile + "/marks", static_cast<fs::perms>(0777));
    }

    static std::vector<std::string> marks() {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(hostile + "/marks")) {
            found.push_back(entry.path().filename());
        }
        return found;
    }

    /// The variables of every client, and `others`.
    static std::vector<std::string> fixedAnd(std::vector<std::string> others) {
        others.insert(others.end(),
                      {"HOME=/root", "LANG=C.UTF-8", "LOGNAME=root",
                       "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                       "USER=root"});
        std::sort(others.begin(), others.end());
        return others;
    }
};

TEST_F(HelperEnvironmentTest, holdsTheThreeVariablesAndTheFixedOnes) {
    const FakeClient& client = installClient("script");
    start(client, {.environment = {{"DEVICE_API_KEY", "dev_ '\"$HOME`id`\n\xFF"},
                                   {"AUTH_URL", "https://kestrelnet.example/api"},
                                   {"RELAY_ADDR", "192.0.2.1:443"}}});
    EXPECT_EQ(processEnvironment(*client.pid()),
              fixedAnd({"DEVICE_API_KEY=dev_ '\"$HOME`id`\n\xFF",
                        "AUTH_URL=https://kestrelnet.example/api", "RELAY_ADDR=192.0.2.1:443"}));
}

TEST_F(HelperEnvironmentTest, leavesOutVariablesThatTheCallerHasNotSet) {
    const FakeClient& client = installClient("script");
    start(client, {.environment = {{"AUTH_URL", ""}}});
    EXPECT_EQ(processEnvironment(*client.pid()), fixedAnd({"AUTH_URL="}));
}

TEST_F(HelperEnvironmentTest, holdsNothingElseOfAHostileCaller) {
    const FakeClient& client = installClient("script");
    Environment environment = hostileEnvironment();
    environment["DEVICE_API_KEY"] = "dev_0123456789";
    start(client, {.environment = environment});
    EXPECT_EQ(processEnvironment(*client.pid()), fixedAnd({"DEVICE_API_KEY=dev_0123456789"}));
    EXPECT_THAT(marks(), IsEmpty());
}

class HelperScriptTest : public HelperEnvironmentTest,
                         public testing::WithParamInterface<const char*> {};

constexpr const char* shellScript = "true\nid >/dev/null\nsh -c :\nexit 0\n";
constexpr const char* pythonScript = "import os\nos.system('id >/dev/null')\n";

TEST_P(HelperScriptTest, runsNoCodeOfAHostileCaller) {
    const std::string interpreter = GetParam();
    const bool isPython = interpreter.find("python") != std::string::npos;
    const std::string script = "#!" + interpreter + '\n' + (isPython ? pythonScript : shellScript);
    installClientText(script);
    program =
        std::make_unique<UserProgram>(helperPath, Options{.environment = hostileEnvironment()});
    EXPECT_EQ(program->output(), "");
    EXPECT_EQ(program->waitStatus(), 0);
    EXPECT_THAT(marks(), IsEmpty());

    // Without the helper, the same script does run the hostile code.
    UserProgram own(clientPath, {.environment = hostileEnvironment()});
    own.output();
    EXPECT_TRUE(own.waitStatus().has_value());
    EXPECT_THAT(marks(), IsSupersetOf({"library", "path"}));
    if (interpreter == "/bin/bash") {
        EXPECT_THAT(marks(), IsSupersetOf({"bash-env", "function", "ps4"}));
    }
    if (isPython) {
        EXPECT_THAT(marks(), testing::Contains("python"));
    }
}

INSTANTIATE_TEST_SUITE_P(Interpreters, HelperScriptTest,
                         testing::Values("/bin/bash", "/bin/sh", "/usr/bin/python3"),
                         [](const auto& instance) {
                             return fs::path(instance.param).filename().string();
                         });

TEST_F(HelperEnvironmentTest, aScriptHasTheSameEnvironmentAsAProgram) {
    const FakeClient& client = installScriptClient("script");
    start(client, {.environment = {{"DEVICE_API_KEY", "dev_0123456789"}}});
    // The shell adds its working directory.
    EXPECT_EQ(processEnvironment(*client.pid()),
              fixedAnd({"DEVICE_API_KEY=dev_0123456789", "PWD=/"}));
}

TEST_F(HelperEnvironmentTest, aValueMayHave4096BytesAndNoMore) {
    const FakeClient& client = installClient("script");
    start(client, {.environment = {{"DEVICE_API_KEY", std::string(4096, 'k')}}});
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), std::string(4096, 'k'));
    program->send(SIGTERM);
    EXPECT_TRUE(program->waitStatus());

    for (const char* name : {"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"}) {
        EXPECT_EQ(refusal({.environment = {{name, std::string(4097, 'k')}}}),
                  "Kestrelnet helper: a value for the client is longer than 4096 bytes.\n");
    }
}

} // namespace
} // namespace kestrelnet
