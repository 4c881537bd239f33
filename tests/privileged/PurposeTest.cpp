// SPDX-License-Identifier: MIT
#include "privileged/linux/Purpose.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace purpose = privileged::purpose;

class PurposeTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0); }

    static std::string connectCommand(const std::string& in) {
        return in + "kestrelnet-launcher.sh > " + in + "kestrelnet-output.fifo 2>&1";
    }
    static std::string of(const std::string& text, uid_t user = ::getuid()) {
        return purpose::of(text, user, "/opt/k");
    }

    const TemporaryFolder folder;
    const std::string own = folder.path() + '/';
};

TEST_F(PurposeTest, recognisesTheThreeCommandsOfTheApplication) {
    EXPECT_EQ(of(connectCommand(own)), "connect");
    EXPECT_EQ(of("/bin/bash '/opt/k/Contents/Resources/install-helper.sh'"), "install");
    EXPECT_EQ(of("rm -f /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel"), "remove");
}

TEST_F(PurposeTest, recognisesNoOtherCommand) {
    const std::string script = "/bin/bash '/opt/k/Contents/Resources/install-helper.sh'";
    const std::string removal = "rm -f /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";
    for (const std::string& text :
         {std::string(), std::string("id"), connectCommand(own) + ' ', ' ' + connectCommand(own),
          connectCommand(own) + "; id", "id; " + connectCommand(own), connectCommand(""),
          connectCommand("relative/"), own + "kestrelnet-launcher.sh",
          own + "kestrelnet-launcher.sh > /etc/kestrelnet-output.fifo 2>&1",
          own + "other.sh > " + own + "kestrelnet-output.fifo 2>&1", script + "\nid",
          script + " upgrade",
          std::string("/bin/bash '/opt/o/Contents/Resources/install-helper.sh'"),
          std::string("/bin/bash '/opt/k/../x/Contents/Resources/install-helper.sh'"),
          removal + " /etc/passwd", removal + '\n'}) {
        EXPECT_EQ(of(text), "command") << text;
    }
}

TEST_F(PurposeTest, connectsOnlyFromAPrivateFolderOfTheUser) {
    EXPECT_EQ(of(connectCommand(own), ::getuid() + 1), "command");
    EXPECT_EQ(of(connectCommand(own + "none/")), "command");
    ASSERT_EQ(::symlink(folder.path().c_str(), (own + "link").c_str()), 0);
    EXPECT_EQ(of(connectCommand(own + "link/")), "command");
    for (const mode_t mode : {0755U, 0710U, 01700U, 0500U}) {
        ASSERT_EQ(::chmod(folder.path().c_str(), mode), 0);
        EXPECT_EQ(of(connectCommand(own)), "command") << mode;
    }
    ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0);
}

TEST_F(PurposeTest, connectsOnlyFromAFolderWhoseNameTheShellDoesNotInterpret) {
    for (const char* name : {"a b", "a;b", "$HOME", "a'b", "a*", "~", "a\nb", "a>b"}) {
        const std::string odd = own + name + '/';
        ASSERT_EQ(::mkdir(odd.c_str(), 0700), 0);
        EXPECT_EQ(of(connectCommand(odd)), "command") << name;
    }
}

TEST_F(PurposeTest, installsOnlyFromABundleWhosePathTheShellDoesNotInterpret) {
    EXPECT_STREQ(
        purpose::of("/bin/bash '/o'; id'/Contents/Resources/install-helper.sh'", 0, "/o'; id'"),
        "command");
    EXPECT_STREQ(purpose::of("/bin/bash '/Contents/Resources/install-helper.sh'", 0, ""),
                 "command");
}

TEST_F(PurposeTest, aProgramOutsideABundleHasNone) {
    EXPECT_EQ(purpose::ownBundle(), "");
}

} // namespace
} // namespace kestrelnet
