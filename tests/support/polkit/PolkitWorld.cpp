// SPDX-License-Identifier: MIT
#include "tests/support/polkit/PolkitWorld.h"

#include "tests/support/RootWorld.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

namespace fs = std::filesystem;

const std::string groups = "/sys/fs/cgroup";

std::string uid() {
    return std::to_string(rootWorld::user.uid);
}

std::string sessionGroup() {
    return groups + "/user.slice/user-" + uid() + ".slice/session-" + PolkitWorld::session +
           ".scope";
}

std::string runtimeFolder() {
    return "/run/user/" + uid();
}

void writeFile(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path);
    file << text;
    ASSERT_TRUE(file.flush()) << path;
}

// Writes the files of the login service. polkit finds the session of a process by the name of its
// control group, and reads the rest from these files.
void registerSession() {
    const std::string session = PolkitWorld::session;
    writeFile("/run/systemd/users/" + uid(),
              "NAME=" + rootWorld::user.name + "\nSTATE=active\nRUNTIME=" + runtimeFolder() +
                  "\nDISPLAY=" + session + "\nSESSIONS=" + session +
                  "\nACTIVE_SESSIONS=" + session + "\nONLINE_SESSIONS=" + session + "\n");
    writeFile("/run/systemd/sessions/" + session,
              "UID=" + uid() + "\nUSER=" + rootWorld::user.name +
                  "\nACTIVE=1\nIS_DISPLAY=1\nSTATE=active\nREMOTE=0\nTYPE=x11\nCLASS=user\n"
                  "SEAT=seat0\nLEADER=1\n");
    writeFile("/run/systemd/seats/seat0", "IS_VT=1\nACTIVE=" + session + "\nACTIVE_UID=" + uid() +
                                              "\nSESSIONS=" + session + "\nUIDS=" + uid() + "\n");
    fs::create_directories(runtimeFolder());
    ASSERT_EQ(::chown(runtimeFolder().c_str(), rootWorld::user.uid, rootWorld::user.gid), 0);
    fs::permissions(runtimeFolder(), fs::perms::owner_all);
    fs::create_directories(sessionGroup());
}

bool listens(const char* path) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::string_view(path).copy(address.sun_path, sizeof address.sun_path - 1);
    const bool connected =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return connected;
}

bool hasPolkit() {
    ChildProgram question({"/bin/sh", "-c",
                           "exec dbus-send --system --print-reply --dest=org.freedesktop.DBus "
                           "/org/freedesktop/DBus org.freedesktop.DBus.GetNameOwner "
                           "string:org.freedesktop.PolicyKit1 2>/dev/null"});
    return question.exitStatus() == 0;
}

} // namespace

PolkitWorld::PolkitWorld() {
    registerSession();
    fs::create_directories("/run/dbus");
    bus_.emplace(std::vector<std::string>{"dbus-daemon", "--system", "--nofork", "--nopidfile"});
    EXPECT_TRUE(waitFor([] { return listens("/run/dbus/system_bus_socket"); }));
}

PolkitWorld::~PolkitWorld() = default;

void PolkitWorld::startPolkit() {
    polkit_.emplace(std::vector<std::string>{"/usr/lib/polkit-1/polkitd", "--no-debug"});
    EXPECT_TRUE(waitFor(hasPolkit));
}

std::vector<std::string> PolkitWorld::inSession(std::vector<std::string> command) {
    std::vector<std::string> whole{
        "/bin/sh", "-c",
        "echo $$ >" + sessionGroup() + "/cgroup.procs && exec setsid setpriv --reuid=" + uid() +
            " --regid=" + std::to_string(rootWorld::user.gid) +
            " --init-groups --reset-env env LANG=C.UTF-8 XDG_RUNTIME_DIR=" + runtimeFolder() +
            " \"$@\"",
        "sh"};
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

ChildProgram& PolkitWorld::startAgent(const std::string& answer) {
    const std::string program =
        rootWorld::install(KESTRELNET_AUTHENTICATION_AGENT, "/usr/libexec/kestrelnet-test");
    agent_.emplace(inSession({program, session, rootWorld::user.name, answer}));
    EXPECT_EQ(agent_->readLine(), "registered");
    return *agent_;
}

} // namespace kestrelnet
