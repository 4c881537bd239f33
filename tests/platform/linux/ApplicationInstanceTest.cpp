// SPDX-License-Identifier: MIT
#include "platform/ApplicationInstance.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/SessionBus.h"

#include <QDBusPendingCall>
#include <QDBusVirtualObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Acquisition = ApplicationInstance::Acquisition;

[[maybe_unused]] auto* const bus = testing::AddGlobalTestEnvironment(new SessionBus);

constexpr auto name = "com.kestrelnetvpn.app";

/// Another process of the application.
class Probe : public ChildProgram {
  public:
    explicit Probe(const std::vector<std::string>& urls = {}, const std::string& patience = "10000",
                   const Environment& variables = {})
        : ChildProgram(command(urls, patience), variables) {}

  private:
    static std::vector<std::string> command(const std::vector<std::string>& urls,
                                            const std::string& patience) {
        std::vector<std::string> words{KESTRELNET_INSTANCE_PROBE, patience};
        words.insert(words.end(), urls.begin(), urls.end());
        return words;
    }
};

/// An instance that receives requests and does not accept them.
class OtherInstance : public QDBusVirtualObject {
  public:
    OtherInstance() {
        EXPECT_TRUE(peer_.connection().registerVirtualObject(
            QStringLiteral("/com/kestrelnetvpn/app"), this));
        EXPECT_TRUE(peer_.connection().registerService(QStringLiteral("com.kestrelnetvpn.app")));
    }

    bool wasAsked() const { return asked_; }
    QString introspect(const QString& /*path*/) const override { return {}; }
    /// Never answers.
    bool handleMessage(const QDBusMessage& /*message*/,
                       const QDBusConnection& /*connection*/) override {
        return asked_ = true;
    }

  private:
    BusPeer peer_;
    bool asked_ = false;
};

/// Answers with an error that repeats the link.
class RepeatingInstance : public OtherInstance {
  public:
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        OtherInstance::handleMessage(message, connection);
        const QString link = message.arguments().constFirst().toStringList().constFirst();
        return connection.send(message.createErrorReply(QStringLiteral("com.example.Error"), link));
    }
};

TEST(ApplicationProcessesTest, theSecondActivatesTheFirst) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    Probe second;
    EXPECT_EQ(second.readLine(), "passed on");
    EXPECT_EQ(second.exitStatus(), 0);
    EXPECT_EQ(first.readLine(), "activate");
}

TEST(ApplicationProcessesTest, theSecondPassesItsLinksUnchanged) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    Probe second({"KESTRELNET://Setup?key=dev_%41b%2F%zz+", "kestrelnet:x\xc3\xa9"});
    EXPECT_EQ(second.readLine(), "passed on");
    EXPECT_EQ(first.readLine(), "open KESTRELNET://Setup?key=dev_%41b%2F%zz+");
    EXPECT_EQ(first.readLine(), "open kestrelnet:x\xc3\xa9");
}

TEST(ApplicationProcessesTest, theFirstOpensItsOwnLinks) {
    Probe first({"kestrelnet://setup?key=1", "kestrelnet://setup?key=2"});
    EXPECT_EQ(first.readLine(), "acquired");
    EXPECT_EQ(first.readLine(), "open kestrelnet://setup?key=1");
    EXPECT_EQ(first.readLine(), "open kestrelnet://setup?key=2");
}

TEST(ApplicationProcessesTest, theFirstGetsTheActivationTokenOfTheSecond) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    Probe second({}, "10000", {{"XDG_ACTIVATION_TOKEN", "permit-1"}});
    EXPECT_EQ(first.readLine(), "activate, token permit-1");
    Probe third({"kestrelnet:a"}, "10000", {{"XDG_ACTIVATION_TOKEN", "permit-2"}});
    EXPECT_EQ(first.readLine(), "open kestrelnet:a, token permit-2");
    const Probe fourth;
    EXPECT_EQ(first.readLine(), "activate") << "a permit is for one request";
}

TEST(ApplicationProcessesTest, aFrozenFirstDoesNotBlockTheSecond) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    first.freeze();
    Probe second({}, "300");
    EXPECT_EQ(second.readLine(), "unresponsive");
    first.thaw();
    EXPECT_EQ(first.readLine(), "activate") << "late, but not lost";
}

TEST(ApplicationProcessesTest, aFrozenFirstCanBeEndedAndReplaced) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    first.freeze();
    ApplicationInstance second(name);
    ASSERT_EQ(second.acquire({}, std::chrono::milliseconds(300)), Acquisition::unresponsive);
    EXPECT_TRUE(second.endOther());
    EXPECT_EQ(first.exitStatus(), std::nullopt) << "not ended by a signal";
    EXPECT_EQ(second.acquire(), Acquisition::acquired);
}

