// SPDX-License-Identifier: MIT
#include "platform/linux/XEmbedTray.h"

#include "platform/linux/X11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

#include <utility>

namespace kestrelnet {

/// The X selection whose owner is the tray. A new owner of such a selection announces itself by a
/// MANAGER message to the root window.
class XEmbedTray::Selection : public QAbstractNativeEventFilter {
  public:
    Selection(xcb_connection_t* connection, std::function<void()> announced)
        : connection_(connection), announced_(std::move(announced)) {
        const xcb_window_t root = x11::rootWindow(connection);
        const auto selection = x11::requestAtom(connection, "_NET_SYSTEM_TRAY_S0");
        const auto manager = x11::requestAtom(connection, "MANAGER");
        const auto attributes = xcb_get_window_attributes(connection, root);
        selection_ = x11::atom(connection, selection);
        manager_ = x11::atom(connection, manager);
        const x11::ReplyPointer<xcb_get_window_attributes_reply_t> reply(
            xcb_get_window_attributes_reply(connection, attributes, nullptr));
        // The toolkit shares this connection: keep the events that it has selected.
        const std::uint32_t mask =
            XCB_EVENT_MASK_STRUCTURE_NOTIFY | (reply == nullptr ? 0U : reply->your_event_mask);
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    bool hasOwner() const {
        const x11::ReplyPointer<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(
                connection_, xcb_get_selection_owner(connection_, selection_), nullptr));
        return reply != nullptr && reply->owner != XCB_WINDOW_NONE;
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override {
        if (type != "xcb_generic_event_t") {
            return false;
        }
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        constexpr unsigned sentEvent = 0x80;
        if ((event->response_type & ~sentEvent) == XCB_CLIENT_MESSAGE) {
            const auto* clientMessage = static_cast<const xcb_client_message_event_t*>(message);
            if (clientMessage->type == manager_ && clientMessage->data.data32[1] == selection_) {
                announced_();
            }
        }
        return false;
    }

  private:
    xcb_connection_t* connection_;
    std::function<void()> announced_;
    xcb_atom_t selection_ = XCB_ATOM_NONE;
    xcb_atom_t manager_ = XCB_ATOM_NONE;
};

XEmbedTray::XEmbedTray(std::function<void()> announced) {
    if (xcb_connection_t* connection = x11::connection()) {
        selection_ = std::make_unique<Selection>(connection, std::move(announced));
    }
}

XEmbedTray::~XEmbedTray() = default;

bool XEmbedTray::isPresent() const {
    return selection_ != nullptr && selection_->hasOwner();
}

} // namespace kestrelnet
