// SPDX-License-Identifier: MIT
// What of the URL session needs the network library: a module of its own, loaded at the first
// lookup. The library, and all that it brings along, would otherwise cost every start its time and
// its memory.
#pragma once

#include "platform/URLSession.h"

#include <string>

namespace kestrelnet {

/// The work of a `URLSession`, as told there.
class URLConnection {
  public:
    URLConnection() = default;
    URLConnection(const URLConnection&) = delete;
    URLConnection& operator=(const URLConnection&) = delete;
    virtual ~URLConnection() = default;

    virtual void data(const std::string& url, URLSession::Completion completion) = 0;
};

/// The one function that the module offers, by name; the caller owns what it makes.
using MakeURLConnection = URLConnection*(const char* additionalAuthorities);
inline constexpr char makeURLConnectionName[] = "kestrelnetMakeURLConnection";

} // namespace kestrelnet
