// SPDX-License-Identifier: MIT
#include "platform/PopupWindow.h"

#include "platform/linux/X11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>

#include <array>
#include <utility>
#include <xcb/xinput.h>

namespace kestrelnet {

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

/// Listens to the raw events of the X Input extension. The server sends them to every program that
/// wants them, also while a program has grabbed the pointer.
class ScreenClicks::Listener : public QAbstractNativeEventFilter {
  public:
    Listener(xcb_connection_t* connection, std::uint8_t extension, Handlers handlers)
        : connection_(connection), extension_(extension), handlers_(std::move(handlers)) {
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
        const auto* event = static_cast<const xcb_ge_generic_event_t*>(message);
        if (event->response_type != XCB_GE_GENERIC || event->extension != extension_) {
            return false;
        }
        if (event->event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
            return note(message, handlers_.pressed);
        }
        if (event->event_type == XCB_INPUT_RAW_BUTTON_RELEASE) {
            return note(message, handlers_.released);
        }
        return false;
    }

  private:
    /// For the root window and all pointers together. The toolkit selects nothing for that pair.
    void select(std::uint32_t events) {
        struct {
            xcb_input_event_mask_t header;
            std::uint32_t events;
        } const mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
        xcb_input_xi_select_events(connection_, x11::rootWindow(connection_), 1, &mask.header);
        xcb_flush(connection_);
    }

    bool note(const void* message, const std::function<void()>& handler) {
        constexpr std::uint32_t firstOfWheel = 4;
        constexpr std::uint32_t lastOfWheel = 7;
        // Presses and releases have the same layout.
        const std::uint32_t button =
            static_cast<const xcb_input_raw_button_press_event_t*>(message)->detail;
        if (button < firstOfWheel || button > lastOfWheel) {
            // The call may destroy this object.
            QMetaObject::invokeMethod(&context_, handler, Qt::QueuedConnection);
        }
        return true;
    }

    xcb_connection_t* connection_;
    std::uint8_t extension_;
    Handlers handlers_;
    QObject context_;
};

ScreenClicks::ScreenClicks(Handlers handlers) {
    xcb_connection_t* const connection = x11::connection();
    const auto* const extension =
        connection == nullptr ? nullptr : xcb_get_extension_data(connection, &xcb_input_id);
    if (extension != nullptr && extension->present != 0) {
        listener_ =
            std::make_unique<Listener>(connection, extension->major_opcode, std::move(handlers));
    }
}

ScreenClicks::~ScreenClicks() = default;

} // namespace kestrelnet
