// SPDX-License-Identifier: MIT
#include "platform/TrayHost.h"

#include "tests/platform/linux/FakeWatcher.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace kestrelnet {
namespace {

auto* const bus = new SessionBus;
[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(bus);

class TrayHostTest : public testing::Test {
  protected:
    void watch() {
        host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared = [this] { ++appeared_; },
                                                              .absent = [this] { ++absent_; }});
    }

    bool waitForAppeared() {
        return waitUntil([this] { return appeared_ > 0; });
    }

    bool waitForAbsent() {
        return waitUntil([this] { return absent_ > 0; });
    }

    int appeared_ = 0;
    int absent_ = 0;
    std::unique_ptr<TrayHost> host_;
};

TEST_F(TrayHostTest, findsAHostThatIsPresentBefore) {
    const FakeWatcher watcher(true);
    watch();
    EXPECT_EQ(appeared_, 0) << "called from within the constructor";
    EXPECT_TRUE(waitForAppeared());
    EXPECT_EQ(appeared_, 1);
    EXPECT_EQ(absent_, 0);
}

TEST_F(TrayHostTest, findsAWatcherAndHostThatStartLate) {
    watch();
    EXPECT_EQ(absent_, 0) << "called from within the constructor";
    ASSERT_TRUE(waitForAbsent());
    EXPECT_EQ(appeared_, 0);
    const FakeWatcher watcher(true);
    EXPECT_TRUE(waitForAppeared());
    EXPECT_EQ(absent_, 1);
}

TEST_F(TrayHostTest, aMissingWatcherIsLogged) {
    const LogRecorder recorder;
    watch();
    ASSERT_TRUE(waitForAbsent());
    EXPECT_THAT(recorder.messages(),
                testing::Contains(testing::StartsWith(
                    "warning kestrelnet.desktop: the StatusNotifierWatcher does not answer: "
                    "org.freedesktop.DBus.Error.NameHasNoOwner: ")));
}

TEST_F(TrayHostTest, findsAHostThatRegistersLate) {
    FakeWatcher watcher(false);
    watch();
    ASSERT_TRUE(waitForAbsent());
    EXPECT_EQ(appeared_, 0);
    watcher.registerHost();
    EXPECT_TRUE(waitForAppeared());
    EXPECT_EQ(absent_, 1);
}

TEST_F(TrayHostTest, findsAHostAfterARestartOfTheWatcher) {
    auto watcher = std::make_unique<FakeWatcher>(false);
    watch();
    ASSERT_TRUE(waitForAbsent());
    watcher.reset();
    watcher = std::make_unique<FakeWatcher>(false);
    ASSERT_TRUE(waitUntil([&watcher] { return watcher->questions() > 0; }));
    EXPECT_EQ(appeared_, 0);
    watcher.reset();
    watcher = std::make_unique<FakeWatcher>(true);
    EXPECT_TRUE(waitForAppeared());
    EXPECT_EQ(absent_, 1);
}

TEST_F(TrayHostTest, watchesNothingAfterATrayHasAppeared) {
    FakeWatcher watcher(true);
    watch();
    ASSERT_TRUE(waitForAppeared());
    watcher.registerHost();
    roundTrip(watcher.connection());
    roundTrip(QDBusConnection::sessionBus());
    const TrayHost other({.appeared = [this] { ++appeared_; }, .absent = {}});
    ASSERT_TRUE(waitUntil([this] { return appeared_ == 2; }));
    EXPECT_EQ(watcher.questions(), 2) << "one each";
}

TEST_F(TrayHostTest, reportsATrayAgainAfterARestartOfTheBus) {
    auto watcher = std::make_unique<FakeWatcher>(true);
    watch();
    ASSERT_TRUE(waitForAppeared());
    watcher.reset();
    bus->restart();
    watcher = std::make_unique<FakeWatcher>(true);
    EXPECT_TRUE(waitUntil([this] { return appeared_ == 2; }));
    EXPECT_EQ(absent_, 0);
}

TEST_F(TrayHostTest, mayBeDestroyedByItsHandlers) {
    host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared = {}, .absent = [this] {
                                                              host_.reset();
                                                              ++absent_;
                                                          }});
    EXPECT_TRUE(waitForAbsent());

    const FakeWatcher watcher(true);
    host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared =
                                                              [this] {
                                                                  host_.reset();
                                                                  ++appeared_;
                                                              },
                                                          .absent = {}});
    EXPECT_TRUE(waitForAppeared());
}

TEST_F(TrayHostTest, callsNoHandlerAfterDestruction) {
    const FakeWatcher watcher(true);
    watch();
    host_.reset();
    int later = 0;
    host_ = std::make_unique<TrayHost>(
        TrayHost::Handlers{.appeared = [&later] { ++later; }, .absent = {}});
    EXPECT_TRUE(waitUntil([&later] { return later > 0; }));
    EXPECT_EQ(appeared_ + absent_, 0);
}

} // namespace
} // namespace kestrelnet
