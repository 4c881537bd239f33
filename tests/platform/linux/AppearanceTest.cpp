// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/SessionBus.h"

#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Matches;
using testing::StartsWith;

[[maybe_unused]] auto* const bus = testing::AddGlobalTestEnvironment(new SessionBus);

constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto gnomeGroup = "org.gnome.desktop.interface";
constexpr auto kdeGroup = "org.kde.kdeglobals.General";
constexpr auto colorSchemeKey = "color-scheme";
constexpr auto contrastKey = "contrast";

using Groups = QMap<QString, QVariantMap>;

QVariant wrapped(const QVariant& value) {
    return QVariant::fromValue(QDBusVariant(value));
}

/// A portal that serves the settings of the desktop. It does not answer while it hangs.
class FakePortal : public QDBusVirtualObject {
  public:
    explicit FakePortal(const QVariant& colorScheme = 0U) {
        qDBusRegisterMetaType<Groups>();
        set(appearanceGroup, colorSchemeKey, colorScheme);
        EXPECT_TRUE(peer_.connection().registerVirtualObject(QLatin1String(portalPath), this));
        EXPECT_TRUE(
            peer_.connection().registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    const QDBusConnection& connection() { return peer_.connection(); }
    int reads() const { return reads_; }
    /// What the last request asked for.
    const QStringList& readGroups() const { return readGroups_; }

    void set(const char* group, const char* key, const QVariant& value) {
        groups_[QLatin1String(group)][QLatin1String(key)] = value;
    }

    void change(const char* group, const char* key, const QVariant& value) {
        set(group, key, value);
        sendChange(group, key, value);
    }

    void changeColorScheme(uint value) { change(appearanceGroup, colorSchemeKey, value); }

    void sendChange(const char* group, const char* key, const QVariant& value) {
        QDBusMessage signal =
            QDBusMessage::createSignal(QLatin1String(portalPath), QLatin1String(settingsInterface),
                                       QStringLiteral("SettingChanged"));
        signal << QLatin1String(group) << QLatin1String(key) << wrapped(value);
        EXPECT_TRUE(peer_.connection().send(signal));
    }

    void hang() { hangs_ = true; }

    /// Answers the request that it received while it was hanging.
    void answer() {
        hangs_ = false;
        EXPECT_TRUE(peer_.connection().send(pending_.createReply(QVariant::fromValue(groups_))));
    }

    /// Answers each request with this, whatever form it has.
    void answerWith(const QVariant& answer) { odd_ = answer; }

    QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != QLatin1String(settingsInterface) ||
            message.member() != QLatin1String("ReadAll")) {
            return false;
        }
        ++reads_;
        readGroups_ = message.arguments().value(0).toStringList();
        if (hangs_) {
            pending_ = message;
            return true;
        }
        return connection.send(
            message.createReply(odd_.isValid() ? odd_ : QVariant::fromValue(groups_)));
    }

  private:
    BusPeer peer_;
    Groups groups_;
    QVariant odd_;
    QDBusMessage pending_;
    QStringList readGroups_;
    bool hangs_ = false;
    int reads_ = 0;
};

class AppearanceTest : public testing::Test {
  protected:
    void watch() {
        appearance_ = std::make_unique<Appearance>([this] { changes_.push_back(preferences()); });
        EXPECT_EQ(preferences(), DesktopPreferences());
    }

    DesktopPreferences preferences() const { return appearance_->preferences(); }

    bool waitFor(ColorScheme colorScheme) {
        return waitUntil([this, colorScheme] { return preferences().colorScheme == colorScheme; });
    }

    /// Waits until the portal has answered `count` requests and the last answer has been handled.
    static bool waitForReads(FakePortal& portal, int count) {
        const bool asked = waitUntil([&portal, count] { return portal.reads() >= count; });
        roundTrip(portal.connection());
        roundTrip(QDBusConnection::sessionBus());
        return asked && portal.reads() == count;
    }

    std::vector<ColorScheme> schemes() const {
        std::vector<ColorScheme> result;
        for (const DesktopPreferences& change : changes_) {
            result.push_back(change.colorScheme);
        }
        return result;
    }

