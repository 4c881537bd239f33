// SPDX-License-Identifier: MIT
// Installed helpers whose group or mode an administrator has restricted, and what the package's
// scripts do with an installed helper.
#include "tests/privileged/InstallTest.h"

#include <filesystem>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class InstallUpgradeTest : public InstallTest {
  protected:
    void SetUp() override {
        InstallTest::SetUp();
        write(systemClient, "#!/bin/sh\nexit 5\n");
        ASSERT_EQ(run().status, 0);
        changeBundledHelper();
    }

    static void restrict(uid_t owner, gid_t group, mode_t mode) {
        ASSERT_EQ(::chown(helper.c_str(), owner, group), 0);
        ASSERT_EQ(::chmod(helper.c_str(), mode), 0);
    }
    /// Runs the package's script after an upgrade, or after a removal.
    static Outcome runAfterInstall() {
        return runPackageScript("sh -e " + sources + "/debian/kestrelnet.postinst configure 0.1");
    }
    static Outcome runAfterRemoval(const std::string& argument = "remove") {
        return runPackageScript("sh -e " + sources + "/debian/kestrelnet.postrm " + argument);
    }
    /// The same of the .rpm, where `count` versions stay installed.
    static Outcome runRpmAfterInstall() { return runScriptlet("%post", "2"); }
    static Outcome runRpmAfterRemoval(const std::string& count) {
        return runScriptlet("%postun", count);
    }
    static bool isNewHelper() { return readFile(helper) == readFile(bundledHelper); }

  private:
    static inline const std::string sources = KESTRELNET_SOURCE_FOLDER;

    static Outcome runPackageScript(const std::string& command) {
        const int status = runAsRoot("cd /; " + command + " >/tmp/output 2>/tmp/errors");
        return {status, readFile("/tmp/output"), readFile("/tmp/errors")};
    }
    /// The lines of the .spec file between `section` and the next one.
    static Outcome runScriptlet(const std::string& section, const std::string& count) {
        return runPackageScript("sed '1,/^" + section +
                                "$/d; /^%[a-z]/,$d; s|%{_libexecdir}|/usr/libexec|' " + sources +
                                "/packaging/kestrelnet.spec | sh -e -s " + count);
    }
};

const std::string userGroup = "0:" + std::to_string(rootWorld::user.gid);

TEST_F(InstallUpgradeTest, anInstallationKeepsARestrictionToAGroup) {
    restrict(0, rootWorld::user.gid, 04750);
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, EndsWith("installed " + helper +
                                         ", which lets the members of the group kestrel run that "
                                         "client as root.\n"));
    EXPECT_EQ(facts(helper), userGroup + " 4750");
    EXPECT_TRUE(isNewHelper());
    UserProgram member(helper);
    EXPECT_EQ(member.waitStatus(), W_EXITCODE(5, 0));
    UserProgram other(helper, {.who = rootWorld::stranger});
    EXPECT_EQ(other.waitStatus(), W_EXITCODE(127, 0)) << "not executable for others";
}

TEST_F(InstallUpgradeTest, anInstallationKeepsAHelperThatNoUserMayStart) {
    restrict(0, 0, 0755);
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, EndsWith("installed " + helper +
                                         ", which lets no user, because its mode is 0755, "
                                         "run that client as root.\n"));
    EXPECT_EQ(facts(helper), "0:0 0755");
    EXPECT_TRUE(isNewHelper());
}

TEST_F(InstallUpgradeTest, anInstallationKeepsNoRightToChangeTheHelper) {
    restrict(0, rootWorld::user.gid, 06772);
    EXPECT_EQ(run().status, 0);
    EXPECT_EQ(facts(helper), userGroup + " 4750");
    EXPECT_TRUE(isNewHelper());
}

TEST_F(InstallUpgradeTest, anInstallationTakesAHelperFromAnotherOwner) {
    restrict(rootWorld::user.uid, rootWorld::user.gid, 0755);
    EXPECT_EQ(run().status, 0);
    EXPECT_EQ(facts(helper), "0:0 4755");
    EXPECT_TRUE(isNewHelper());
}

TEST_F(InstallUpgradeTest, thePackageUpdatesTheHelperAndKeepsItsRights) {
    for (const auto& [group, mode, expected] :
         {std::tuple{gid_t{0}, mode_t{04755}, std::string("0:0 4755")},
          std::tuple{rootWorld::user.gid, mode_t{04750}, userGroup + " 4750"},
          std::tuple{gid_t{0}, mode_t{0755}, std::string("0:0 0755")}}) {
        restrict(0, group, mode);
        changeBundledHelper();
        const Outcome outcome = runAfterInstall();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output + outcome.errors, "");
        EXPECT_EQ(facts(helper), expected);
        EXPECT_TRUE(isNewHelper());
        EXPECT_EQ(readFile(client), "#!/bin/sh\nexit 5\n");
    }
    EXPECT_THAT(names(folder),
                UnorderedElementsAre("com.kestrelnetvpn.tunnel", "kestrelnet-client"));
}

