// SPDX-License-Identifier: MIT
#include "platform/linux/XSettings.h"

#include "platform/linux/X11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

#include <utility>

namespace kestrelnet {

namespace {

/// In units of four bytes. Real settings take some kilobytes.
constexpr std::uint32_t largestProperty = 64 * 1024;

/// The window that owns the selection; XCB_WINDOW_NONE without one.
xcb_window_t selectionOwner(xcb_connection_t* connection, xcb_atom_t selection) {
    const x11::ReplyPointer<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, selection), nullptr));
    return reply == nullptr ? xcb_window_t{XCB_WINDOW_NONE} : reply->owner;
}

/// The toolkit shares this connection: keeps the events that it has selected.
void selectEvents(xcb_connection_t* connection, xcb_window_t window, std::uint32_t events) {
    const x11::ReplyPointer<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, window),
                                        nullptr));
    const std::uint32_t mask = events | (reply == nullptr ? 0U : reply->your_event_mask);
    xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &mask);
}

} // namespace

/// The owner of a selection, which keeps the settings in a property of its window. A new owner
/// announces itself by a MANAGER message to the root window.
class XSettings::Manager : public QAbstractNativeEventFilter {
  public:
    Manager(xcb_connection_t* connection, std::function<void()> changed)
        : connection_(connection), changed_(std::move(changed)) {
        const auto selection = x11::requestAtom(connection, "_XSETTINGS_S0");
        const auto property = x11::requestAtom(connection, "_XSETTINGS_SETTINGS");
        const auto manager = x11::requestAtom(connection, "MANAGER");
        selection_ = x11::atom(connection, selection);
        property_ = x11::atom(connection, property);
        manager_ = x11::atom(connection, manager);
        selectEvents(connection, x11::rootWindow(connection), XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        QCoreApplication::instance()->installNativeEventFilter(this);
        read();
    }

    const SettingGroup& values() const { return values_; }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override {
        if (type == "xcb_generic_event_t" &&
            concerns(*static_cast<const xcb_generic_event_t*>(message))) {
            read();
            changed_();
        }
        return false;
    }

  private:
    bool concerns(const xcb_generic_event_t& event) const {
        constexpr unsigned sentEvent = 0x80;
        switch (event.response_type & ~sentEvent) {
        case XCB_CLIENT_MESSAGE: {
            const auto& sent = reinterpret_cast<const xcb_client_message_event_t&>(event);
            return sent.type == manager_ && sent.data.data32[1] == selection_;
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            return change.window == owner_ && change.atom == property_;
        }
        case XCB_DESTROY_NOTIFY:
            return owner_ != XCB_WINDOW_NONE &&
                   reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == owner_;
        default:
            return false;
        }
    }

    void read() {
        const xcb_window_t owner = selectionOwner(connection_, selection_);
        if (std::exchange(owner_, owner) != owner && owner != XCB_WINDOW_NONE) {
            selectEvents(connection_, owner,
                         XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        }
        values_ = owner == XCB_WINDOW_NONE ? SettingGroup() : settingsOf(owner);
    }

    SettingGroup settingsOf(xcb_window_t owner) const {
        const x11::ReplyPointer<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection_,
            xcb_get_property(connection_, 0, owner, property_, property_, 0, largestProperty),
            nullptr));
        if (reply == nullptr || reply->format != 8) {
            return {};
        }
        return settingsFromXProperty(
            {static_cast<const char*>(xcb_get_property_value(reply.get())),
             static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))});
    }

    xcb_connection_t* connection_;
    std::function<void()> changed_;
    xcb_atom_t selection_ = XCB_ATOM_NONE;
    xcb_atom_t property_ = XCB_ATOM_NONE;
    xcb_atom_t manager_ = XCB_ATOM_NONE;
    xcb_window_t owner_ = XCB_WINDOW_NONE;
    SettingGroup values_;
};

XSettings::XSettings(std::function<void()> changed) {
    if (xcb_connection_t* const connection = x11::connection()) {
        manager_ = std::make_unique<Manager>(connection, std::move(changed));
    }
}

XSettings::~XSettings() = default;

SettingGroup XSettings::values() const {
    return manager_ == nullptr ? SettingGroup() : manager_->values();
}

} // namespace kestrelnet
