// SPDX-License-Identifier: MIT
#pragma once

#include "platform/URLSession.h"

#include "tests/support/EventLoop.h"
#include "tests/support/TlsServer.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kestrelnet {

/// A test with a session that trusts a server.
class URLSessionTest : public testing::Test {
  protected:
    using Body = std::optional<std::string>;

    struct Lookup {
        int completions = 0;
        Body body;
    };

    std::shared_ptr<const Lookup> start(const std::string& url) {
        auto lookup = std::make_shared<Lookup>();
        session->data(url, [lookup](Body body) {
            ++lookup->completions;
            lookup->body = std::move(body);
        });
        EXPECT_EQ(lookup->completions, 0) << "completed before data() returned";
        return lookup;
    }

    Body finish(const std::shared_ptr<const Lookup>& lookup) {
        EXPECT_TRUE(waitUntil([&] { return lookup->completions > 0; })) << "never completed";
        runPostedEvents();
        EXPECT_EQ(lookup->completions, 1);
        return lookup->body;
    }

    Body get(const std::string& url) { return finish(start(url)); }

    Body getAnswer(const TlsAnswer& answer) {
        server.enqueue(answer);
        return get(server.url());
    }

    TlsServer server;
    std::unique_ptr<URLSession> session = std::make_unique<URLSession>(server.authorities());
};

} // namespace kestrelnet