TEST(ApplicationProcessesTest, aFrozenFirstThatCannotBeEndedIsReportedAtOnce) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    first.freeze();
    ApplicationInstance second(name);
    ASSERT_EQ(second.acquire({}, std::chrono::milliseconds(300)), Acquisition::unresponsive);
    const LogRecorder recorder;
    auto exhausted = std::make_optional<NoDescriptors>();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(second.endOther(std::chrono::seconds(10)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    exhausted.reset();
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.desktop: the other process cannot be opened: Too "
                            "many open files"));
    first.thaw();
    EXPECT_EQ(first.readLine(), "activate");
}

TEST(ApplicationProcessesTest, endingSucceedsWithoutAnotherInstance) {
    ApplicationInstance instance(name);
    EXPECT_TRUE(instance.endOther());
    EXPECT_EQ(instance.acquire(), Acquisition::acquired);
}

TEST(ApplicationProcessesTest, theFirstAcceptsTheOlderNameOfTheToken) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    Probe second({}, "10000", {{"DESKTOP_STARTUP_ID", "permit-3"}});
    EXPECT_EQ(first.readLine(), "activate, token permit-3");
    Probe third({}, "10000",
                {{"DESKTOP_STARTUP_ID", "permit-4"}, {"XDG_ACTIVATION_TOKEN", "permit-5"}});
    EXPECT_EQ(first.readLine(), "activate, token permit-5");
}

TEST(ApplicationProcessesTest, acquiringHasADefaultTimeLimit) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    first.freeze();
    ApplicationInstance second(name);
    EXPECT_EQ(second.acquire(), Acquisition::unresponsive);
}

TEST(ApplicationProcessesTest, theSecondTakesOverWhenTheFirstEndsWithoutAnAnswer) {
    auto first = std::make_unique<OtherInstance>();
    Probe second({"kestrelnet:kept"});
    ASSERT_TRUE(waitUntil([&first] { return first->wasAsked(); }));
    first.reset();
    EXPECT_EQ(second.readLine(), "acquired");
    EXPECT_EQ(second.readLine(), "open kestrelnet:kept");
}

TEST(ApplicationProcessesTest, theLogDoesNotRepeatALinkThatTheFirstRefuses) {
    const RepeatingInstance first;
    // The probe's standard error goes to its standard output.
    ChildProgram second({"/bin/sh", "-c", "exec \"$0\" \"$@\" 2>&1", KESTRELNET_INSTANCE_PROBE,
                         "10000", "kestrelnet://setup?key=dev_1234567"},
                        {{"QT_LOGGING_RULES", "kestrelnet.*=true"}});
    ASSERT_TRUE(waitUntil([&first] { return first.wasAsked(); }));
    EXPECT_EQ(second.readLine(), "kestrelnet.desktop: the running instance does not take the "
                                 "request: com.example.Error");
    EXPECT_EQ(second.readLine(), "unresponsive");
}

TEST(ApplicationProcessesTest, theNameIsFreeAfterTheFirstHasEnded) {
    Probe first;
    ASSERT_EQ(first.readLine(), "acquired");
    first.terminate();
    ASSERT_EQ(first.exitStatus(), std::nullopt);
    Probe second;
    EXPECT_EQ(second.readLine(), "acquired");
}

TEST(ApplicationProcessesTest, theNameIsFreeAfterDestruction) {
    auto first = std::make_unique<ApplicationInstance>(name);
    ASSERT_EQ(first->acquire(), Acquisition::acquired);
    first.reset();
    roundTrip(QDBusConnection::sessionBus());
    Probe second;
    EXPECT_EQ(second.readLine(), "acquired");
}

/// The instance in this process, and a client on the bus that calls it.
class ApplicationInstanceTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(instance_.acquire(), Acquisition::acquired); }

    void setHandlers() {
        instance_.setHandlers(
            {.activate = [this] { requests_.emplace_back("activate"); },
             .open = [this](std::string url) { requests_.push_back(std::move(url)); },
             .act = [this](const std::string& action) { requests_.push_back("do " + action); }});
    }

    static QDBusMessage request(const char* member, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("com.kestrelnetvpn.app"), QStringLiteral("/com/kestrelnetvpn/app"),
            QStringLiteral("org.freedesktop.Application"), QLatin1String(member));
        message.setArguments(arguments);
        return message;
    }

    QDBusMessage call(const char* member, const QVariantList& arguments) {
        return answerTo(caller_.connection(), request(member, arguments));
    }

    bool waitForRequests(std::size_t count) {
        return waitUntil([this, count] { return requests_.size() >= count; });
    }

    ApplicationInstance instance_{name, {"connect", "quit"}};
    BusPeer caller_;
    std::vector<std::string> requests_;
};

