// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Redraw.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace kestrelnet {

/// Keeps what a view shows equal to a content value that is computed from an observable object.
///
/// After a change notice the content is computed in the next turn of the main loop, and applied if
/// it differs from the content shown. What is applied stays for a frame of the screen at least:
/// later changes are applied together at its end, see Redraw. While the view is hidden, a change is
/// only noted; the view calls `update` when it is shown. Main thread only.
template <typename Content>
class ContentUpdater {
  public:
    struct View {
        std::function<Content()> content;
        std::function<void(const Content&)> apply;
        std::function<bool()> isVisible;
    };

    /// Does not use `view` once this object is gone. The first `update` applies the content in any
    /// case.
    ContentUpdater(std::shared_ptr<Queue> mainQueue, View view)
        : view_(std::move(view)), redraw_(std::move(mainQueue), [this] { return update(); }) {}
    ContentUpdater(const ContentUpdater&) = delete;
    ContentUpdater& operator=(const ContentUpdater&) = delete;

    /// The content may have changed. To be called at each change notice.
    void noteChange() {
        isDirty_ = true;
        if (view_.isVisible()) {
            redraw_.request();
        }
    }

    /// Applies the content now, if a change was noted and the content differs. Returns whether it
    /// was applied.
    bool update() {
        if (!std::exchange(isDirty_, false)) {
            return false;
        }
        Content content = view_.content();
        if (shown_ == content) {
            return false;
        }
        view_.apply(content);
        shown_ = std::move(content);
        return true;
    }

    /// The content has changed: applies it now, also while the view is hidden.
    void updateChanged() {
        isDirty_ = true;
        update();
    }

    /// The view no longer shows what was applied last: the next update applies its content even if
    /// that is the same.
    void forgetShown() { shown_.reset(); }

  private:
    View view_;
    std::optional<Content> shown_;
    bool isDirty_ = true;
    Redraw redraw_;
};

} // namespace kestrelnet
