// SPDX-License-Identifier: MIT
#include "privileged/TrustedFile.h"
#include "tests/privileged/HelperTest.h"
#include "tests/support/ProcessFacts.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/fs.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using privileged::openTrusted;

void write(const std::string& path, const std::string& text, mode_t mode = 0755) {
    std::ofstream(path) << text;
    EXPECT_EQ(::chmod(path.c_str(), mode), 0);
}

class TrustedFileTest : public testing::Test {
  protected:
    static constexpr const char* folder = "/srv/outer/inner";
    static constexpr const char* program = "/srv/outer/inner/program";

    void SetUp() override {
        fs::remove_all("/srv/outer");
        fs::create_directories(folder);
        write(program, "#!/bin/sh\nexit 7\n");
    }

    /// The problem of `path`; empty when there is none.
    static std::string problem(const char* path = program) {
        const std::size_t before = openDescriptors();
        const privileged::TrustedFile file = openTrusted(path);
        EXPECT_EQ(openDescriptors(), before + (file.problem == nullptr ? 1 : 0));
        EXPECT_EQ(file.descriptor >= 0, file.problem == nullptr);
        ::close(file.descriptor);
        return file.problem == nullptr ? "" : file.problem;
    }
};

TEST_F(TrustedFileTest, opensTheFileThatWasChecked) {
    const privileged::TrustedFile file = openTrusted(program);
    ASSERT_EQ(file.problem, nullptr);
    struct stat opened {};
    struct stat there {};
    ASSERT_EQ(::fstat(file.descriptor, &opened), 0);
    ASSERT_EQ(::stat(program, &there), 0);
    EXPECT_EQ(opened.st_ino, there.st_ino);
    EXPECT_NE(::fcntl(file.descriptor, F_GETFD) & FD_CLOEXEC, 0);
    ::close(file.descriptor);
}

TEST_F(TrustedFileTest, refusesAFolderOrFileThatOthersOwnOrMayWrite) {
    for (const char* part : {"/srv", "/srv/outer", folder, program}) {
        EXPECT_EQ(problem(), "");
        ASSERT_EQ(::chown(part, rootWorld::user.uid, 0), 0);
        EXPECT_EQ(problem(), "does not belong to root, or lies in a folder that does not") << part;
        // The group may be another one as long as it may not write.
        ASSERT_EQ(::chown(part, 0, rootWorld::user.gid), 0);
        EXPECT_EQ(problem(), "");
        for (const mode_t mode : {0775U, 0757U, 01777U, 02775U}) {
            ASSERT_EQ(::chmod(part, mode), 0);
            EXPECT_EQ(problem(),
                      "can be replaced by others than root, or lies in a folder where it can")
                << part << ' ' << std::oct << mode;
        }
        ASSERT_EQ(::chmod(part, 0755), 0);
    }
}

TEST_F(TrustedFileTest, followsNoLink) {
    for (const std::string part : {"/srv/outer", folder, program}) {
        fs::rename(part, part + "-moved");
        fs::create_symlink(part + "-moved", part);
        EXPECT_EQ(problem(), "is, or lies behind, a symbolic link or something that is no folder");
        fs::remove(part);
        fs::rename(part + "-moved", part);
    }
    EXPECT_EQ(problem(), "");
}

TEST_F(TrustedFileTest, refusesWhatIsNoExecutableFile) {
    EXPECT_EQ(problem(folder), "is no program");
    EXPECT_EQ(problem("/srv/outer/inner/other"), "is missing");
    EXPECT_EQ(problem("/srv/other/inner/program"), "is missing");
    EXPECT_EQ(problem("/srv/outer/inner/program/more"),
              "is, or lies behind, a symbolic link or something that is no folder");
    ASSERT_EQ(::chmod(program, 0655), 0);
    EXPECT_EQ(problem(), "is no program");
    ASSERT_EQ(::mkfifo("/srv/outer/inner/pipe", 0755), 0);
    EXPECT_EQ(problem("/srv/outer/inner/pipe"), "is no program");
}

} // namespace
} // namespace kestrelnet
