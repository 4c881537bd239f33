// SPDX-License-Identifier: MIT
#include "platform/UserDefaults.h"

#include "platform/FileManager.h"
#include "tests/support/FullDisk.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

#include <QSettings>
#include <QString>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace kestrelnet {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

constexpr std::string_view keyName = "kestrelnet_api_key";
constexpr std::string_view switchName = "kestrelnet_auto_connect";

unsigned modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

class UserDefaultsTest : public testing::Test {
  protected:
    /// The values that a new process finds. Reads a copy, because this process may cache the file.
    UserDefaults fromDisk() {
        const std::string copy = folder.file("copy" + std::to_string(++copies_) + ".conf");
        std::filesystem::copy_file(path, copy);
        return UserDefaults(copy);
    }

    /// Writes the file as another process does.
    void writeFile(std::string_view text) { ASSERT_TRUE(files::writeAtomically(path, text)); }

    TemporaryFolder folder;
    const std::string path = folder.file("settings.conf");

  private:
    int copies_ = 0;
};

TEST_F(UserDefaultsTest, anEmptyStoreHasNothing) {
    const UserDefaults defaults(path);
    EXPECT_EQ(defaults.string(keyName), std::nullopt);
    EXPECT_FALSE(defaults.boolean(switchName));
    EXPECT_FALSE(files::exists(path)) << "reading has written";
}

class RoundTripTest : public UserDefaultsTest, public testing::WithParamInterface<std::string> {
  protected:
    QString qtPath() const { return QString::fromStdString(path); }
    /// The first character protects a byte order mark.
    static QString qtValue() { return QString::fromStdString("x" + GetParam()).mid(1); }
};

TEST_P(RoundTripTest, keepsTheTextExactly) {
    UserDefaults defaults(path);
    defaults.set(keyName, std::string_view(GetParam()));
    EXPECT_EQ(defaults.string(keyName), GetParam());
    EXPECT_EQ(fromDisk().string(keyName), GetParam());
}

// Earlier versions have kept the settings with QSettings.
TEST_P(RoundTripTest, readsWhatQSettingsHasWritten) {
    QSettings(qtPath(), QSettings::IniFormat).setValue("kestrelnet_api_key", qtValue());
    EXPECT_EQ(UserDefaults(path).string(keyName), GetParam());
}

TEST_P(RoundTripTest, qSettingsReadsIt) {
    UserDefaults(path).set(keyName, std::string_view(GetParam()));
    const QSettings settings(qtPath(), QSettings::IniFormat);
    if (GetParam().starts_with("\uFEFF")) {
        // QSettings leaves out a byte order mark at the start.
        EXPECT_TRUE(qtValue().endsWith(settings.value("kestrelnet_api_key").toString()));
    } else {
        EXPECT_EQ(settings.value("kestrelnet_api_key").toString(), qtValue());
    }
    EXPECT_EQ(settings.status(), QSettings::NoError);
}

INSTANTIATE_TEST_SUITE_P(
    UserDefaults, RoundTripTest,
    testing::Values(""s, "dev_1234567"s, " "s, "  dev_1234567  "s, "\tdev\n"s, "a\r\nb\n"s, "\""s,
                    "\"quoted\""s, "'"s, ","s, "a,b"s, "a, b"s, ";"s, "a;b"s, "#"s, "="s, "a=b="s,
                    "[General]"s, "@"s, "@@"s, "@x"s, "@Invalid()"s, "@String(x)"s,
                    "@ByteArray(x)"s, "@Variant(\\0)"s, "@QVariant"s, "\\"s, "\\n"s, "\\x41"s,
                    "\\\\"s, "%"s, "%41"s, "%U0041"s, "/"s, "~"s, "$HOME"s, "\0"s, "a\0b"s,
                    "\x01"
                    "1f\x7F"s,
                    "true"s, "0"s, "\u00E9"s, "e\u0301"s, "\u00A0 \u2028"s, "\u4E2D\u6587"s,
                    "\U0001F600"s, "dev\uFEFF"s, "\uFEFF"s, "\uFEFF dev_1234567"s,
                    "\uFEFF\uFEFFdev"s, "\uFFFD\uFFFE\uFFFF"s,
                    "\u00E9"
                    "1\u00E9"
                    "f"s));

