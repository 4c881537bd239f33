// SPDX-License-Identifier: MIT
#include "platform/Log.h"

#include "tests/support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace kestrelnet {
namespace {

using log::Category;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Category allCategories[] = {Category::tunnel,   Category::output, Category::exitIP,
                                      Category::settings, Category::system, Category::desktop};

TEST(LogTest, errorsAreWrittenByDefault) {
    const LogRecorder recorder("");
    log::error(Category::settings, "cannot write", {ENOSPC, std::generic_category()});
    EXPECT_THAT(recorder.messages(),
                ElementsAre("error kestrelnet.settings: cannot write: No space left on device"));
}

TEST(LogTest, everyCategoryIsOffByDefault) {
    const LogRecorder recorder("");
    for (const Category category : allCategories) {
        EXPECT_FALSE(log::isEnabled(category));
        log::debug(category, "a message");
        log::warning(category, "a message");
    }
    EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST(LogTest, oneRuleSwitchesAllCategoriesOn) {
    const LogRecorder recorder("kestrelnet.*=true");
    for (const Category category : allCategories) {
        EXPECT_TRUE(log::isEnabled(category));
    }
    log::debug(Category::tunnel, "status: Connected");
    log::warning(Category::output, "ignored 3 bytes");
    log::warning(Category::exitIP, "failed");
    log::debug(Category::settings, "read");
    log::warning(Category::system, "launchctl \"ended\"");
    log::debug(Category::desktop, "S\xC3\xA3o");
    EXPECT_THAT(recorder.messages(),
                ElementsAre("debug kestrelnet.tunnel: status: Connected",
                            "warning kestrelnet.output: ignored 3 bytes",
                            "warning kestrelnet.exitip: failed", "debug kestrelnet.settings: read",
                            "warning kestrelnet.system: launchctl \"ended\"",
                            "debug kestrelnet.desktop: S\xC3\xA3o"));
}

TEST(LogTest, appendsTheReasonOfTheSystem) {
    const LogRecorder recorder;
    log::warning(Category::system, "cannot start", {EACCES, std::generic_category()});
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.system: cannot start: Permission denied"));
}

TEST(LogTest, rulesSelectCategoriesAndTypes) {
    const LogRecorder recorder("kestrelnet.system=true\nkestrelnet.tunnel.warning=true");
    for (const Category category : allCategories) {
        log::debug(category, "a");
        log::warning(category, "b");
    }
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.tunnel: b", "debug kestrelnet.system: a",
                            "warning kestrelnet.system: b"));
    EXPECT_TRUE(log::isEnabled(Category::system));
    EXPECT_FALSE(log::isEnabled(Category::tunnel));
}

} // namespace
} // namespace kestrelnet
