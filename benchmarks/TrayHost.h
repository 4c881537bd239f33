// SPDX-License-Identifier: MIT
// A tray as the session bus sees it, without a picture: it takes registrations, tells when they and
// the icons' changes came, and clicks. It is no Qt program, so that it shares no pages with those
// that are measured beside it.
#pragma once

#include "benchmarks/Figures.h"

#include <optional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace kestrelnet::benchmarks {

class TrayHost {
  public:
    /// Owns the watcher's name on the session bus; gives up when it cannot.
    TrayHost();
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    /// Handles what has come in.
    void process();
    int descriptor() const;

    /// When the item that registered last did so; none after forget().
    std::optional<Time> registered() const { return registered_; }
    /// When an item last said that its icon is new; none after forget().
    std::optional<Time> iconChanged() const { return iconChanged_; }
    void forget();
    void forgetIcon() { iconChanged_.reset(); }

    /// Clicks the item that registered last, as at this place of the screen.
    void activate(int x, int y);
    /// Opens a link as the desktop does that has found the program running.
    void openLink(const std::string& link);

  private:
    struct Callbacks;

    void look();

    sd_bus* bus_ = nullptr;
    std::string item_;
    std::optional<Time> registered_;
    std::optional<Time> iconChanged_;
};

} // namespace kestrelnet::benchmarks
