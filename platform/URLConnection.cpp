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

class NetworkConnection final : public URLConnection {
  public:
    explicit NetworkConnection(ReportFailure* reportFailure) : reportFailure_(reportFailure) {}

    void data(const std::string& url, URLSession::Completion completion) override;

  private:
    struct Lookup {
        QUrl url;
        URLSession::Completion completion;
    };

    void start(Lookup lookup);
    void startWaiting();

    ReportFailure* reportFailure_;
    std::deque<Lookup> waiting_;
    std::size_t underWay_ = 0;
    /// Owns the running lookups.
    QObject lookups_;
};

void NetworkConnection::data(const std::string& url, URLSession::Completion completion) {
    if (waiting_.size() >= mostWaiting) {
        reportFailure_("too many requests wait");
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
    const auto conclude = [this, manager, completion = std::move(lookup.completion)](
                              std::optional<std::string> body) {
        // Deletes the reply, too, and drops its queued signals.
        delete manager;
        --underWay_;
        startWaiting();
        completion(std::move(body));
    };
    // Queued, because the reply must not be deleted inside its own signals.
    const auto queued = Qt::QueuedConnection;
    QObject::connect(
        reply, &QNetworkReply::readyRead, manager,
        [this, reply, conclude] {
            if (reply->bytesAvailable() > largestBody) {
                reportFailure_("the response is too large");
                conclude(std::nullopt);
            }
        },
        queued);
    QObject::connect(
        reply, &QNetworkReply::finished, manager,
        [this, reply, conclude] {
            if (isComplete(*reply)) {
                conclude(reply->readAll().toStdString());
            } else {
                reportFailure_(reply->errorString().toStdString());
                conclude(std::nullopt);
            }
        },
        queued);
}

} // namespace

extern "C" Q_DECL_EXPORT URLConnection* kestrelnetMakeURLConnection(ReportFailure* reportFailure) {
    return new NetworkConnection(reportFailure);
}

} // namespace kestrelnet