    std::unique_ptr<Appearance> appearance_;
    std::vector<DesktopPreferences> changes_;
};

TEST_F(AppearanceTest, readsDarkAtStart) {
    FakePortal portal(1U);
    watch();
    EXPECT_THAT(changes_, IsEmpty()) << "called from within the constructor";
    EXPECT_TRUE(waitFor(ColorScheme::dark));
    EXPECT_THAT(schemes(), ElementsAre(ColorScheme::dark));
    EXPECT_THAT(portal.readGroups(), Contains(QLatin1String(gnomeGroup)));
}

TEST_F(AppearanceTest, acceptsAValueThatIsWrappedTwice) {
    const FakePortal portal(wrapped(2U));
    watch();
    EXPECT_TRUE(waitFor(ColorScheme::light));
}

TEST_F(AppearanceTest, followsTheColorScheme) {
    FakePortal portal(1U);
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.changeColorScheme(2);
    ASSERT_TRUE(waitFor(ColorScheme::light));
    portal.changeColorScheme(0);
    ASSERT_TRUE(waitFor(ColorScheme::noPreference));
    EXPECT_THAT(schemes(),
                ElementsAre(ColorScheme::dark, ColorScheme::light, ColorScheme::noPreference));
}

TEST_F(AppearanceTest, followsTheContrast) {
    FakePortal portal;
    watch();
    portal.change(appearanceGroup, contrastKey, 1U);
    EXPECT_TRUE(waitUntil([this] { return preferences().wantsHighContrast; }));
    portal.change(appearanceGroup, contrastKey, 0U);
    EXPECT_TRUE(waitUntil([this] { return !preferences().wantsHighContrast; }));
    EXPECT_EQ(changes_.size(), 2U);
}

TEST_F(AppearanceTest, followsFontAndTextScale) {
    FakePortal portal;
    portal.set(gnomeGroup, "font-name", QStringLiteral("Cantarell 11"));
    watch();
    const auto hasFont = [this](const DesktopFont& font) {
        return waitUntil([this, &font] { return preferences().font == font; });
    };
    EXPECT_TRUE(hasFont({.family = "Cantarell", .points = 11}));
    EXPECT_EQ(preferences().textScale, 1);
    portal.change(gnomeGroup, "font-name", QStringLiteral("Noto Sans Bold 14"));
    EXPECT_TRUE(hasFont({.family = "Noto Sans", .points = 14, .weight = 700}));
    portal.change(gnomeGroup, "text-scaling-factor", 1.5);
    EXPECT_TRUE(waitUntil([this] { return preferences().textScale == 1.5; }));
    portal.change(gnomeGroup, "font-name", QVariantList{1, 2});
    EXPECT_TRUE(waitUntil([this] { return !preferences().font; })) << "a value of another type";
}

TEST_F(AppearanceTest, followsTheTimes) {
    FakePortal portal;
    watch();
    portal.change("org.gnome.desktop.peripherals.mouse", "double-click", 700);
    EXPECT_TRUE(waitUntil([this] { return preferences().doubleClickTime == 700ms; }));
    portal.change(gnomeGroup, "cursor-blink-time", 900);
    EXPECT_TRUE(waitUntil([this] { return preferences().cursorFlashTime == 900ms; }));
    portal.change(gnomeGroup, "cursor-blink", false);
    EXPECT_TRUE(waitUntil([this] { return preferences().cursorFlashTime == 0ms; }));
}

TEST_F(AppearanceTest, kdeHasItsOwnFont) {
    FakePortal portal;
    portal.set(gnomeGroup, "font-name", QStringLiteral("Cantarell 11"));
    portal.set(kdeGroup, "font", QStringLiteral("Noto Sans,10,-1,5,50,0,0,0,0,0"));
    for (const auto& [desktop, family] :
         {std::pair("KDE", "Noto Sans"), std::pair("plasma:KDE", "Noto Sans"),
          std::pair("GNOME", "Cantarell"), std::pair("", "Cantarell")}) {
        const ScopedVariable variable("XDG_CURRENT_DESKTOP", desktop);
        watch();
        ASSERT_TRUE(waitUntil([this] { return preferences().font.has_value(); }));
        EXPECT_EQ(preferences().font->family, family) << desktop;
    }
}

