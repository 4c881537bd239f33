// SPDX-License-Identifier: MIT
#pragma once

#include "tests/privileged/HelperTest.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// Runs scripts/install-helper.sh as root, from a bundle or a source tree.
class InstallTest : public testing::Test {
  protected:
    struct Outcome {
        int status;
        std::string output;
        std::string errors;
    };

    // Targets.
    static inline const std::string folder = "/Library/PrivilegedHelperTools";
    static inline const std::string helper = folder + "/com.kestrelnetvpn.tunnel";
    static inline const std::string client = folder + "/kestrelnet-client";
    // Sources.
    static inline const std::string contents = "/usr/libexec/kestrelnet/Contents";
    static inline const std::string script = contents + "/Resources/install-helper.sh";
    static inline const std::string bundledHelper = contents + "/Helpers/com.kestrelnetvpn.tunnel";
    static inline const std::string bundledClient = contents + "/Resources/kestrelnet-client";
    static inline const std::string systemClient = "/usr/local/bin/kestrelnet-client";
    static inline const std::string ownClient = "/home/kestrel/.kestrelnet/kestrelnet-client";

    /// Creates a bundle without a client, and removes the targets.
    void SetUp() override;
    /// Removes the stubs.
    void TearDown() override;

    /// Makes the script find a bash script with this text in place of the system's program `name`.
    void addStub(const std::string& name, const std::string& text);

    /// Writes a file and creates its parent folders.
    static void write(const std::string& path, const std::string& text, mode_t mode = 0755);
    /// The path of `name` in the folder.
    static std::string inFolder(const std::string& name);
    /// The path of a temporary file for `target`, as an interrupted installation leaves it.
    static std::string temporary(const std::string& target);
    /// Makes the bundle's helper another file that works in the same way.
    static void changeBundledHelper();
    /// Returns "uid:gid mode" of the regular file at `path`.
    static std::string facts(const std::string& path);
    /// Returns the names in the folder at `path`; none when it does not exist.
    static std::vector<std::string> names(const std::string& path);

    /// Runs the script as the administrator prompt does, with only `environment` set.
    static Outcome run(const Environment& environment = {}, const std::string& arguments = "",
                       const std::string& path = script);
    static Outcome runFor(const rootWorld::User& user);

    /// Expects both files with the right owner, mode and content, and no other file.
    static void expectInstalled(const std::string& clientText);
    /// Expects the failure `message` and an empty target folder.
    static void expectRefusal(const Outcome& outcome, const std::string& message);

  private:
    std::vector<std::string> stubs_;
};

} // namespace kestrelnet
