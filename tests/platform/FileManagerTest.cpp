// SPDX-License-Identifier: MIT
#include "platform/FileManager.h"

#include "tests/support/FullDisk.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

unsigned modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

std::ptrdiff_t entryCount(const std::string& folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

class FileManagerTest : public testing::Test {
  protected:
    FileManagerTest() { ::umask(022); }
    ~FileManagerTest() override { ::umask(mask_); }

    TemporaryFolder folder;

  private:
    const mode_t mask_ = ::umask(022);
};

TEST_F(FileManagerTest, existsForEveryKindOfFile) {
    const std::string file = folder.write("file", "text");
    fs::create_directory(folder.file("folder"));
    fs::create_symlink("file", folder.file("link"));
    fs::create_directory_symlink("folder", folder.file("folder-link"));
    ASSERT_EQ(::mkfifo(folder.file("fifo").c_str(), 0600), 0);
    for (const char* name : {"file", "folder", "link", "folder-link", "fifo", "folder/../file"}) {
        EXPECT_TRUE(files::exists(folder.file(name))) << name;
    }
    EXPECT_TRUE(files::exists("/"));
}

TEST_F(FileManagerTest, aMissingOrInaccessiblePathDoesNotExist) {
    folder.write("file", "text");
    fs::create_symlink("nothing", folder.file("dangling"));
    fs::create_symlink("circle", folder.file("circle"));
    for (const std::string& name :
         {std::string("missing"), std::string("missing/file"), std::string("file/below"),
          std::string("dangling"), std::string("circle"), std::string(5000, 'x')}) {
        EXPECT_FALSE(files::exists(folder.file(name))) << name;
    }
    EXPECT_FALSE(files::exists(""));
}

TEST_F(FileManagerTest, existsReportsTheCurrentState) {
    const std::string path = folder.file("client");
    EXPECT_FALSE(files::exists(path));
    folder.write("client", "");
    EXPECT_TRUE(files::exists(path));
    fs::remove(path);
    EXPECT_FALSE(files::exists(path));
}

TEST_F(FileManagerTest, writesTheTextUnchanged) {
    for (const std::string& text : {std::string(), std::string("line\n"),
                                    std::string("a\0b\xff\r\n", 6), std::string(3'000'000, 'x')}) {
        EXPECT_TRUE(files::writeAtomically(folder.file("file"), text));
        EXPECT_TRUE(readFile(folder.file("file")) == text) << text.size();
    }
    EXPECT_EQ(entryCount(folder.path()), 1) << "something is left behind";
}

TEST_F(FileManagerTest, writesToANameOutsideAscii) {
    const std::string path = folder.file("Gr\u00FC\u00DFe \U0001F600");
    EXPECT_TRUE(files::writeAtomically(path, "text"));
    EXPECT_EQ(readFile(path), "text");
}

TEST_F(FileManagerTest, aReaderOfTheOldFileKeepsIt) {
    const std::string path = folder.write("file", "old");
    std::ifstream open(path);
    ASSERT_TRUE(files::writeAtomically(path, "new"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(open), {}), "old");
    EXPECT_EQ(readFile(path), "new");
}

TEST_F(FileManagerTest, aReaderSeesEitherTheOldTextOrTheNew) {
    constexpr std::size_t size = 100'000;
    const std::string path = folder.write("file", std::string(size, 'a'));
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 50; ++i) {
            EXPECT_TRUE(files::writeAtomically(path, std::string(size, i % 2 == 0 ? 'b' : 'a')));
        }
        done = true;
    });
    while (!done) {
        const std::string text = readFile(path);
        EXPECT_TRUE(text == std::string(size, 'a') || text == std::string(size, 'b'))
            << text.size();
    }
    writer.join();
}

TEST_F(FileManagerTest, aNewFileGetsTheUsualMode) {
    ASSERT_TRUE(files::writeAtomically(folder.file("file"), "text"));
    EXPECT_EQ(modeOf(folder.file("file")), 0644U);
}

