// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// The tray of X11 panels that take icons as embedded windows. On another windowing system there is
/// none.
class XEmbedTray {
  public:
    /// `announced` is called from the event loop whenever a tray announces itself.
    explicit XEmbedTray(std::function<void()> announced);
    ~XEmbedTray();
    XEmbedTray(const XEmbedTray&) = delete;
    XEmbedTray& operator=(const XEmbedTray&) = delete;

    /// One round trip to the X server.
    bool isPresent() const;

  private:
    class Selection;
    std::unique_ptr<Selection> selection_;
};

} // namespace kestrelnet
