// SPDX-License-Identifier: MIT
#include "tests/platform/UserDefaultsTest.h"

#include "tests/support/LogRecorder.h"

#include <QSettings>
#include <QString>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

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
