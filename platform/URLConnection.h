// SPDX-License-Identifier: MIT
// The part of the URL session that needs the network library. It is a module that is loaded at the
// first request, because loading the library costs time and memory at every start.
#pragma once

#include "platform/URLSession.h"

#include <string>
#include <string_view>

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

/// Called with the reason, before the completion, each time a request fails. A callback, because
/// the module must not contain a second copy of the log categories.
using ReportFailure = void(std::string_view reason);

/// The type and the name of the one function that the module exports. The caller owns the result.
using MakeURLConnection = URLConnection*(ReportFailure* reportFailure);
inline constexpr char makeURLConnectionName[] = "kestrelnetMakeURLConnection";

} // namespace kestrelnet
