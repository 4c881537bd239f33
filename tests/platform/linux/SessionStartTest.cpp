// SPDX-License-Identifier: MIT
#include "platform/SessionStart.h"

#include "platform/linux/SessionBus.h"
#include "tests/support/EventLoop.h"
#include "tests/support/SessionBus.h"

#include <QDBusVirtualObject>
#include <QVariant>

#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

namespace kestrelnet {
namespace {

[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(new SessionBus);

/// What differs between the session managers.
struct Names {
    const char* desktop;
    const char* service;
    const char* path;
    const char* interface;
    const char* question;
    const char* signal;
    QVariant startingUp;
    QVariant complete;

    friend void PrintTo(const Names& names, std::ostream* out) { *out << names.desktop; }
};

const Names gnome{"gnome",
                  "org.gnome.SessionManager",
                  "/org/gnome/SessionManager",
                  "org.gnome.SessionManager",
                  "IsSessionRunning",
                  "SessionRunning",
                  false,
                  true};
const Names xfce{"xfce",
                 "org.xfce.SessionManager",
                 "/org/xfce/SessionManager",
                 "org.xfce.Session.Manager",
                 "GetState",
                 "StateChanged",
                 QVariant::fromValue(0U),
                 QVariant::fromValue(1U)};

class FakeManager : public QDBusVirtualObject {
  public:
    FakeManager(Names names, bool isComplete) : names_(std::move(names)), isComplete_(isComplete) {
        EXPECT_TRUE(peer_.connection().registerVirtualObject(QLatin1String(names_.path), this));
        EXPECT_TRUE(peer_.connection().registerService(QLatin1String(names_.service)));
    }

    int questions() const { return questions_; }

    /// Returns when all questions that the bus has forwarded are counted.
    void handleQuestions() { roundTrip(peer_.connection()); }

    /// Returns when the bus has forwarded the signal.
    void announce(bool isComplete) {
        isComplete_ = isComplete;
        EXPECT_TRUE(peer_.connection().send(
            QDBusMessage::createSignal(QLatin1String(names_.path), QLatin1String(names_.interface),
                                       QLatin1String(names_.signal))));
        roundTrip(peer_.connection());
    }

    QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != QLatin1String(names_.interface) ||
            message.member() != QLatin1String(names_.question)) {
            return false;
        }
        ++questions_;
        return connection.send(
            message.createReply(isComplete_ ? names_.complete : names_.startingUp));
    }

  private:
    BusPeer peer_;
    Names names_;
    bool isComplete_;
    int questions_ = 0;
};

class SessionStartTest : public testing::TestWithParam<Names> {
  protected:
    void watch() {
        watch_ = std::make_unique<SessionStart>([this] { ++completed_; });
    }
    bool waitForCompleted() {
        return waitUntil([this] { return completed_ > 0; });
    }

    int completed_ = 0;
    std::unique_ptr<SessionStart> watch_;
};

INSTANTIATE_TEST_SUITE_P(Managers, SessionStartTest, testing::Values(gnome, xfce),
                         [](const auto& test) { return std::string(test.param.desktop); });

TEST_P(SessionStartTest, reportsASessionThatHasBeenCompleteBefore) {
    const FakeManager manager(GetParam(), true);
    watch();
    EXPECT_EQ(completed_, 0) << "called from within the constructor";
    EXPECT_TRUE(waitForCompleted());
}

TEST_P(SessionStartTest, waitsUntilTheSessionIsComplete) {
    FakeManager manager(GetParam(), false);
    watch();
    ASSERT_TRUE(waitUntil([&] { return manager.questions() == 1; }));
    manager.announce(false);
    ASSERT_TRUE(waitUntil([&] { return manager.questions() == 2; }));
    EXPECT_EQ(completed_, 0);
    manager.announce(true);
    EXPECT_TRUE(waitForCompleted());
}

TEST_P(SessionStartTest, reportsOnceAndAsksNoMore) {
    FakeManager manager(GetParam(), true);
    watch();
    ASSERT_TRUE(waitForCompleted());
    manager.announce(true);
    // The signal, were it still heard, is handled; the question that it causes is forwarded.
    roundTrip(sessionBus());
    roundTrip(sessionBus());
    manager.handleQuestions();
    EXPECT_EQ(completed_, 1);
    EXPECT_EQ(manager.questions(), 1);
}

TEST_P(SessionStartTest, mayBeDestroyedByItsHandler) {
    const FakeManager manager(GetParam(), true);
    watch_ = std::make_unique<SessionStart>([this] {
        watch_.reset();
        ++completed_;
    });
    EXPECT_TRUE(waitForCompleted());
}

} // namespace
} // namespace kestrelnet
