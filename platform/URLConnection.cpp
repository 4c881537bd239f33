// SPDX-License-Identifier: MIT
#include "platform/URLConnection.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
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

/// An answer with an error status is an answer all the same; a broken transfer is none.
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
    explicit NetworkConnection(const char* additionalAuthorities) {
        if (*additionalAuthorities != '\0') {
            tls_.addCaCertificates(QString::fromUtf8(additionalAuthorities));
        }
    }

    void data(const std::string& url, URLSession::Completion completion) override;

  private:
    struct Lookup {
        QUrl url;
        URLSession::Completion completion;
    };

    void start(Lookup lookup);
    void startWaiting();

    QSslConfiguration tls_ = QSslConfiguration::defaultConfiguration();
    std::deque<Lookup> waiting_;
    std::size_t underWay_ = 0;
    /// Owns the lookups under way.
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
    request.setSslConfiguration(tls_);
    // Of a compressed body Qt does not notice that it breaks off.
    request.setRawHeader("Accept-Encoding", "identity");
    // The network may change under the request and leave it without an answer for good.
    request.setTransferTimeout();

    // One manager for each lookup: it would otherwise use a connection again that was made when
    // the traffic still took another way.
    auto* manager = new QNetworkAccessManager(&lookups_);
    QNetworkReply* reply = manager->get(request);
    const auto conclude = [this, manager, completion = std::move(lookup.completion)](Body given) {
        // With the reply, and with what else is queued from it.
        delete manager;
        --underWay_;
        startWaiting();
        completion(std::move(given));
    };
    // Queued, because the reply must not go away within its own signals.
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

extern "C" Q_DECL_EXPORT URLConnection*
kestrelnetMakeURLConnection(const char* additionalAuthorities) {
    return new NetworkConnection(additionalAuthorities);
}

} // namespace kestrelnet