TEST_F(UserDefaultsTest, keepsEveryCharacterBeforeEveryKindOfCharacter) {
    std::string text;
    for (char character = 0; character < 0x7F; ++character) {
        for (const char next : {'x', '1', 'f', ' ', '"', '\\'}) {
            text += character;
            text += next;
        }
    }
    UserDefaults(path).set(keyName, std::string_view(text));
    EXPECT_EQ(fromDisk().string(keyName), text);
}

TEST_F(UserDefaultsTest, keepsALongText) {
    UserDefaults defaults(path);
    const std::string text(1'000'000, 'x');
    defaults.set(keyName, std::string_view(text));
    EXPECT_TRUE(fromDisk().string(keyName) == text);
}

TEST_F(UserDefaultsTest, aLaterValueReplacesAnEarlierOne) {
    UserDefaults defaults(path);
    for (const std::string_view text : {"first", "", "second"}) {
        defaults.set(keyName, text);
        EXPECT_EQ(fromDisk().string(keyName), text);
    }
}

TEST_F(UserDefaultsTest, keepsSwitches) {
    UserDefaults defaults(path);
    for (const bool value : {true, false, true, true, false}) {
        defaults.set(switchName, value);
        EXPECT_EQ(defaults.boolean(switchName), value);
        EXPECT_EQ(fromDisk().boolean(switchName), value);
    }
}

TEST_F(UserDefaultsTest, keysDoNotAffectEachOther) {
    UserDefaults defaults(path);
    defaults.set(keyName, "dev_1234567");
    defaults.set(switchName, true);
    defaults.set("kestrelnet_start_at_login", false);
    const UserDefaults again = fromDisk();
    EXPECT_EQ(again.string(keyName), "dev_1234567");
    EXPECT_TRUE(again.boolean(switchName));
    EXPECT_FALSE(again.boolean("kestrelnet_start_at_login"));
}

TEST_F(UserDefaultsTest, onlyATrueValueIsTrue) {
    struct Case {
        std::string_view text;
        bool value;
    };
    for (const auto& [text, value] : {
             Case{"true", true},       Case{"1", true},           Case{"yes", true},
             Case{"TRUE", true},       Case{"Yes", true},         Case{"\"1\"", true},
             Case{"false", false},     Case{"0", false},          Case{"no", false},
             Case{"", false},          Case{"2", false},          Case{"-1", false},
             Case{"on", false},        Case{"y", false},          Case{"t", false},
             Case{"11", false},        Case{"truely", false},     Case{"\" true\"", false},
             Case{"true,true", false}, Case{"@Invalid()", false}, Case{"dev_1234567", false},
         }) {
        writeFile(std::string(switchName) + "=" + std::string(text) + "\n");
        EXPECT_EQ(fromDisk().boolean(switchName), value) << text;
    }
}

TEST_F(UserDefaultsTest, aListIsNotText) {
    writeFile("kestrelnet_api_key=dev_1234567, dev_7654321\n");
    EXPECT_EQ(UserDefaults(path).string(keyName), std::nullopt);
}

TEST_F(UserDefaultsTest, seesTheValuesThatAnotherProcessHasWritten) {
    UserDefaults defaults(path);
    EXPECT_EQ(defaults.string(keyName), std::nullopt);
    writeFile("[General]\nkestrelnet_api_key=dev_first\n");
    EXPECT_EQ(defaults.string(keyName), "dev_first");
    writeFile("[General]\nkestrelnet_api_key=dev_second\nkestrelnet_auto_connect=true\n");
    EXPECT_EQ(defaults.string(keyName), "dev_second");
    EXPECT_TRUE(defaults.boolean(switchName));
    std::filesystem::remove(path);
    EXPECT_EQ(defaults.string(keyName), std::nullopt);
    EXPECT_FALSE(defaults.boolean(switchName));
}

