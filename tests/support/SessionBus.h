// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/ChildProgram.h"
#include "tests/support/TemporaryFolder.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace kestrelnet {

/// A private session bus, without other clients and without services that can be started. Its
/// address is in this process's environment.
class SessionBus : public testing::Environment {
  public:
    void SetUp() override;
    void TearDown() override;

    /// Restarts the bus at the same address; all connections are lost.
    void restart();

  private:
    void start();

    TemporaryFolder folder_;
    std::optional<ChildProgram> daemon_;
};

/// A second connection to the session bus: a service of the desktop, or a caller.
class BusPeer {
  public:
    BusPeer();
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    QDBusConnection& connection() { return connection_; }

  private:
    QDBusConnection connection_;
};

/// Sends `message` and returns the reply. Events are handled meanwhile, so that an object of this
/// process can send the reply.
QDBusMessage answerTo(const QDBusConnection& connection, const QDBusMessage& message);

/// Returns when the bus has forwarded all messages that `connection` has sent, and all messages
/// that the bus forwarded to it before are handled.
void roundTrip(const QDBusConnection& connection);

} // namespace kestrelnet
