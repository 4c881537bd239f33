// SPDX-License-Identifier: MIT
#include "platform/URLSession.h"

#include "platform/Log.h"
#include "platform/Module.h"
#include "platform/URLConnection.h"

#include <QObject>

#include <utility>

namespace kestrelnet {

namespace {

void reportFailure(std::string_view reason) {
    log::warning(log::Category::exitIP, "the request failed: " + std::string(reason));
}

/// Null when the module cannot be loaded; the reason is on standard error then.
std::unique_ptr<URLConnection> loadConnection() {
    void* const maker = moduleFunction(KESTRELNET_NETWORK_MODULE, makeURLConnectionName);
    if (maker == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<URLConnection>(
        reinterpret_cast<MakeURLConnection*>(maker)(reportFailure));
}

} // namespace

/// Destroyed with the session, together with the posted calls of requests that have not started.
struct URLSession::Connection : QObject {
    std::unique_ptr<URLConnection> loaded;
};

URLSession::URLSession() = default;

URLSession::~URLSession() = default;

void URLSession::data(const std::string& url, Completion completion) {
    if (!connection_) {
        connection_ = std::make_unique<Connection>();
    }
    // Posted, because loading takes time: first let the event loop finish what is due now, such as
    // redrawing the interface.
    QMetaObject::invokeMethod(
        connection_.get(),
        [this, url, completion = std::move(completion)]() mutable {
            std::unique_ptr<URLConnection>& loaded = connection_->loaded;
            if (!loaded) {
                loaded = loadConnection();
            }
            if (loaded) {
                loaded->data(url, std::move(completion));
            } else {
                reportFailure("the network module cannot be loaded");
                completion(std::nullopt);
            }
        },
        Qt::QueuedConnection);
}

} // namespace kestrelnet
