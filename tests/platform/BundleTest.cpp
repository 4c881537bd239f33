// SPDX-License-Identifier: MIT
#include "platform/Pipe.h"
#include "platform/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace kestrelnet {
namespace {

class BundleTest : public testing::Test {
  protected:
    /// Copies the probe to `place` below the root.
    void install(const std::string& place) {
        const std::filesystem::path path = root / place;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::copy_file(KESTRELNET_BUNDLE_PROBE, path);
    }

    /// Runs `command` in a shell in the root and returns the output of the probe.
    std::string run(const std::string& command) {
        const auto shell = Process::create();
        shell->executablePath = "/bin/sh";
        shell->arguments = {"-c", "cd '" + root.string() + "' && " + command};
        shell->standardOutput = std::make_shared<Pipe>();
        EXPECT_FALSE(shell->run().has_value());
        std::string text;
        FileHandle& output = shell->standardOutput->fileHandleForReading();
        for (std::string part = output.availableData(); !part.empty();
             part = output.availableData()) {
            text += part;
        }
        shell->waitUntilExit();
        EXPECT_EQ(shell->terminationStatus(), 0) << command;
        return text;
    }

    TemporaryFolder folder;
    const std::filesystem::path root = std::filesystem::canonical(folder.path());
};

TEST_F(BundleTest, isTheFolderWhoseContentsHoldTheProgram) {
    for (const std::string place : {"Product", "My Product.app", "Contents", "a/b/Pr\u00F6duct"}) {
        install(place + "/Contents/MacOS/probe");
        EXPECT_EQ(run("'./" + place + "/Contents/MacOS/probe'"), root / place);
    }
}

TEST_F(BundleTest, isTheProgramsFolderOutsideABundle) {
    for (const std::string place :
         {"bin", "Contents", "a/Contents/MacOS/deeper", "a/contents/MacOS", "a/Contents2/MacOS"}) {
        install(place + "/probe");
        EXPECT_EQ(run("./" + place + "/probe"), root / place);
    }
}

TEST_F(BundleTest, isFoundThroughLinks) {
    install("Product/Contents/MacOS/probe");
    std::filesystem::create_directory(root / "bin");
    std::filesystem::create_symlink("../Product/Contents/MacOS/probe", root / "bin/first");
    std::filesystem::create_symlink("first", root / "bin/second");
    std::filesystem::create_directory_symlink("Product", root / "Linked");
    EXPECT_EQ(run("bin/first"), root / "Product");
    EXPECT_EQ(run("bin/second"), root / "Product");
    EXPECT_EQ(run("Linked/Contents/MacOS/probe"), root / "Product");
}

TEST_F(BundleTest, isFoundForEveryWayToCallTheProgram) {
    install("Product/Contents/MacOS/probe");
    EXPECT_EQ(run("cd Product/Contents && MacOS/probe"), root / "Product");
    EXPECT_EQ(run("cd Product && ./Contents/../Contents/MacOS/probe"), root / "Product");
    EXPECT_EQ(run("PATH=Product/Contents/MacOS:$PATH probe"), root / "Product");
}

} // namespace
} // namespace kestrelnet
