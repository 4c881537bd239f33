// SPDX-License-Identifier: MIT
#pragma once

#include "tests/privileged/HelperTest.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// scripts/install-helper.sh, as root runs it, in a bundle and beside the sources.
class InstallTest : public testing::Test {
  protected:
    struct Outcome {
        int status;
        std::string output;
        std::string errors;
    };

    // Where it installs.
    static inline const std::string folder = "/Library/PrivilegedHelperTools";
    static inline const std::string helper = folder + "/com.kestrelnetvpn.tunnel";
    static inline const std::string client = folder + "/kestrelnet-client";
    // What it installs from.
    static inline const std::string contents = "/usr/lib/kestrelnet/Contents";
    static inline const std::string script = contents + "/Resources/install-helper.sh";
    static inline const std::string bundledHelper = contents + "/Helpers/com.kestrelnetvpn.tunnel";
    static inline const std::string bundledClient = contents + "/Resources/kestrelnet-client";
    static inline const std::string systemClient = "/usr/local/bin/kestrelnet-client";
    static inline const std::string ownClient = "/home/kestrel/.kestrelnet/kestrelnet-client";

    /// Lays out a bundle, without a client, and nothing where it is installed to.
    void SetUp() override;

    /// Writes a file with the folders above it.
    static void write(const std::string& path, const std::string& text, mode_t mode = 0755);
    /// "uid:gid mode" of the file at `path`.
    static std::string facts(const std::string& path);
    /// What lies in the folder at `path`; nothing when there is none.
    static std::vector<std::string> names(const std::string& path);

    /// Runs the script the way the administrator prompt does, in an environment of its own.
    static Outcome run(const Environment& environment = {}, const std::string& arguments = "",
                       const std::string& path = script);
    static Outcome runFor(const rootWorld::User& user);

    /// Both files are there, as they should be, the client with this text, and nothing else.
    static void expectInstalled(const std::string& clientText);
    /// It failed with `message`, and nothing is there.
    static void expectRefusal(const Outcome& outcome, const std::string& message);
};

} // namespace kestrelnet
