// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// The system tray of X11, where icons are embedded windows. On another windowing system it is
/// never present.
class XEmbedTray {
  public:
    /// `announced` is called whenever a tray announces itself, inside the toolkit's event handling:
    /// it must only record the fact and return.
    explicit XEmbedTray(std::function<void()> announced);
    ~XEmbedTray();
    XEmbedTray(const XEmbedTray&) = delete;
    XEmbedTray& operator=(const XEmbedTray&) = delete;

    /// Takes one round trip to the X server.
    bool isPresent() const;

  private:
    class Selection;
    std::unique_ptr<Selection> selection_;
};

} // namespace kestrelnet
