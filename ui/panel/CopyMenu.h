// SPDX-License-Identifier: MIT
#pragma once

class QContextMenuEvent;
class QWidget;

namespace kestrelnet {

class TunnelManager;

/// Opens a menu at the place of `event` that copies the exit IP or the last line, whole and as it
/// is now, if the panel shows it. Does nothing where there is nothing to copy. The menu belongs to
/// `parent`, and deletes itself.
void openCopyMenu(const TunnelManager& tunnel, const QContextMenuEvent& event, QWidget& parent);

} // namespace kestrelnet
