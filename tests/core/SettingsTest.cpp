// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"
#include "tests/support/FullDisk.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Waiting.h"

#include <array>
#include <filesystem>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

constexpr const char* keySetting = "kestrelnet_api_key";
constexpr const char* autoConnectSetting = "kestrelnet_auto_connect";

/// A user without stored settings.
class FreshUserTest : public testing::Test {
  protected:
    std::shared_ptr<TunnelManager> makeManager() const {
        return std::make_shared<TunnelManager>(world.platform);
    }

    TestPlatform world;
};

TEST_F(FreshUserTest, startsWithEmptyValues) {
    const auto manager = makeManager();
    EXPECT_EQ(*manager->apiKey, "");
    EXPECT_FALSE(manager->isConfigured());
    EXPECT_FALSE(manager->autoConnect());
    EXPECT_FALSE(world.platform.defaults->boolean("kestrelnet_start_at_login"));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(*manager->lastLog, "");
    EXPECT_EQ(*manager->exitIP, std::nullopt);
    EXPECT_EQ(*manager->serverLocation, std::nullopt);
    EXPECT_FALSE(manager->helperInstalled);
    EXPECT_EQ(manager->binaryPath(), std::nullopt);
    EXPECT_FALSE(manager->binaryInstalled());
}

TEST_F(FreshUserTest, startingWritesNoSettingAndStartsNothing) {
    const std::size_t threads = runningThreads();
    const auto manager = makeManager();
    EXPECT_FALSE(std::filesystem::exists(world.defaultsFile));
    EXPECT_EQ(runningThreads(), threads);
    EXPECT_EQ(world.time.pendingCount(), 0U);
    EXPECT_EQ(world.time.sleeperCount(), 0U);
}

TEST_F(FreshUserTest, aKeyThatCouldNotBeWrittenIsNotStored) {
    const auto manager = makeManager();
    EXPECT_TRUE(manager->isKeyStored());
    manager->apiKey = "dev_1234567";
    EXPECT_TRUE(manager->isKeyStored());
    {
        const FullDisk disk;
        manager->apiKey = "dev_7654321";
    }
    EXPECT_FALSE(manager->isKeyStored());
    EXPECT_EQ(*manager->apiKey, "dev_7654321");
    EXPECT_EQ(world.reopenDefaults()->string(keySetting), "dev_1234567");
    manager->apiKey = "dev_7654321";
    EXPECT_TRUE(manager->isKeyStored());
    EXPECT_EQ(world.reopenDefaults()->string(keySetting), "dev_7654321");
}

TEST_F(FreshUserTest, aKeyThatBeginsWithAByteOrderMarkIsStoredExactly) {
    const std::string key = "\uFEFF"
                            "dev_1234567";
    makeManager()->apiKey = key;
    EXPECT_EQ(*makeManager()->apiKey, key);
}

struct KeyCase {
    std::string key;
    bool valid;
};

TEST_F(FreshUserTest, aKeyNeedsItsPrefixAndMoreThanTenCharacters) {
    const std::string accented = "e\xCC\x81";
    const std::array cases{
        KeyCase{"", false},
        KeyCase{"dev_", false},
        KeyCase{"dev_123456", false},
        KeyCase{"dev_1234567", true},
        KeyCase{"DEV_1234567", false},
        KeyCase{"Dev_1234567", false},
        KeyCase{" dev_1234567", false},
        KeyCase{"dev_123456 ", true},
        KeyCase{"dev-1234567", false},
        KeyCase{"key_dev_1234567", false},
        // A user-perceived character counts once, regardless of its number of bytes.
        KeyCase{"dev_12345" + accented, false},
        KeyCase{"dev_123456" + accented, true},
        KeyCase{"dev_12345\xF0\x9F\x94\x91", false},
    };
    const auto manager = makeManager();
    for (const auto& [key, valid] : cases) {
        manager->apiKey = key;
        EXPECT_EQ(manager->isConfigured(), valid) << key;
    }
}

TEST_F(FreshUserTest, theKeyIsWrittenImmediatelyAndReadBackUnchanged) {
    for (const std::string key :
         {"  dev_0123456789 \t", "", "\xC3\xA9;=\"x\", y\n", "@Invalid()"}) {
        makeManager()->apiKey = key;
        EXPECT_EQ(world.reopenDefaults()->string(keySetting), key);
        EXPECT_EQ(*makeManager()->apiKey, key);
    }
}

TEST_F(FreshUserTest, anUnchangedKeyIsWrittenAgain) {
    const auto manager = makeManager();
    manager->apiKey = "dev_0123456789";
    world.reopenDefaults()->set(keySetting, "somebody else's");
    manager->apiKey = "dev_0123456789";
    EXPECT_EQ(world.reopenDefaults()->string(keySetting), "dev_0123456789");
}

