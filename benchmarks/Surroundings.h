// SPDX-License-Identifier: MIT
// The desktop around the measured program.
#pragma once

#include "benchmarks/ChildProcess.h"
#include "benchmarks/Screen.h"
#include "benchmarks/TrayHost.h"

#include <chrono>
#include <functional>
#include <string>

namespace kestrelnet::benchmarks {

class Surroundings {
  public:
    /// How long anything waits at most; long, because the machine may be busy.
    static constexpr std::chrono::seconds bound{60};

    TrayHost tray;
    Screen screen;

    /// Handles events until `condition` is true; returns whether it became true within `span`. It
    /// is evaluated after each event, and at least every `interval`.
    bool serve(const std::function<bool()>& condition, std::chrono::nanoseconds span,
               std::chrono::nanoseconds interval);
    /// The same, within the bound; gives up after it.
    void serveUntil(const std::function<bool()>& condition, const std::string& failure,
                    std::chrono::nanoseconds interval = bound);
    /// Handles events for this long.
    void serveFor(std::chrono::nanoseconds span);

  private:
    void await(std::chrono::nanoseconds span) const;
};

/// Handles events until `program` has done nothing for `span`.
void awaitQuiet(Surroundings& around, const ChildProcess& program,
                std::chrono::nanoseconds span = std::chrono::milliseconds(400));

/// Stores a key, and whether the first appearance of the panel connects.
void writeSettings(bool autoConnect);

} // namespace kestrelnet::benchmarks
