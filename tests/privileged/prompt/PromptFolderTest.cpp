// SPDX-License-Identifier: MIT
// The files of a run in a session without a runtime folder, where another user has taken the name
// of the temporary folder.
#include "tests/support/polkit/PromptTest.h"

#include <filesystem>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::SizeIs;

class PromptFolderTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
        world.startAgent("right");
        fs::create_directory(taken);
        ASSERT_EQ(::chown(taken.c_str(), rootWorld::stranger.uid, rootWorld::stranger.gid), 0);
        FakeClient& client = install("relay-then-routes");
        controller.emplace(PolkitWorld::inSession(
            {"/bin/sh", "-c", R"(unset XDG_RUNTIME_DIR; exec "$0" 2>/tmp/errors)",
             rootWorld::bundle + "/Contents/Linux/controller"}));
        controller->tell("key dev_0123456789");
        controller->tell("connect");
        ASSERT_TRUE(waitFor([&client] { return client.isReady(); }));
    }

    /// The user's files in folders with the name of the temporary folder.
    std::vector<std::string> files() const {
        std::vector<std::string> found;
        for (const auto& folder : fs::directory_iterator("/tmp")) {
            if (folder.path().string().starts_with(taken)) {
                for (const auto& file : fs::directory_iterator(folder)) {
                    found.push_back(file.path());
                }
            }
        }
        return found;
    }

    const std::string taken = "/tmp/kestrelnet-" + std::to_string(rootWorld::user.uid);
};

TEST_F(PromptFolderTest, areRemovedWhenTheApplicationDies) {
    EXPECT_THAT(files(), SizeIs(2));
    controller->kill();
    EXPECT_TRUE(waitFor([this] { return strays().empty(); }));
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(PromptFolderTest, areRemovedAfterADisconnect) {
    EXPECT_TRUE(tells("status Connected"));
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(waitFor([this] { return strays().empty() && files().empty(); }));
}

} // namespace
} // namespace kestrelnet
