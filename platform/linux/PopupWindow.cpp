// SPDX-License-Identifier: MIT
#include "platform/PopupWindow.h"

#include "platform/linux/X11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMetaObject>
#include <QObject>

#include <array>
#include <sys/uio.h>
#include <utility>
#include <xcb/xcbext.h>
#include <xcb/xinput.h>

namespace kestrelnet {

namespace {

/// With its own library, this one request would take a tenth of a megabyte of memory.
xcb_extension_t inputExtension{"XInputExtension", 0};

} // namespace

void keepOutOfTaskBars(std::uintptr_t window) {
    xcb_connection_t* const connection = x11::connection();
    if (connection == nullptr) {
        return;
    }
    const std::array requests{x11::requestAtom(connection, "_NET_WM_STATE"),
                              x11::requestAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                              x11::requestAtom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    const xcb_atom_t state = x11::atom(connection, requests[0]);
    const std::array skip{x11::atom(connection, requests[1]), x11::atom(connection, requests[2])};
    // The toolkit adds its own states to the property when it shows the window.
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window), state,
                        XCB_ATOM_ATOM, 32, skip.size(), skip.data());
}

bool showsTransparency() {
    xcb_connection_t* const connection = x11::connection();
    if (connection == nullptr) {
        return true;
    }
    const xcb_atom_t compositor =
        x11::atom(connection, x11::requestAtom(connection, "_NET_WM_CM_S0"));
    const x11::ReplyPointer<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, compositor), nullptr));
    return owner != nullptr && owner->owner != XCB_WINDOW_NONE;
}

/// Listens to the raw events of the X Input extension. The server sends them to every program that
/// wants them, also while a program has grabbed the pointer. They have no position, and the pointer
/// may have moved since; so what is decided at first is corrected when the same press comes as an
/// event of one of the program's windows.
class OutsideClicks::Listener : public QAbstractNativeEventFilter {
  public:
    Listener(xcb_connection_t* connection, std::uint8_t extension, std::function<void()> clicked)
        : connection_(connection), extension_(extension), clicked_(std::move(clicked)) {
        select(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
               XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE);
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    ~Listener() override { select(0); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override {
        if (type != "xcb_generic_event_t") {
            return false;
        }
        switch (kindOf(message)) {
        case Kind::rawPress:
            isPressedOutside_ =
                !isWheel(message) && QGuiApplication::topLevelAt(QCursor::pos()) == nullptr;
            return true;
        case Kind::rawRelease:
            if (!isWheel(message) && std::exchange(isPressedOutside_, false)) {
                // The call may destroy this object.
                QMetaObject::invokeMethod(&context_, clicked_, Qt::QueuedConnection);
            }
            return true;
        case Kind::ownPress:
            isPressedOutside_ = false;
            return false;
        case Kind::other:
            return false;
        }
        return false;
    }

  private:
    enum class Kind { rawPress, rawRelease, ownPress, other };

    Kind kindOf(const void* message) const {
        const auto* event = static_cast<const xcb_ge_generic_event_t*>(message);
        // The highest bit tells who has sent the event.
        if ((event->response_type & 0x7f) == XCB_BUTTON_PRESS) {
            return Kind::ownPress;
        }
        if (event->response_type != XCB_GE_GENERIC || event->extension != extension_) {
            return Kind::other;
        }
        switch (event->event_type) {
        case XCB_INPUT_RAW_BUTTON_PRESS:
            return Kind::rawPress;
        case XCB_INPUT_RAW_BUTTON_RELEASE:
            return Kind::rawRelease;
        case XCB_INPUT_BUTTON_PRESS:
            return Kind::ownPress;
        default:
            return Kind::other;
        }
    }

    static bool isWheel(const void* message) {
        constexpr std::uint32_t firstOfWheel = 4;
        constexpr std::uint32_t lastOfWheel = 7;
        // Presses and releases have the same layout.
        const std::uint32_t button =
            static_cast<const xcb_input_raw_button_press_event_t*>(message)->detail;
        return button >= firstOfWheel && button <= lastOfWheel;
    }

    /// For the root window and all pointers together. The toolkit selects nothing for that pair.
    void select(std::uint32_t events) {
        struct {
            xcb_input_xi_select_events_request_t header;
            xcb_input_event_mask_t mask;
            std::uint32_t events;
        } request{};
        request.header.window = x11::rootWindow(connection_);
        request.header.num_mask = 1;
        request.mask = {.deviceid = XCB_INPUT_DEVICE_ALL_MASTER, .mask_len = 1};
        request.events = events;
        const xcb_protocol_request_t protocol{
            .count = 1, .ext = &inputExtension, .opcode = XCB_INPUT_XI_SELECT_EVENTS, .isvoid = 1};
        // The two entries before the first one belong to the library.
        std::array<iovec, 3> parts{};
        parts[2] = {&request, sizeof request};
        xcb_send_request(connection_, 0, &parts[2], &protocol);
        xcb_flush(connection_);
    }

    xcb_connection_t* connection_;
    std::uint8_t extension_;
    std::function<void()> clicked_;
    QObject context_;
    bool isPressedOutside_ = false;
};

OutsideClicks::OutsideClicks(std::function<void()> clicked) {
    xcb_connection_t* const connection = x11::connection();
    const auto* const extension =
        connection == nullptr ? nullptr : xcb_get_extension_data(connection, &inputExtension);
    if (extension != nullptr && extension->present != 0) {
        listener_ =
            std::make_unique<Listener>(connection, extension->major_opcode, std::move(clicked));
    }
}

OutsideClicks::~OutsideClicks() = default;

} // namespace kestrelnet