TEST_F(FileManagerTest, aReplacedFileKeepsItsMode) {
    for (const mode_t mode : std::initializer_list<mode_t>{0600, 0644, 0755}) {
        const std::string path = folder.write("file", "old");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        ASSERT_TRUE(files::writeAtomically(path, "new"));
        EXPECT_EQ(modeOf(path), mode);
    }
}

TEST_F(FileManagerTest, replacesAReadOnlyFileAndKeepsItsMode) {
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    const OrdinaryUser user(folder.path());
    EXPECT_TRUE(files::writeAtomically(path, "new"));
    EXPECT_EQ(readFile(path), "new");
    EXPECT_EQ(modeOf(path), 0444U);
    EXPECT_EQ(entryCount(folder.path()), 1);
}

TEST_F(FileManagerTest, aNewFileGetsTheGivenModeWithoutTheMask) {
    ::umask(027);
    ASSERT_TRUE(files::writeAtomically(folder.file("program"), "text", 0777));
    ASSERT_TRUE(files::writeAtomically(folder.file("secret"), "text", 0600));
    EXPECT_EQ(modeOf(folder.file("program")), 0750U);
    EXPECT_EQ(modeOf(folder.file("secret")), 0600U);
}

TEST_F(FileManagerTest, createsTheTargetOfALinkThatLeadsNowhere) {
    fs::create_directory(folder.file("dotfiles"));
    fs::create_symlink("dotfiles/second", folder.file("first"));
    fs::create_symlink("bashrc", folder.file("dotfiles/second"));
    ASSERT_TRUE(files::writeAtomically(folder.file("first"), "new"));
    EXPECT_TRUE(fs::is_symlink(folder.file("first")));
    EXPECT_TRUE(fs::is_symlink(folder.file("dotfiles/second")));
    EXPECT_EQ(readFile(folder.file("dotfiles/bashrc")), "new");
}

TEST_F(FileManagerTest, writingFailsAtLinksInACircle) {
    fs::create_symlink("circle", folder.file("circle"));
    EXPECT_FALSE(files::writeAtomically(folder.file("circle"), "new"));
    EXPECT_EQ(entryCount(folder.path()), 1);
}

TEST_F(FileManagerTest, writesThroughALink) {
    const std::string target = folder.write("dotfiles/bashrc", "old");
    fs::create_symlink("dotfiles/bashrc", folder.file("link"));
    ASSERT_TRUE(files::writeAtomically(folder.file("link"), "new"));
    EXPECT_TRUE(fs::is_symlink(folder.file("link")));
    EXPECT_EQ(readFile(target), "new");
}

TEST_F(FileManagerTest, aReplacedFileKeepsItsOwnerAndGroup) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(::chown(path.c_str(), 1234, 5678), 0);
    ASSERT_TRUE(files::writeAtomically(path, "new"));
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 5678U);
}

// A user who may write to the folder can replace the file, but cannot restore its owner.
TEST_F(FileManagerTest, aFileOfAnotherUserIsNotReplaced) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make somebody else's file";
    }
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(::seteuid(65534), 0);
    const bool isWritten = files::writeAtomically(path, "new");
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_FALSE(isWritten);
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(entryCount(folder.path()), 1);
}

TEST_F(FileManagerTest, readsARegularFileWhole) {
    for (const std::string& text :
         {std::string(), std::string("a\0b\xff\r\n", 6), std::string(3'000'000, 'x')}) {
        EXPECT_TRUE(files::read(folder.write("file", text)) == text) << text.size();
    }
    fs::create_symlink("file", folder.file("link"));
    EXPECT_EQ(files::read(folder.file("link"))->size(), 3'000'000U);
}

TEST_F(FileManagerTest, readsNoFileAboveTheLimit) {
    const std::string file = folder.write("file", "12345");
    EXPECT_EQ(files::read(file, 5), "12345");
    EXPECT_EQ(files::read(file, 4), std::nullopt);
}