TEST_F(InstallUpgradeTest, thePackageInstallsNoHelper) {
    fs::remove_all("/Library");
    const Outcome outcome = runAfterInstall();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallUpgradeTest, thePackageDoesNotUpdateAHelperThatOthersCanChange) {
    const std::string last = "Kestrelnet: the installed helper was not updated.\n";
    const std::string message = " can be changed by users other than root.";
    restrict(0, rootWorld::user.gid, 04775);
    Outcome outcome = runAfterInstall();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, testing::AllOf(HasSubstr(helper + message), EndsWith(last)));
    EXPECT_FALSE(isNewHelper());
    restrict(0, 0, 04755);
    ASSERT_EQ(::chmod(folder.c_str(), 0775), 0);
    outcome = runAfterInstall();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, testing::AllOf(HasSubstr(folder + message), EndsWith(last)));
    EXPECT_FALSE(isNewHelper());
}

TEST_F(InstallUpgradeTest, theRemovalOfThePackageRemovesTheHelperAndItsClient) {
    write(temporary(helper), "from an interrupted installation");
    const Outcome outcome = runAfterRemoval();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallUpgradeTest, theRemovalOfAnOlderVersionKeepsTheHelper) {
    // What dpkg passes when another version stays or comes.
    for (const char* argument : {"upgrade 0.1", "failed-upgrade 0.1", "purge", ""}) {
        EXPECT_EQ(runAfterRemoval(argument).status, 0);
        EXPECT_EQ(facts(helper), "0:0 4755") << argument;
        EXPECT_EQ(facts(client), "0:0 0755") << argument;
    }
}

TEST_F(InstallUpgradeTest, theRpmUpdatesTheHelperAndNeverFails) {
    Outcome outcome = runRpmAfterInstall();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_TRUE(isNewHelper());
    changeBundledHelper();
    ASSERT_EQ(::chmod(folder.c_str(), 0775), 0);
    outcome = runRpmAfterInstall();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, HasSubstr(folder + " can be changed by users other than root."));
    EXPECT_FALSE(isNewHelper());
}

TEST_F(InstallUpgradeTest, theRemovalOfTheLastRpmRemovesTheHelperAndItsClient) {
    EXPECT_EQ(runRpmAfterRemoval("1").status, 0);
    EXPECT_EQ(facts(helper), "0:0 4755");
    EXPECT_EQ(facts(client), "0:0 0755");
    write(temporary(helper), "from an interrupted installation");
    const Outcome outcome = runRpmAfterRemoval("0");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallUpgradeTest, theRemovalOfTheRpmSucceedsWhereTheHelperIsAFolder) {
    fs::remove(helper);
    write(helper + "/file", "");
    const Outcome outcome = runRpmAfterRemoval("0");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, HasSubstr(helper)) << "says what stays";
    EXPECT_THAT(names(folder), UnorderedElementsAre("com.kestrelnetvpn.tunnel"));
}

TEST_F(InstallUpgradeTest, theRemovalOfThePackageKeepsWhatOthersHavePutThere) {
    write(folder + "/another", "");
    EXPECT_EQ(runAfterRemoval().status, 0);
    EXPECT_THAT(names(folder), UnorderedElementsAre("another"));
}

TEST_F(InstallUpgradeTest, theRemovalOfThePackageSucceedsWhereTheFolderIsAMountPoint) {
    fs::remove_all("/Library");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", 0, "mode=0755"), 0);
    EXPECT_EQ(run().status, 0);
    const Outcome outcome = runAfterRemoval();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(names("/Library"), IsEmpty());
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallUpgradeTest, theRemovalOfThePackageSucceedsWhereTheFolderIsALink) {
    fs::rename("/Library", "/srv/library");
    fs::create_symlink("/srv/library", "/Library");
    const Outcome outcome = runAfterRemoval();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(names("/srv/library"), IsEmpty());
    EXPECT_TRUE(fs::is_symlink("/Library"));
    fs::remove("/Library");
    fs::remove_all("/srv/library");
}

TEST_F(InstallUpgradeTest, theRemovalOfThePackageSucceedsWhereTheHelperIsAFolder) {
    fs::remove(helper);
    write(helper + "/file", "");
    const Outcome outcome = runAfterRemoval();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, HasSubstr(helper)) << "says what stays";
    EXPECT_THAT(names(folder), UnorderedElementsAre("com.kestrelnetvpn.tunnel"));
}

} // namespace
} // namespace kestrelnet
