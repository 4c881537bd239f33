// SPDX-License-Identifier: MIT
// Lookups in a process of their own, which lacks something or quits.
#include "platform/Process.h"

#include "tests/support/Collector.h"
#include "tests/support/TlsServer.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrelnet {
namespace {

class LookupProbeTest : public testing::Test {
  protected:
    LookupProbeTest() { server_.serve("/", {.body = "203.0.113.7"}); }

    /// Whether the probe ends without a message, after its last lookup was answered.
    testing::AssertionResult survives(const std::string& scene) {
        const auto probe = Process::create();
        probe->executablePath = KESTRELNET_LOOKUP_PROBE;
        probe->arguments = {scene, server_.url(), server_.authorities()};
        probe->standardOutput = std::make_shared<Pipe>();
        probe->standardError = std::make_shared<Pipe>();
        const auto output = Collector::attachTo(probe->standardOutput->fileHandleForReading());
        const auto messages = Collector::attachTo(probe->standardError->fileHandleForReading());
        if (const auto error = probe->run()) {
            return testing::AssertionFailure() << error->description;
        }
        probe->waitUntilExit();
        if (!waitFor([&] { return output->ends() == 1 && messages->ends() == 1; })) {
            return testing::AssertionFailure() << "its streams did not end";
        }
        if (probe->terminationStatus() == 0 && output->text() == "203.0.113.7\n" &&
            messages->text().empty()) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "status " << probe->terminationStatus() << ", output "
                                           << output->text() << ", messages " << messages->text();
    }

  private:
    TlsServer server_;
};

TEST_F(LookupProbeTest, aProcessWithFewDescriptorsSurvivesItsLookups) {
    EXPECT_TRUE(survives("descriptors"));
}

TEST_F(LookupProbeTest, aProcessWithLittleAddressSpaceSurvivesItsLookups) {
    EXPECT_TRUE(survives("address-space"));
}

TEST_F(LookupProbeTest, aProcessMayQuitWhileLookupsHang) {
    EXPECT_TRUE(survives("quit"));
}

} // namespace
} // namespace kestrelnet
