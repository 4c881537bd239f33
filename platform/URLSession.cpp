// SPDX-License-Identifier: MIT
#include "platform/URLSession.h"

#include "platform/Module.h"
#include "platform/URLConnection.h"

#include <QObject>

#include <utility>

namespace kestrelnet {

namespace {

/// Nothing, with the reason on standard error, when the module is missing.
std::unique_ptr<URLConnection> loadConnection(const std::string& additionalAuthorities) {
    void* const maker = moduleFunction(KESTRELNET_NETWORK_MODULE, makeURLConnectionName);
    if (maker == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<URLConnection>(
        reinterpret_cast<MakeURLConnection*>(maker)(additionalAuthorities.c_str()));
}

} // namespace

/// Goes, with the lookups that have not begun yet, when the session does.
struct URLSession::Connection : QObject {
    std::unique_ptr<URLConnection> loaded;
};

URLSession::URLSession() = default;

URLSession::URLSession(std::string additionalAuthorities)
    : additionalAuthorities_(std::move(additionalAuthorities)) {}

URLSession::~URLSession() = default;

void URLSession::data(const std::string& url, Completion completion) {
    if (!connection_) {
        connection_ = std::make_unique<Connection>();
    }
    // In a later turn, because loading takes longer than what else is due in this one, such as to
    // show why there is a lookup at all.
    QMetaObject::invokeMethod(
        connection_.get(),
        [this, url, completion = std::move(completion)]() mutable {
            std::unique_ptr<URLConnection>& loaded = connection_->loaded;
            if (!loaded) {
                loaded = loadConnection(additionalAuthorities_);
            }
            if (loaded) {
                loaded->data(url, std::move(completion));
            } else {
                completion(std::nullopt);
            }
        },
        Qt::QueuedConnection);
}

} // namespace kestrelnet
