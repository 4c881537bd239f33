// SPDX-License-Identifier: MIT
#include "platform/linux/PrivateFolder.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

class PrivateFolderTest : public testing::Test {
  protected:
    PrivateFolderTest() { makeFolder(runtime, 0700); }

    static void makeFolder(const std::string& path, unsigned mode) {
        fs::create_directory(path);
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    }

    /// A folder with mode 0700 that another user owns.
    std::string foreignFolder() const {
        if (::geteuid() != 0) {
            return "/root";
        }
        std::string path = folder.file("foreign");
        makeFolder(path, 0700);
        EXPECT_EQ(::chown(path.c_str(), 65534, 65534), 0);
        return path;
    }

    static void expectPrivate(const std::string& path) {
        struct stat status {};
        ASSERT_TRUE(path.ends_with('/')) << path;
        ASSERT_EQ(::stat(path.c_str(), &status), 0) << path;
        EXPECT_EQ(status.st_uid, ::geteuid());
        EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
    }

    /// Expects a folder whose name differs from the fallback's, which another user has taken.
    void expectFresh() const {
        const std::string fresh = privateFolder(nullptr, fallback);
        EXPECT_TRUE(fresh.starts_with(fallback + '-')) << fresh;
        expectPrivate(fresh);
        EXPECT_EQ(privateFolder(nullptr, fallback), fresh) << "every caller must find the same";
    }

    TemporaryFolder folder;
    const std::string runtime = folder.file("runtime");
    const std::string fallback = folder.file("fallback");
};

TEST_F(PrivateFolderTest, isTheRuntimeFolder) {
    EXPECT_EQ(privateFolder(runtime.c_str(), fallback), runtime + '/');
    EXPECT_FALSE(fs::exists(fallback));
}

TEST_F(PrivateFolderTest, isTheFallbackWithoutAUsableRuntimeFolder) {
    folder.write("file", "");
    fs::create_directory_symlink("runtime", folder.file("link"));
    makeFolder(folder.file("group"), 0750);
    makeFolder(folder.file("open"), 0777);
    makeFolder(folder.file("closed"), 0500);
    fs::current_path(folder.path());
    for (const std::string& unusable :
         {std::string(), std::string("runtime"), folder.file("missing"), folder.file("file"),
          folder.file("link"), folder.file("group"), folder.file("open"), folder.file("closed"),
          foreignFolder()}) {
        EXPECT_EQ(privateFolder(unusable.c_str(), fallback), fallback + '/') << unusable;
        expectPrivate(fallback + '/');
    }
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + '/');
    fs::current_path("/");
}

TEST_F(PrivateFolderTest, usesItsFallbackAgain) {
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + '/');
    folder.write("fallback/fifo", "");
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + '/');
    EXPECT_TRUE(fs::exists(fallback + "/fifo"));
}

TEST_F(PrivateFolderTest, avoidsAFallbackThatOthersCanEnter) {
    for (const unsigned mode : {0755U, 0777U, 0710U, 0701U}) {
        makeFolder(fallback, mode);
        expectFresh();
    }
}

TEST_F(PrivateFolderTest, avoidsAFallbackThatIsALink) {
    fs::create_directory_symlink(runtime, fallback);
    expectFresh();
    EXPECT_TRUE(fs::is_empty(runtime));
}

TEST_F(PrivateFolderTest, avoidsAFallbackThatIsAFile) {
    folder.write("fallback", "");
    ASSERT_EQ(::chmod(fallback.c_str(), 0700), 0);
    expectFresh();
}

TEST_F(PrivateFolderTest, avoidsAFallbackOfAnotherUser) {
    const std::string foreign = foreignFolder();
    const std::string given = privateFolder(nullptr, foreign);
    EXPECT_NE(given, foreign + '/');
    EXPECT_TRUE(given == "/dev/null/" || given.starts_with(foreign + '-')) << given;
}

TEST_F(PrivateFolderTest, isUnusableIfNoneCanBeCreated) {
    EXPECT_EQ(privateFolder(nullptr, folder.file("missing/fallback")), "/dev/null/");
}

TEST_F(PrivateFolderTest, staysTheSameWhenAnEarlierNameBecomesFree) {
    folder.write("fallback", "");
    folder.write("fallback-1", "");
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + "-2/");
    fs::remove(fallback);
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + "-2/");
    EXPECT_FALSE(fs::exists(fallback));
}

TEST_F(PrivateFolderTest, isUnusableIfAllNamesAreTaken) {
    folder.write("fallback", "");
    for (int number = 1; number < 100; ++number) {
        folder.write("fallback-" + std::to_string(number), "");
    }
    EXPECT_EQ(privateFolder(nullptr, fallback), "/dev/null/");
    fs::remove(fallback + "-99");
    EXPECT_EQ(privateFolder(nullptr, fallback), fallback + "-99/");
}

} // namespace
} // namespace kestrelnet
