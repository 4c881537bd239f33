// SPDX-License-Identifier: MIT
// The file of the settings: its permissions, failures to read and to write it, and its removal.
#include "tests/platform/UserDefaultsTest.h"

#include "tests/support/FullDisk.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/OrdinaryUser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

unsigned modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

TEST_F(UserDefaultsTest, aNewFileIsPrivate) {
    const mode_t mask = ::umask(0);
    UserDefaults defaults(path);
    defaults.set(switchName, true);
    ::umask(mask);
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(UserDefaultsTest, aFileThatOthersCanReadIsMadePrivate) {
    for (const mode_t mode : std::initializer_list<mode_t>{0644, 0660, 0666, 0604}) {
        writeFile("kestrelnet_api_key=dev_1234567\n");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        UserDefaults defaults(path);
        EXPECT_EQ(modeOf(path), 0600U) << "at start";
        EXPECT_EQ(defaults.string(keyName), "dev_1234567");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        defaults.set(switchName, true);
        EXPECT_EQ(modeOf(path), 0600U) << "at a write";
        EXPECT_EQ(defaults.string(keyName), "dev_1234567");
    }
}

TEST_F(UserDefaultsTest, createsTheFolder) {
    const std::string deep = folder.file("not/yet/there/settings.conf");
    UserDefaults(deep).set(switchName, true);
    EXPECT_EQ(modeOf(deep), 0600U);
    EXPECT_TRUE(UserDefaults(deep).boolean(switchName));
}

TEST_F(UserDefaultsTest, leavesNothingElseBehind) {
    UserDefaults(path).set(switchName, true);
    const std::filesystem::directory_iterator entries(folder.path());
    EXPECT_EQ(std::distance(entries, {}), 1);
}

TEST_F(UserDefaultsTest, anUnusableFileHasNoValuesAndKeepsNone) {
    folder.write("file", "text");
    std::filesystem::create_directory(folder.file("folder"));
    std::filesystem::permissions(folder.file("folder"), std::filesystem::perms(0755));
    std::filesystem::create_symlink("circle", folder.file("circle"));
    for (const char* name : {"file/below", "folder", "circle", "folder/"}) {
        const std::string unusable = folder.file(name);
        {
            UserDefaults defaults(unusable);
            EXPECT_EQ(defaults.string(keyName), std::nullopt) << name;
            EXPECT_FALSE(defaults.boolean(switchName)) << name;
            defaults.set(keyName, "dev_1234567");
            defaults.set(switchName, true);
        }
        EXPECT_EQ(readFile(folder.file("file")), "text");
        EXPECT_TRUE(std::filesystem::is_empty(folder.file("folder"))) << name;
        EXPECT_EQ(modeOf(folder.file("folder")), 0755U);
    }
}

TEST_F(UserDefaultsTest, aFailedWriteIsLoggedWithoutTheValue) {
    const std::string unusable = folder.write("file", "text") + "/below";
    UserDefaults defaults(unusable);
    const LogRecorder recorder;
    defaults.set(keyName, "dev_1234567");
    EXPECT_THAT(recorder.messages(), ElementsAre("error kestrelnet.settings: cannot write " +
                                                 unusable + ": Not a directory"));
}

TEST_F(UserDefaultsTest, aFullDiskKeepsTheEarlierValuesAndIsReported) {
    UserDefaults defaults(path);
    ASSERT_TRUE(defaults.set(keyName, "dev_1234567"));
    ASSERT_TRUE(defaults.set(switchName, true));
    const std::string before = readFile(path);
    // Without rules.
    const LogRecorder recorder("");
    {
        // A part of the text fits.
        const FullDisk disk(512);
        EXPECT_FALSE(defaults.set(keyName, std::string_view(std::string(1000, 'x'))));
        EXPECT_EQ(defaults.string(keyName), "dev_1234567");
    }
    EXPECT_THAT(recorder.messages(), ElementsAre("error kestrelnet.settings: cannot write " + path +
                                                 ": File too large"));
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    EXPECT_TRUE(defaults.set(keyName, "dev_7654321"));
    EXPECT_EQ(fromDisk().string(keyName), "dev_7654321");
}

TEST_F(UserDefaultsTest, aFullDiskLeavesNoEmptyFile) {
    {
        const FullDisk disk;
        EXPECT_FALSE(UserDefaults(path).set(keyName, "dev_1234567"));
    }
    EXPECT_FALSE(files::exists(path));
}

TEST_F(UserDefaultsTest, aReadOnlyFileIsReplacedAndStaysReadOnly) {
    folder.write("settings.conf", "kestrelnet_api_key=dev_1234567\n");
    ASSERT_EQ(::chmod(path.c_str(), 0400), 0);
    const OrdinaryUser user(folder.path());
    UserDefaults defaults(path);
    EXPECT_TRUE(defaults.set(switchName, true));
    EXPECT_EQ(defaults.string(keyName), "dev_1234567");
    EXPECT_TRUE(defaults.boolean(switchName));
    EXPECT_EQ(modeOf(path), 0400U);
}

TEST_F(UserDefaultsTest, aFileThatCannotBeReadIsNotReplaced) {
    folder.write("settings.conf", "kestrelnet_api_key=dev_1234567\n");
    ASSERT_EQ(::chmod(path.c_str(), 0200), 0);
    const LogRecorder recorder("");
    {
        const OrdinaryUser user(folder.path());
        UserDefaults defaults(path);
        EXPECT_EQ(defaults.string(keyName), std::nullopt);
        EXPECT_FALSE(defaults.set(switchName, true));
    }
    EXPECT_THAT(recorder.messages(), ElementsAre("error kestrelnet.settings: cannot write " + path +
                                                 ": Permission denied"));
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(readFile(path), "kestrelnet_api_key=dev_1234567\n");
}

TEST_F(UserDefaultsTest, removesEverythingWithItsFileAndStaysUsable) {
    UserDefaults defaults(path);
    defaults.set(keyName, "dev_1234567");
    defaults.set(switchName, true);
    defaults.removePersistentDomain();
    EXPECT_FALSE(files::exists(path));
    EXPECT_EQ(defaults.string(keyName), std::nullopt);
    EXPECT_FALSE(defaults.boolean(switchName));
    defaults.set(switchName, true);
    EXPECT_EQ(fromDisk().string(keyName), std::nullopt);
    EXPECT_TRUE(fromDisk().boolean(switchName));
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(UserDefaultsTest, removesAReadOnlyFile) {
    folder.write("settings.conf", "kestrelnet_api_key=dev_1234567\n");
    ASSERT_EQ(::chmod(path.c_str(), 0400), 0);
    const OrdinaryUser user(folder.path());
    UserDefaults defaults(path);
    defaults.removePersistentDomain();
    EXPECT_FALSE(files::exists(path));
    EXPECT_FALSE(defaults.boolean(switchName));
    EXPECT_FALSE(files::exists(path)) << "reading has written";
}

TEST_F(UserDefaultsTest, aFailedRemovalIsReported) {
    folder.write("settings.conf", "kestrelnet_api_key=dev_1234567\n");
    const LogRecorder recorder("");
    {
        const OrdinaryUser user(folder.path());
        ASSERT_EQ(::chmod(folder.path().c_str(), 0500), 0);
        UserDefaults(path).removePersistentDomain();
        ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0);
    }
    EXPECT_THAT(recorder.messages(), ElementsAre("error kestrelnet.settings: cannot remove " +
                                                 path + ": Permission denied"));
}

TEST_F(UserDefaultsTest, removingAlsoClearsTheTargetOfALink) {
    const std::string real = folder.write("real.conf", "kestrelnet_api_key=dev_1234567\n");
    std::filesystem::create_symlink("real.conf", path);
    UserDefaults defaults(path);
    defaults.removePersistentDomain();
    EXPECT_FALSE(std::filesystem::is_symlink(path));
    EXPECT_EQ(readFile(real).find("dev_"), std::string::npos);
}

TEST_F(UserDefaultsTest, removingAnEmptyStoreSucceeds) {
    UserDefaults(path).removePersistentDomain();
    EXPECT_FALSE(files::exists(path));
}

} // namespace
} // namespace kestrelnet
