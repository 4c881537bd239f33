// SPDX-License-Identifier: MIT
// A tray host on the session bus that shows nothing. It records the times of registrations and of
// icon changes, and clicks. It does not use Qt, so that it shares no pages with the measured
// programs.
#pragma once

#include "benchmarks/Figures.h"

#include <optional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace kestrelnet::benchmarks {

class TrayHost {
  public:
    /// Takes the watcher's name on the session bus. Gives up if it cannot.
    TrayHost();
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    /// Handles the messages that have arrived.
    void process();
    int descriptor() const;

    /// The time of the last registration; none after forget().
    std::optional<Time> registered() const { return registered_; }
    /// The time of the last change of an icon; none after forget().
    std::optional<Time> iconChanged() const { return iconChanged_; }
    void forget();
    void forgetIcon() { iconChanged_.reset(); }

    /// The tool tip of the item that registered last, as announced so far.
    const std::string& toolTip() const { return toolTip_; }
    /// Chooses the entry `label` in the item's menu; returns false when there is none. Waits for
    /// the program's answers.
    bool choose(const std::string& label);

    /// Clicks the item that registered last, with this position on the screen.
    void activate(int x, int y);
    /// Opens a link as a desktop does while the program runs.
    void openLink(const std::string& link);

  private:
    struct Callbacks;

    void requestProperties();
    void requestToolTip();

    sd_bus* bus_ = nullptr;
    std::string item_;
    std::string toolTip_;
    std::optional<Time> registered_;
    std::optional<Time> iconChanged_;
};

} // namespace kestrelnet::benchmarks