TEST_F(FileManagerTest, readsOnlyRegularFilesAndNeverWaits) {
    ASSERT_EQ(::mkfifo(folder.file("fifo").c_str(), 0600), 0);
    fs::create_symlink("nothing", folder.file("dangling"));
    // A sparse file uses no disk space.
    folder.write("huge", "");
    fs::resize_file(folder.file("huge"), 1024LL * 1024 * 1024 + 1);
    for (const char* name : {"", "missing", "fifo", "dangling", "huge", "huge/below"}) {
        EXPECT_EQ(files::read(folder.file(name)), std::nullopt) << name;
    }
    EXPECT_EQ(files::read("/dev/zero"), std::nullopt);
}

TEST_F(FileManagerTest, createsAFolderWithItsParents) {
    EXPECT_TRUE(files::createFolder(folder.file("a/b/c")));
    EXPECT_TRUE(fs::is_directory(folder.file("a/b/c")));
    EXPECT_TRUE(files::createFolder(folder.file("a/b/c")));
    fs::create_directory_symlink("a", folder.file("link"));
    EXPECT_TRUE(files::createFolder(folder.file("link/d")));
    EXPECT_TRUE(fs::is_directory(folder.file("a/d")));
}

TEST_F(FileManagerTest, createsNoFolderOverAnotherFile) {
    const std::string file = folder.write("file", "text");
    EXPECT_FALSE(files::createFolder(file));
    EXPECT_FALSE(files::createFolder(file + "/below"));
    EXPECT_FALSE(files::createFolder(""));
    EXPECT_EQ(readFile(file), "text");
}

TEST_F(FileManagerTest, writingFailsWhereNoFileCanBeCreated) {
    const std::string file = folder.write("file", "old");
    fs::create_directory(folder.file("folder"));
    for (const char* name : {"missing/file", "file/below", "folder", ""}) {
        EXPECT_FALSE(files::writeAtomically(folder.file(name), "new")) << name;
    }
    EXPECT_FALSE(files::writeAtomically("", "new"));
    EXPECT_EQ(readFile(file), "old");
    EXPECT_EQ(entryCount(folder.path()), 2);
    EXPECT_EQ(entryCount(folder.file("folder")), 0);
}

