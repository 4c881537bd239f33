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

/// A session bus of the test program's own, on which nobody is and no service can be started.
class SessionBus : public testing::Environment {
  public:
    void SetUp() override;
    void TearDown() override;

    /// Under its address; everybody has lost it.
    void restart();

  private:
    void start();

    TemporaryFolder folder_;
    std::optional<ChildProgram> daemon_;
};

/// One more party on the session bus: a service of the desktop, or somebody who calls.
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

/// What `message` is answered with. Events are handled meanwhile, so that this process can be the
/// one that answers.
QDBusMessage answerTo(const QDBusConnection& connection, const QDBusMessage& message);

/// Returns when all that `connection` has sent has been forwarded by the bus, and all that the bus
/// forwarded to it before has been handled.
void roundTrip(const QDBusConnection& connection);

} // namespace kestrelnet
