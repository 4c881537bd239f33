// SPDX-License-Identifier: MIT
// What the helper sends to the system's log.
#include "tests/privileged/HelperTest.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

/// The test is the logging service: it reads the socket /dev/log.
class HelperRecordTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        // The machine's own /dev gets no new file.
        ASSERT_EQ(
            runAsRoot("mkdir -p /tmp/dev && mount -t tmpfs devices /tmp/dev && cd /tmp/dev && "
                      "for name in null zero random urandom; do : >$name && "
                      "mount --bind /dev/$name $name; done && ln -s /proc/self/fd fd && mount "
                      "--rbind /tmp/dev /dev"),
            0);
        service_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        ASSERT_EQ(::bind(service_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    void TearDown() override {
        HelperTest::TearDown();
        ::close(service_);
        EXPECT_EQ(runAsRoot("umount -l /dev && umount -l /tmp/dev"), 0);
    }

    /// The next message; empty when none comes within ten seconds.
    std::string message() const {
        pollfd ready{.fd = service_, .events = POLLIN, .revents = 0};
        std::array<char, 1024> text{};
        if (::poll(&ready, 1, 10'000) != 1) {
            return {};
        }
        const ssize_t size = ::recv(service_, text.data(), text.size(), 0);
        return {text.data(), static_cast<std::size_t>(size)};
    }
    bool hasMessage() const {
        pollfd ready{.fd = service_, .events = POLLIN, .revents = 0};
        return ::poll(&ready, 1, 0) == 1;
    }

    /// What each message of the run begins with: facility authpriv, level info.
    std::string messagePrefix() const {
        return "<86>kestrelnet-helper[" + std::to_string(program->pid()) + "]: ";
    }

    int service_ = -1;
};

TEST_F(HelperRecordTest, recordsStartAndEndWithoutTheKey) {
    const FakeClient& client = installClient("script");
    start(client, {.environment = {{"DEVICE_API_KEY", "dev_secret"}}});
    const std::string prefix = messagePrefix();
    EXPECT_EQ(message(), prefix + "user 4711 starts the tunnel client");
    client.exit(7);
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(7, 0));
    EXPECT_EQ(message(), prefix + "the tunnel client of user 4711 exited with status 7");
    EXPECT_FALSE(hasMessage());
}

TEST_F(HelperRecordTest, recordsTheSignalThatEndedTheClient) {
    const FakeClient& client = installClient("script");
    start(client, {.who = rootWorld::stranger});
    const std::string prefix = messagePrefix();
    EXPECT_EQ(message(), prefix + "user 4712 starts the tunnel client");
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), SIGTERM);
    EXPECT_EQ(message(), prefix + "the tunnel client of user 4712 was ended by signal 15");
}

TEST_F(HelperRecordTest, doesNotWaitForAFullQueue) {
    const int sender = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    while (::sendto(sender, "x", 1, 0, reinterpret_cast<sockaddr*>(&address), sizeof address) ==
           1) {
    }
    const FakeClient& client = installClient("script");
    start(client);
    client.exit(0);
    EXPECT_EQ(program->waitStatus(), 0);
    ::close(sender);
}

} // namespace
} // namespace kestrelnet
