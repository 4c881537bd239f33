// SPDX-License-Identifier: MIT
// The part of the URL session that needs the network library. It is a module that is loaded at the
// first request, because loading the library costs time and memory at every start.
#pragma once

#include "platform/URLSession.h"

#include <string>

namespace kestrelnet {

/// Does the work of a `URLSession`; the contract of data() is described there.
class URLConnection {
  public:
    URLConnection() = default;
    URLConnection(const URLConnection&) = delete;
    URLConnection& operator=(const URLConnection&) = delete;
    virtual ~URLConnection() = default;

    virtual void data(const std::string& url, URLSession::Completion completion) = 0;
};

/// The type and the name of the one function that the module exports. The caller owns the result.
using MakeURLConnection = URLConnection*();
inline constexpr char makeURLConnectionName[] = "kestrelnetMakeURLConnection";

} // namespace kestrelnet
