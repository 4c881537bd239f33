// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"

#include <filesystem>
#include <utility>

namespace kestrelnet {

TunnelTest::TunnelTest() {
    // Nothing listens on this port, and no packet leaves the machine.
    operatorValues.exitIPServiceURL = "https://127.0.0.1:1/";
    install("script");
    world->root.write("home/.kestrelnet/kestrelnet-client", "");
    manager = makeManager();
    manager->apiKey = validKey;
}

TunnelTest::~TunnelTest() {
    // Pending lookups keep the controller alive until they end.
    const std::weak_ptr<TunnelManager> ending = std::exchange(manager, nullptr);
    EXPECT_TRUE(time.waitUntil([&ending] { return ending.expired(); }));
    recording_ = {};
    world.reset();
}

std::shared_ptr<TunnelManager> TunnelTest::makeManager() const {
    return std::make_shared<TunnelManager>(world->platform, operatorValues);
}

FakeClient& TunnelTest::installAt(const std::string& path, std::string_view mode,
                                  std::string_view argument) {
    clients_.push_back(std::make_unique<FakeClient>(mode, argument));
    clients_.back()->installAt(path);
    return *clients_.back();
}

FakeClient& TunnelTest::install(std::string_view mode, std::string_view argument) {
    return installAt(paths().helper, mode, argument);
}

FakeClient& TunnelTest::start(std::string_view mode, std::string_view argument) {
    FakeClient& client = install(mode, argument);
    manager->connect();
    EXPECT_TRUE(time.waitHoldingMain([&client] { return client.isReady(); })) << mode;
    return client;
}

void TunnelTest::removeClient() const {
    std::filesystem::remove(world->root.file("home/.kestrelnet/kestrelnet-client"));
}

void TunnelTest::feed(const FakeClient& client, std::string_view chunk) {
    const std::size_t waiting = time.pendingCount();
    client.say(chunk);
    EXPECT_TRUE(time.waitHoldingMain([&] { return time.pendingCount() > waiting; }));
    time.runPending();
}

void TunnelTest::feedError(const FakeClient& client, std::string_view chunk) {
    const std::size_t waiting = time.pendingCount();
    client.sayOnError(chunk);
    EXPECT_TRUE(time.waitHoldingMain([&] { return time.pendingCount() > waiting; }));
    time.runPending();
}

bool TunnelTest::reaches(TunnelStatus status) {
    return time.waitUntil([&] { return manager->status == status; });
}

bool TunnelTest::endsUnnoticed(const FakeClient& client, std::size_t waiting) {
    return time.waitHoldingMain([&] { return client.isGone() && time.pendingCount() > waiting; });
}

TunnelTest::Snapshot TunnelTest::snapshot() const {
    return {.status = std::string(rawValue(manager->status)),
            .lastLog = manager->lastLog,
            .exitIP = manager->exitIP->value_or("none"),
            .serverLocation = manager->serverLocation->value_or("none")};
}

void TunnelTest::recordNotices() {
    notices.clear();
    recording_ = manager->objectWillChange.subscribe([this] { notices.push_back(snapshot()); });
}

} // namespace kestrelnet