TEST_F(UserDefaultsTest, writingKeepsTheValuesThatAnotherProcessHasWritten) {
    UserDefaults defaults(path);
    defaults.set(keyName, "dev_first");
    writeFile("[General]\nkestrelnet_api_key=dev_second\nother=value\n");
    defaults.set(switchName, true);
    const UserDefaults again = fromDisk();
    EXPECT_EQ(again.string(keyName), "dev_second");
    EXPECT_EQ(again.string("other"), "value");
    EXPECT_TRUE(again.boolean(switchName));
}

TEST_F(UserDefaultsTest, twoStoresOnOneFileAgree) {
    UserDefaults first(path);
    UserDefaults second(path);
    first.set(keyName, "dev_1234567");
    EXPECT_EQ(second.string(keyName), "dev_1234567");
    second.set(keyName, "dev_7654321");
    EXPECT_EQ(first.string(keyName), "dev_7654321");
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

TEST_F(UserDefaultsTest, aWriteChangesNoOtherLine) {
    writeFile("; mine\nbefore=1, 2\n[Other]\nkestrelnet_api_key=other\nlist=@Variant(\\0)\n"
              "[general]\nkestrelnet_api_key=old\nlast=\"two\nlines\"\n[Third]\nx=1\n");
    UserDefaults defaults(path);
    defaults.set(keyName, "new");
    EXPECT_EQ(readFile(path),
              "; mine\nbefore=1, 2\n[Other]\nkestrelnet_api_key=other\nlist=@Variant(\\0)\n"
              "[general]\nlast=\"two\nlines\"\nkestrelnet_api_key=new\n[Third]\nx=1\n");
    EXPECT_EQ(defaults.string(keyName), "new");
}

TEST_F(UserDefaultsTest, damageIsLoggedOnce) {
    writeFile("[General]\nkestrelnet_api_key=dev_1234567\ngarbage\n");
    UserDefaults defaults(path);
    const LogRecorder recorder;
    EXPECT_EQ(defaults.string(keyName), "dev_1234567");
    defaults.set(switchName, true);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.settings: the settings are damaged; what cannot be "
                            "read is missing"));
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

class DamagedUserDefaultsTest : public UserDefaultsTest,
                                public testing::WithParamInterface<std::string> {};

TEST_P(DamagedUserDefaultsTest, readsAsDefaultsAndIsRepairedAtTheNextWrite) {
    writeFile(GetParam());
    UserDefaults defaults(path);
    EXPECT_EQ(defaults.string(keyName), std::nullopt);
    EXPECT_FALSE(defaults.boolean(switchName));
    defaults.set(keyName, "dev_1234567");
    defaults.set(switchName, true);
    const UserDefaults again = fromDisk();
    EXPECT_EQ(again.string(keyName), "dev_1234567");
    EXPECT_TRUE(again.boolean(switchName));
}

INSTANTIATE_TEST_SUITE_P(
    UserDefaults, DamagedUserDefaultsTest,
    testing::Values("garbage"s, "kestrelnet_api_key"s, "[General\nkestrelnet_api_key\n"s,
                    "[General]\nkestrelnet_api\n"s, "\xff\xfe\x00\x01\x80"s, "\0\0\0\0"s,
                    "kestrelnet_api_key=@Variant(\\0\\0\\0\\x7f\\xff)\n"s,
                    "kestrelnet_api_key=@Invalid()\n"s, "x=\"never closed\nkestrelnet_api_key=x\n"s,
                    "[[[]]]\n====\n"s, std::string(1'000'000, '\n') + "\\", "\xEF\xBB\xBF"s,
                    "<?xml version=\"1.0\"?>\n"s));

TEST_F(UserDefaultsTest, damageBesideAValueKeepsTheValue) {
    writeFile("[General]\nkestrelnet_api_key=dev_1234567\ngarbage\n\xff\n");
    UserDefaults defaults(path);
    EXPECT_EQ(defaults.string(keyName), "dev_1234567");
    defaults.set(switchName, true);
    EXPECT_EQ(fromDisk().string(keyName), "dev_1234567");
}

} // namespace
} // namespace kestrelnet
