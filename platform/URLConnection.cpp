// SPDX-License-Identifier: MIT
#include "platform/URLConnection.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

#include <deque>
#include <utility>

namespace kestrelnet {

namespace {

using Body = std::optional<std::string>;

constexpr qint64 largestBody = 1024L * 1024;
constexpr std::size_t mostUnderWay = 6;
constexpr std::size_t mostWaiting = 1000;

/// Whether the whole response has arrived. An error status is a response; a broken transfer is not.
bool isComplete(const QNetworkReply& reply) {
    const QNetworkReply::NetworkError error = reply.error();
    if (error == QNetworkReply::NoError) {
        return true;
    }
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool saysStatus =
        error == QNetworkReply::ProxyAuthenticationRequiredError ||
        (error >= QNetworkReply::ContentAccessDenied && error != QNetworkReply::ProtocolFailure);
    return status >= 400 && saysStatus;
}

Body body(QNetworkReply& reply) {
    if (!isComplete(reply)) {
        return std::nullopt;
    }
    return reply.readAll().toStdString();
}

class NetworkConnection final : public URLConnection {
  public:
    void data(const std::string& url, URLSession::Completion completion) override;

  private:
    struct Lookup {
        QUrl url;
        URLSession::Completion completion;
    };

    void start(Lookup lookup);
    void startWaiting();

    std::deque<Lookup> waiting_;
    std::size_t underWay_ = 0;
    /// Owns the running lookups.
    QObject lookups_;
};

void NetworkConnection::data(const std::string& url, URLSession::Completion completion) {
    if (waiting_.size() >= mostWaiting) {
        completion(std::nullopt);
        return;
    }
    waiting_.push_back({QUrl(QString::fromStdString(url)), std::move(completion)});
    startWaiting();
}

void NetworkConnection::startWaiting() {
    while (underWay_ < mostUnderWay && !waiting_.empty()) {
        Lookup next = std::move(waiting_.front());
        waiting_.pop_front();
        start(std::move(next));
    }
}

void NetworkConnection::start(Lookup lookup) {
    ++underWay_;
    QNetworkRequest request(lookup.url);
    // Qt does not detect that a compressed body is truncated.
    request.setRawHeader("Accept-Encoding", "identity");
    // When the network changes during the request, the response may never come.
    request.setTransferTimeout();

    // One manager per lookup: a shared one would reuse a connection that was made before the route
    // of the traffic changed.
    auto* manager = new QNetworkAccessManager(&lookups_);
    QNetworkReply* reply = manager->get(request);
    const auto conclude = [this, manager, completion = std::move(lookup.completion)](Body given) {
        // Deletes the reply, too, and drops its queued signals.
        delete manager;
        --underWay_;
        startWaiting();
        completion(std::move(given));
    };
    // Queued, because the reply must not be deleted inside its own signals.
    const auto queued = Qt::QueuedConnection;
    QObject::connect(
        reply, &QNetworkReply::readyRead, manager,
        [reply, conclude] {
            if (reply->bytesAvailable() > largestBody) {
                conclude(std::nullopt);
            }
        },
        queued);
    QObject::connect(
        reply, &QNetworkReply::finished, manager, [reply, conclude] { conclude(body(*reply)); },
        queued);
}

} // namespace

extern "C" Q_DECL_EXPORT URLConnection* kestrelnetMakeURLConnection() {
    return new NetworkConnection;
}

} // namespace kestrelnet