TEST_F(FileManagerTest, aFullDiskKeepsTheOldFileComplete) {
    // Texts that fit into a buffer, and larger ones.
    for (const std::size_t size : {1000U, 5000U, 16384U, 16385U, 100'000U}) {
        const std::string path = folder.write("file", "old");
        {
            const FullDisk disk(512);
            EXPECT_FALSE(files::writeAtomically(path, std::string(size, 'x'))) << size;
            EXPECT_EQ(errno, EFBIG);
        }
        EXPECT_EQ(readFile(path), "old") << size;
        EXPECT_EQ(entryCount(folder.path()), 1) << size;
    }
}

TEST_F(FileManagerTest, setsPermissions) {
    const std::string path = folder.write("file", "");
    for (const unsigned mode : {0755U, 0600U, 0U, 0644U}) {
        EXPECT_TRUE(files::setPermissions(path, mode));
        EXPECT_EQ(modeOf(path), mode);
    }
    EXPECT_FALSE(files::setPermissions(folder.file("missing"), 0755));
    EXPECT_FALSE(files::exists(folder.file("missing")));
}

TEST_F(FileManagerTest, removesFilesFoldersAndLinks) {
    folder.write("file", "");
    folder.write("folder/deep/down/file", "");
    fs::create_directory(folder.file("empty"));
    fs::create_symlink("nothing", folder.file("dangling"));
    for (const char* name : {"file", "folder", "empty", "dangling"}) {
        EXPECT_TRUE(files::remove(folder.file(name))) << name;
        EXPECT_FALSE(files::remove(folder.file(name))) << name << ", once more";
    }
    EXPECT_EQ(entryCount(folder.path()), 0);
    EXPECT_FALSE(files::remove(""));
}

TEST_F(FileManagerTest, removingALinkKeepsItsTarget) {
    folder.write("kept/file", "text");
    fs::create_directory(folder.file("removed"));
    fs::create_directory_symlink("../kept", folder.file("removed/link"));
    fs::create_directory_symlink("kept", folder.file("link"));
    EXPECT_TRUE(files::remove(folder.file("removed")));
    EXPECT_TRUE(files::remove(folder.file("link")));
    EXPECT_EQ(readFile(folder.file("kept/file")), "text");
    EXPECT_EQ(entryCount(folder.path()), 1);
}

TEST_F(FileManagerTest, removingFailsBelowAFile) {
    const std::string file = folder.write("file", "text");
    EXPECT_FALSE(files::remove(file + "/below"));
    EXPECT_EQ(readFile(file), "text");
}

TEST_F(FileManagerTest, makesANamedPipe) {
    const std::string path = folder.file("fifo");
    EXPECT_TRUE(files::makeFifo(path, 0644));
    EXPECT_TRUE(fs::is_fifo(path));
    EXPECT_EQ(modeOf(path), 0644U);
}

TEST_F(FileManagerTest, theMaskAppliesToANamedPipe) {
    ::umask(077);
    ASSERT_TRUE(files::makeFifo(folder.file("fifo"), 0666));
    EXPECT_EQ(modeOf(folder.file("fifo")), 0600U);
}

TEST_F(FileManagerTest, makesNoNamedPipeOverAnotherFile) {
    const std::string file = folder.write("file", "text");
    EXPECT_FALSE(files::makeFifo(file, 0644));
    EXPECT_EQ(readFile(file), "text");
    EXPECT_FALSE(files::makeFifo(folder.file("missing/fifo"), 0644));
}

TEST_F(FileManagerTest, theHomeFolderIsTheAccountsAndNotTheEnvironments) {
    std::string expected = ::getpwuid(::getuid())->pw_dir;
    if (expected.ends_with('/')) {
        expected.pop_back();
    }
    ASSERT_EQ(::setenv("HOME", folder.path().c_str(), 1), 0);
    EXPECT_EQ(files::homeDirectory(), expected);
    ASSERT_EQ(::unsetenv("HOME"), 0);
    EXPECT_EQ(files::homeDirectory(), expected);
}

TEST_F(FileManagerTest, onlyTheUserCanEnterTheTemporaryFolder) {
    const std::string path = files::temporaryDirectory("kestrelnet");
    ASSERT_TRUE(path.starts_with('/') && path.ends_with('/')) << path;
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0) << path;
    EXPECT_EQ(status.st_uid, ::geteuid());
    EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
}

TEST(StandardizedPathTest, hasNoDotsAndNoSuperfluousSeparators) {
    EXPECT_EQ(files::standardizedPath("/a/b/../c/./d//e/"), "/a/c/d/e");
    EXPECT_EQ(files::standardizedPath("/opt/K.app/../scripts/x.sh"), "/opt/scripts/x.sh");
    EXPECT_EQ(files::standardizedPath("/../../a"), "/a");
    EXPECT_EQ(files::standardizedPath("/"), "/");
    EXPECT_EQ(files::standardizedPath("/a...b/..c/it's"), "/a...b/..c/it's");
}

TEST(StandardizedPathTest, goesUpFromTheTargetOfALink) {
    const TemporaryFolder folder;
    const std::string real = std::filesystem::canonical(folder.path());
    std::filesystem::create_directories(real + "/deep/down/bundle");
    std::filesystem::create_directory_symlink(real + "/deep/down/bundle", real + "/link");
    EXPECT_EQ(files::standardizedPath(real + "/link/../scripts"), real + "/deep/down/scripts");
    EXPECT_EQ(files::standardizedPath(real + "/link/inside"), real + "/link/inside");
}

} // namespace
} // namespace kestrelnet
