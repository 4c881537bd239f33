// SPDX-License-Identifier: MIT
#include "tests/support/OrdinaryUser.h"

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
    // The real identifiers too, which access() uses.
    EXPECT_EQ(::setresgid(nobody, nobody, 0), 0);
    EXPECT_EQ(::setresuid(nobody, nobody, 0), 0);
}

OrdinaryUser::~OrdinaryUser() {
    if (isRoot_) {
        EXPECT_EQ(::setresuid(0, 0, 0), 0);
        EXPECT_EQ(::setresgid(0, 0, 0), 0);
    }
}

} // namespace kestrelnet