TEST_F(ApplicationInstanceTest, requestsWaitInOrderForTheHandlers) {
    const QStringList urls{QStringLiteral("KESTRELNET://A?key=%20"), QStringLiteral("b:")};
    EXPECT_EQ(call("Open", {urls, QVariantMap()}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(call("Activate", {QVariantMap()}).type(), QDBusMessage::ReplyMessage);
    setHandlers();
    EXPECT_THAT(requests_, IsEmpty()) << "called from within setHandlers";
    EXPECT_TRUE(waitForRequests(3));
    EXPECT_THAT(requests_, ElementsAre("KESTRELNET://A?key=%20", "b:", "activate"));
}

TEST_F(ApplicationInstanceTest, answersBeforeTheHandlerReturns) {
    const QDBusPendingCall call =
        caller_.connection().asyncCall(request("Activate", {QVariantMap()}));
    bool answered = false;
    instance_.setHandlers({.activate =
                               [this, &call, &answered] {
                                   answered = waitUntil([&call] { return call.isFinished(); });
                                   requests_.emplace_back("activate");
                               },
                           .open = {}});
    EXPECT_TRUE(waitForRequests(1));
    EXPECT_TRUE(answered);
}

TEST_F(ApplicationInstanceTest, actionsWaitInOrderWithOtherRequests) {
    for (const char* action : {"quit", "connect"}) {
        EXPECT_EQ(
            call("ActivateAction", {QLatin1String(action), QVariantList(), QVariantMap()}).type(),
            QDBusMessage::ReplyMessage);
    }
    EXPECT_EQ(call("Activate", {QVariantMap()}).type(), QDBusMessage::ReplyMessage);
    setHandlers();
    EXPECT_TRUE(waitForRequests(3));
    EXPECT_THAT(requests_, ElementsAre("do quit", "do connect", "activate"));
}

TEST_F(ApplicationInstanceTest, anActionGetsItsActivationToken) {
    std::string token;
    instance_.setHandlers({.activate = {}, .open = {}, .act = [&token](const std::string&) {
                               token = qgetenv("XDG_ACTIVATION_TOKEN").toStdString();
                           }});
    call("ActivateAction",
         {QStringLiteral("connect"), QVariantList(),
          QVariantMap{{QStringLiteral("activation-token"), QStringLiteral("permit-6")}}});
    EXPECT_TRUE(waitUntil([&token] { return token == "permit-6"; }));
}

TEST_F(ApplicationInstanceTest, unknownActionsAndParametersAreErrors) {
    setHandlers();
    for (const char* action : {"", "Connect", "connect ", "uninstall"}) {
        const QDBusMessage answer =
            call("ActivateAction", {QLatin1String(action), QVariantList(), QVariantMap()});
        EXPECT_EQ(answer.errorName().toStdString(), "org.freedesktop.DBus.Error.InvalidArgs");
        EXPECT_EQ(answer.errorMessage().toStdString(), "The application has no such action.");
    }
    const QDBusMessage answer =
        call("ActivateAction",
             {QStringLiteral("connect"), QVariantList{QStringLiteral("somewhere")}, QVariantMap()});
    EXPECT_EQ(answer.errorMessage().toStdString(), "The action takes no parameter.");
    roundTrip(caller_.connection());
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(ApplicationInstanceTest, malformedCallsAreErrors) {
    setHandlers();
    const std::string unknown = "org.freedesktop.DBus.Error.UnknownMethod";
    EXPECT_EQ(call("Activate", {}).errorName().toStdString(), unknown);
    EXPECT_EQ(
        call("Open", {QStringLiteral("kestrelnet:a"), QVariantMap()}).errorName().toStdString(),
        unknown);
    EXPECT_EQ(call("Quit", {}).errorName().toStdString(), unknown);
    EXPECT_THAT(requests_, IsEmpty());
}

TEST_F(ApplicationInstanceTest, describesItself) {
    const QDBusMessage answer = answerTo(
        caller_.connection(),
        QDBusMessage::createMethodCall(
            QStringLiteral("com.kestrelnetvpn.app"), QStringLiteral("/com/kestrelnetvpn/app"),
            QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")));
    ASSERT_FALSE(answer.arguments().isEmpty());
    EXPECT_TRUE(answer.arguments().constFirst().toString().contains(
        QLatin1String("<interface name=\"org.freedesktop.Application\">")));
}

} // namespace
} // namespace kestrelnet
