// SPDX-License-Identifier: MIT
#include "tests/support/OrdinaryUser.h"

#include "tests/support/Identifiers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace kestrelnet {

namespace {

constexpr uid_t nobody = 65534;

} // namespace

OrdinaryUser::OrdinaryUser(const std::string& folder) : isRoot_(::geteuid() == 0) {
    if (!isRoot_) {
        return;
    }
    EXPECT_EQ(::chown(folder.c_str(), nobody, nobody), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        EXPECT_EQ(::lchown(entry.path().c_str(), nobody, nobody), 0);
    }
    EXPECT_TRUE(becomeForAWhile(nobody));
}

OrdinaryUser::~OrdinaryUser() {
    if (isRoot_) {
        EXPECT_TRUE(becomeRootAgain());
    }
}

} // namespace kestrelnet