TEST_F(FreshUserTest, theKeyIsAnnouncedThenStoredThenWritten) {
    const auto manager = makeManager();
    manager->apiKey = "old";
    std::vector<std::string> seen;
    const auto subscription = manager->objectWillChange.subscribe([&] {
        seen.push_back(manager->apiKey);
        seen.push_back(world.reopenDefaults()->string(keySetting).value_or("none"));
    });
    manager->apiKey = "new";
    manager->apiKey = "new";
    EXPECT_THAT(seen, ElementsAre("old", "old", "new", "new"));
}

TEST_F(FreshUserTest, autoConnectIsReadFromAndWrittenToTheSettings) {
    const auto manager = makeManager();
    manager->setAutoConnect(true);
    EXPECT_TRUE(world.reopenDefaults()->boolean(autoConnectSetting));
    EXPECT_TRUE(manager->autoConnect());
    world.reopenDefaults()->set(autoConnectSetting, false);
    EXPECT_FALSE(manager->autoConnect());
}

TEST_F(FreshUserTest, eachWriteOfAutoConnectIsAnnouncedAfterwards) {
    const auto manager = makeManager();
    std::vector<bool> seen;
    const auto subscription =
        manager->objectWillChange.subscribe([&] { seen.push_back(manager->autoConnect()); });
    manager->setAutoConnect(true);
    manager->setAutoConnect(true);
    manager->setAutoConnect(false);
    EXPECT_THAT(seen, ElementsAre(true, true, false));
}

TEST_F(FreshUserTest, eachPublishedMemberIsAnnouncedBeforeItIsStoredEvenWhenUnchanged) {
    const auto manager = makeManager();
    std::vector<std::string> seen;
    const auto subscription = manager->objectWillChange.subscribe([&] {
        seen.push_back(std::string(rawValue(manager->status)) + "," +
                       manager->exitIP->value_or("none") + "," +
                       manager->serverLocation->value_or("none") + "," + *manager->lastLog + "," +
                       (manager->helperInstalled ? "helper" : "no helper"));
    });
    manager->status = TunnelStatus::connected;
    manager->exitIP = "192.0.2.1";
    manager->serverLocation = "lisbon";
    manager->lastLog = "line";
    manager->helperInstalled = true;
    manager->helperInstalled = true;
    EXPECT_THAT(seen,
                ElementsAre("Disconnected,none,none,,no helper", "Connected,none,none,,no helper",
                            "Connected,192.0.2.1,none,,no helper",
                            "Connected,192.0.2.1,lisbon,,no helper",
                            "Connected,192.0.2.1,lisbon,line,no helper",
                            "Connected,192.0.2.1,lisbon,line,helper"));
}

TEST_F(FreshUserTest, theClientIsSearchedInTheBundleThenAtHomeThenInTheSystem) {
    const auto manager = makeManager();
    const TemporaryFolder& root = world.root;
    const std::string system = root.write("usr/local/bin/kestrelnet-client", "");
    EXPECT_EQ(manager->binaryPath(), system);
    const std::string home = root.write("home/.kestrelnet/kestrelnet-client", "");
    EXPECT_EQ(manager->binaryPath(), home);
    const std::string bundle =
        root.write("Kestrelnet.app/Contents/Resources/kestrelnet-client", "");
    EXPECT_EQ(manager->binaryPath(), bundle);
    EXPECT_TRUE(manager->binaryInstalled());
    std::filesystem::remove(home);
    EXPECT_EQ(manager->binaryPath(), bundle);
    std::filesystem::remove(bundle);
    EXPECT_EQ(manager->binaryPath(), system);
    std::filesystem::remove(system);
    EXPECT_EQ(manager->binaryPath(), std::nullopt);
    EXPECT_FALSE(manager->binaryInstalled());
}

TEST_F(FreshUserTest, aFolderAtTheClientsPathIsTakenForTheClient) {
    const auto manager = makeManager();
    std::filesystem::create_directories(world.platform.paths.systemClient);
    EXPECT_EQ(manager->binaryPath(), world.platform.paths.systemClient);
}

TEST_F(FreshUserTest, theHelperIsTestedOnlyAtTheStart) {
    const auto early = makeManager();
    const std::string helper = world.root.write("helpers/com.kestrelnetvpn.tunnel", "");
    EXPECT_FALSE(early->helperInstalled);
    const auto late = makeManager();
    EXPECT_TRUE(late->helperInstalled);
    std::filesystem::remove(helper);
    EXPECT_TRUE(late->helperInstalled);
    EXPECT_FALSE(makeManager()->helperInstalled);
}

TEST_F(FreshUserTest, aFolderAtTheHelpersPathIsTakenForTheHelper) {
    std::filesystem::create_directories(world.platform.paths.helper);
    EXPECT_TRUE(makeManager()->helperInstalled);
}

} // namespace
} // namespace kestrelnet
