// SPDX-License-Identifier: MIT
// What the users of the toolkit's connection to the X server share.
#pragma once

#include <cstdlib>
#include <memory>
#include <string_view>
#include <xcb/xcb.h>

namespace kestrelnet::x11 {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

/// A reply of the X server.
template <typename Reply>
using ReplyPointer = std::unique_ptr<Reply, Free>;

/// The toolkit's connection; null on another windowing system.
xcb_connection_t* connection();

/// The root window of the first screen.
xcb_window_t rootWindow(xcb_connection_t* connection);

// Request several atoms before reading their answers, so that they take one round trip.
xcb_intern_atom_cookie_t requestAtom(xcb_connection_t* connection, std::string_view name);
xcb_atom_t atom(xcb_connection_t* connection, xcb_intern_atom_cookie_t request);

} // namespace kestrelnet::x11