TEST_F(AppearanceTest, reportsNoChangeForAnEqualValue) {
    FakePortal portal(1U);
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.changeColorScheme(1);
    EXPECT_TRUE(waitForReads(portal, 2));
    EXPECT_THAT(schemes(), ElementsAre(ColorScheme::dark));
}

TEST_F(AppearanceTest, ignoresOtherSettings) {
    FakePortal portal(1U);
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.sendChange("org.gnome.desktop.sound", "theme-name", 7U);
    portal.sendChange("org.gnome.desktop", colorSchemeKey, 2U);
    portal.changeColorScheme(2);
    ASSERT_TRUE(waitFor(ColorScheme::light));
    EXPECT_EQ(portal.reads(), 2);
}

TEST_F(AppearanceTest, asksOnceForManyChangesDuringARequest) {
    FakePortal portal(1U);
    portal.hang();
    watch();
    ASSERT_TRUE(waitUntil([&portal] { return portal.reads() == 1; }));
    for (int change = 0; change < 50; ++change) {
        portal.changeColorScheme(2);
    }
    roundTrip(portal.connection());
    roundTrip(QDBusConnection::sessionBus());
    EXPECT_EQ(portal.reads(), 1);
    portal.answer();
    EXPECT_TRUE(waitForReads(portal, 2));
    EXPECT_EQ(preferences().colorScheme, ColorScheme::light);
}

TEST_F(AppearanceTest, treatsUnknownValuesAsNoPreference) {
    for (const QVariant& value :
         {QVariant(7U), QVariant(QStringLiteral("dark")), QVariant(QStringList{}),
          wrapped(wrapped(wrapped(wrapped(wrapped(1U)))))}) {
        FakePortal portal(value);
        watch();
        EXPECT_TRUE(waitForReads(portal, 1));
        EXPECT_EQ(preferences(), DesktopPreferences());
    }
    EXPECT_THAT(changes_, IsEmpty());
}

TEST_F(AppearanceTest, anAnswerOfAnotherFormChangesNothing) {
    const LogRecorder recorder;
    FakePortal portal(1U);
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    int reads = 1;
    for (const QVariant& answer : {QVariant(QStringLiteral("a")), wrapped(1U),
                                   QVariant(QVariantMap{{QStringLiteral("a"), 1}})}) {
        portal.answerWith(answer);
        portal.changeColorScheme(2);
        EXPECT_TRUE(waitForReads(portal, ++reads));
        EXPECT_EQ(preferences().colorScheme, ColorScheme::dark);
    }
    EXPECT_THAT(recorder.messages(),
                Contains("warning kestrelnet.desktop: cannot read the desktop's settings: "
                         "unexpected form a{sv}"));
}

TEST_F(AppearanceTest, aMissingPortalIsLogged) {
    const LogRecorder recorder;
    watch();
    EXPECT_TRUE(waitUntil([&recorder] {
        return Matches(Contains(StartsWith(
            "warning kestrelnet.desktop: cannot read the desktop's "
            "settings: org.freedesktop.DBus.Error.ServiceUnknown: ")))(recorder.messages());
    }));
}

TEST_F(AppearanceTest, keepsThePreferencesWhenThePortalEnds) {
    const LogRecorder recorder;
    auto portal = std::make_unique<FakePortal>(1U);
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal->hang();
    portal->changeColorScheme(2);
    ASSERT_TRUE(waitUntil([&portal] { return portal->reads() == 2; }));
    portal.reset();
    EXPECT_TRUE(waitUntil([&recorder] { return !recorder.messages().empty(); }));
    EXPECT_EQ(preferences().colorScheme, ColorScheme::dark);
}

TEST_F(AppearanceTest, readsAPortalThatStartsLate) {
    watch();
    roundTrip(QDBusConnection::sessionBus());
    EXPECT_THAT(changes_, IsEmpty());
    EXPECT_EQ(preferences(), DesktopPreferences());
    FakePortal portal;
    portal.changeColorScheme(1);
    EXPECT_TRUE(waitFor(ColorScheme::dark));
}

} // namespace
} // namespace kestrelnet
