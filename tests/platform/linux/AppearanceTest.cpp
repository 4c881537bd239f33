// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/SessionBus.h"

#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace kestrelnet {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Matches;
using testing::StartsWith;

[[maybe_unused]] auto* const bus = testing::AddGlobalTestEnvironment(new SessionBus);

constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto colorSchemeKey = "color-scheme";
constexpr auto contrastKey = "contrast";

QVariant wrapped(const QVariant& value) {
    return QVariant::fromValue(QDBusVariant(value));
}

/// A portal that serves the settings of the desktop.
class FakePortal : public QDBusVirtualObject {
  public:
    explicit FakePortal(QVariant colorScheme) : colorScheme_(std::move(colorScheme)) {
        EXPECT_TRUE(peer_.connection().registerVirtualObject(QLatin1String(portalPath), this));
        EXPECT_TRUE(
            peer_.connection().registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    const QDBusConnection& connection() { return peer_.connection(); }
    int reads() const { return reads_; }

    void change(QVariant colorScheme) {
        colorScheme_ = std::move(colorScheme);
        sendChange(appearanceGroup, colorSchemeKey, colorScheme_);
    }

    void changeContrast(uint contrast) {
        contrast_ = contrast;
        sendChange(appearanceGroup, contrastKey, contrast);
    }

    void sendChange(const char* group, const char* key, const QVariant& value) {
        QDBusMessage signal =
            QDBusMessage::createSignal(QLatin1String(portalPath), QLatin1String(settingsInterface),
                                       QStringLiteral("SettingChanged"));
        signal << QLatin1String(group) << QLatin1String(key) << wrapped(value);
        EXPECT_TRUE(peer_.connection().send(signal));
    }

    QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const QVariantList arguments = message.arguments();
        if (message.interface() != QLatin1String(settingsInterface) ||
            message.member() != QLatin1String("Read") ||
            arguments.value(0) != QLatin1String(appearanceGroup)) {
            return false;
        }
        if (arguments.value(1) == QLatin1String(contrastKey)) {
            return connection.send(message.createReply(wrapped(wrapped(contrast_))));
        }
        if (arguments.value(1) != QLatin1String(colorSchemeKey)) {
            return false;
        }
        ++reads_;
        return connection.send(message.createReply(wrapped(colorScheme_)));
    }

  private:
    BusPeer peer_;
    QVariant colorScheme_;
    uint contrast_ = 0;
    int reads_ = 0;
};

class AppearanceTest : public testing::Test {
  protected:
    void watch() {
        appearance_ = std::make_unique<Appearance>(
            [this] { changes_.push_back(appearance_->colorScheme()); });
        EXPECT_EQ(appearance_->colorScheme(), ColorScheme::noPreference);
    }

    bool waitFor(ColorScheme colorScheme) {
        return waitUntil([this, colorScheme] { return appearance_->colorScheme() == colorScheme; });
    }

    /// Waits until the portal has answered `count` requests and the last answer has been handled.
    static bool waitForReads(FakePortal& portal, int count) {
        const bool asked = waitUntil([&portal, count] { return portal.reads() == count; });
        roundTrip(portal.connection());
        roundTrip(QDBusConnection::sessionBus());
        return asked;
    }

    std::unique_ptr<Appearance> appearance_;
    std::vector<ColorScheme> changes_;
};

TEST_F(AppearanceTest, readsDarkAtStart) {
    const FakePortal portal(wrapped(1U));
    watch();
    EXPECT_THAT(changes_, IsEmpty()) << "called from within the constructor";
    EXPECT_TRUE(waitFor(ColorScheme::dark));
    EXPECT_THAT(changes_, ElementsAre(ColorScheme::dark));
}

TEST_F(AppearanceTest, acceptsAValueThatIsWrappedOnce) {
    const FakePortal portal(2U);
    watch();
    EXPECT_TRUE(waitFor(ColorScheme::light));
}

TEST_F(AppearanceTest, followsTheColorScheme) {
    FakePortal portal(wrapped(1U));
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.change(wrapped(2U));
    ASSERT_TRUE(waitFor(ColorScheme::light));
    portal.change(wrapped(0U));
    ASSERT_TRUE(waitFor(ColorScheme::noPreference));
    EXPECT_THAT(changes_,
                ElementsAre(ColorScheme::dark, ColorScheme::light, ColorScheme::noPreference));
}

TEST_F(AppearanceTest, followsTheContrast) {
    FakePortal portal(wrapped(0U));
    watch();
    EXPECT_FALSE(appearance_->wantsHighContrast());
    portal.changeContrast(1);
    EXPECT_TRUE(waitUntil([this] { return appearance_->wantsHighContrast(); }));
    portal.changeContrast(0);
    EXPECT_TRUE(waitUntil([this] { return !appearance_->wantsHighContrast(); }));
    EXPECT_EQ(changes_.size(), 2U);
}

TEST_F(AppearanceTest, reportsNoChangeForAnEqualValue) {
    FakePortal portal(wrapped(1U));
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.change(wrapped(1U));
    EXPECT_TRUE(waitForReads(portal, 2));
    EXPECT_THAT(changes_, ElementsAre(ColorScheme::dark));
}

TEST_F(AppearanceTest, ignoresOtherSettings) {
    FakePortal portal(wrapped(1U));
    watch();
    ASSERT_TRUE(waitFor(ColorScheme::dark));
    portal.sendChange(appearanceGroup, "accent-color", 7U);
    portal.sendChange("org.gnome.desktop.interface", colorSchemeKey, 2U);
    portal.change(wrapped(2U));
    ASSERT_TRUE(waitFor(ColorScheme::light));
    EXPECT_EQ(portal.reads(), 2);
}

TEST_F(AppearanceTest, treatsUnknownValuesAsNoPreference) {
    for (const QVariant& value : {QVariant(7U), QVariant(QStringLiteral("dark"))}) {
        FakePortal portal(wrapped(value));
        watch();
        EXPECT_TRUE(waitForReads(portal, 1));
        EXPECT_EQ(appearance_->colorScheme(), ColorScheme::noPreference);
    }
    EXPECT_THAT(changes_, IsEmpty());
}

TEST_F(AppearanceTest, aMissingPortalIsLogged) {
    const LogRecorder recorder;
    watch();
    for (const char* key : {colorSchemeKey, contrastKey}) {
        const std::string message = std::string("warning kestrelnet.desktop: cannot read the "
                                                "desktop's ") +
                                    key + " setting: org.freedesktop.DBus.Error.ServiceUnknown: ";
        EXPECT_TRUE(waitUntil([&recorder, &message] {
            return Matches(Contains(StartsWith(message)))(recorder.messages());
        })) << message;
    }
}

TEST_F(AppearanceTest, readsAPortalThatStartsLate) {
    watch();
    roundTrip(QDBusConnection::sessionBus());
    EXPECT_THAT(changes_, IsEmpty());
    EXPECT_EQ(appearance_->colorScheme(), ColorScheme::noPreference);
    FakePortal portal(wrapped(0U));
    portal.change(wrapped(1U));
    EXPECT_TRUE(waitFor(ColorScheme::dark));
}

} // namespace
} // namespace kestrelnet
