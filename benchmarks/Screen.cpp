// SPDX-License-Identifier: MIT
#include "benchmarks/Screen.h"

#include "benchmarks/Figures.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string_view>

namespace kestrelnet::benchmarks {

namespace {

constexpr std::uint32_t backdrop = 0x00ff00ff;
constexpr std::uint32_t colourBits = 0x00ffffff;
/// Window managers have tiny windows for internal use.
constexpr int smallestSide = 64;
constexpr int frameHeight = 24;
/// Text, symbols, lines and background; a window that is only cleared has one colour.
constexpr std::size_t fewestColours = 3;

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply* reply) {
    return {reply, std::free};
}

} // namespace

Screen::Screen() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) {
        giveUp("there is no X server");
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const std::uint32_t values[] = {backdrop, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
    xcb_change_window_attributes(connection_, root_, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    xcb_clear_area(connection_, 0, root_, 0, 0, 0, 0);
    xcb_flush(connection_);
}

Screen::~Screen() {
    xcb_disconnect(connection_);
}

void Screen::process() {
    while (const auto event = owned(xcb_poll_for_event(connection_))) {
        handle(*event);
    }
    if (xcb_connection_has_error(connection_) != 0) {
        giveUp("the X server has closed the connection");
    }
}

void Screen::handle(const xcb_generic_event_t& event) {
    constexpr int sentMask = 0x7f;
    switch (event.response_type & sentMask) {
    case XCB_MAP_NOTIFY:
        add(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
        break;
    case XCB_UNMAP_NOTIFY:
        windows_.erase(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window);
        break;
    case XCB_DESTROY_NOTIFY:
        windows_.erase(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        break;
    case XCB_CONFIGURE_NOTIFY: {
        const auto& change = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        if (const auto window = windows_.find(change.window); window != windows_.end()) {
            window->second = {change.x, change.y, change.width, change.height};
        }
        break;
    }
    default:
        break;
    }
}

void Screen::add(xcb_window_t window) {
    const auto area =
        owned(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
    if (area && area->width >= smallestSide && area->height >= smallestSide) {
        windows_[window] = {area->x, area->y, area->width, area->height};
    }
}

xcb_atom_t Screen::atom(std::string_view name) const {
    const auto reply = owned(xcb_intern_atom_reply(
        connection_,
        xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_window_t Screen::rootWindowProperty(std::string_view name) const {
    const auto property = owned(xcb_get_property_reply(
        connection_, xcb_get_property(connection_, 0, root_, atom(name), XCB_ATOM_WINDOW, 0, 1),
        nullptr));
    if (!property || property->format != 32 || property->value_len == 0) {
        return XCB_NONE;
    }
    return *static_cast<const xcb_window_t*>(xcb_get_property_value(property.get()));
}

bool Screen::hasWindowManager() const {
    return rootWindowProperty("_NET_SUPPORTING_WM_CHECK") != XCB_NONE;
}

void Screen::closeActiveWindow() const {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = rootWindowProperty("_NET_ACTIVE_WINDOW");
    message.type = atom("_NET_CLOSE_WINDOW");
    xcb_send_event(connection_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection_);
}

void Screen::movePointer(int x, int y) {
    xcb_warp_pointer(connection_, XCB_NONE, root_, 0, 0, 0, 0, static_cast<std::int16_t>(x),
                     static_cast<std::int16_t>(y));
    xcb_flush(connection_);
}

/// Reads one column of pixels through the middle, between the decorations above and below.
bool Screen::isWindowPainted() const {
    if (windows_.empty()) {
        return false;
    }
    Area area = windows_.begin()->second;
    area.y = static_cast<std::int16_t>(area.y + frameHeight);
    area.height = static_cast<std::uint16_t>(area.height - 2 * frameHeight);
    const auto x = static_cast<std::int16_t>(area.x + area.width / 2);
    const auto image =
        owned(xcb_get_image_reply(connection_,
                                  xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, x,
                                                area.y, 1, area.height, colourBits),
                                  nullptr));
    if (!image) {
        return false;
    }
    const std::uint8_t* const bytes = xcb_get_image_data(image.get());
    std::set<std::uint32_t> colours;
    for (int row = 0; row < area.height; ++row) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, bytes + std::size_t{sizeof pixel} * static_cast<std::size_t>(row),
                    sizeof pixel);
        colours.insert(pixel & colourBits);
    }
    return !colours.contains(backdrop) && colours.size() >= fewestColours;
}

} // namespace kestrelnet::benchmarks
