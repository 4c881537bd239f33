// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// The tray of X11 panels that take icons as embedded windows. On another windowing system there is
/// none.
class XEmbedTray {
  public:
    /// `announced` is called whenever a tray announces itself, in the midst of the toolkit's own
    /// handling of events: it may take note, no more.
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
