// SPDX-License-Identifier: MIT
#pragma once

#include <QMargins>
#include <Qt>

namespace kestrelnet {

/// `margins` as they are in a left-to-right layout, with left and right exchanged in the other
/// direction. Layouts mirror their widgets, but not their margins.
inline QMargins mirrored(const QMargins& margins, Qt::LayoutDirection direction) {
    return direction == Qt::RightToLeft
               ? QMargins(margins.right(), margins.top(), margins.left(), margins.bottom())
               : margins;
}

} // namespace kestrelnet
