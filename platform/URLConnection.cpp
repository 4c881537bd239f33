// SPDX-License-Identifier: MIT
#include "platform/URLConnection.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <utility>

namespace kestrelnet {

namespace {

using Body = std::optional<std::string>;

constexpr qint64 largestBody = 1024L * 1024;

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
    QSslConfiguration tls_ = QSslConfiguration::defaultConfiguration();
    /// Owns the lookups under way.
    QObject lookups_;
};

void NetworkConnection::data(const std::string& url, URLSession::Completion completion) {
    QNetworkRequest request(QUrl(QString::fromStdString(url)));
    request.setSslConfiguration(tls_);
    // Of a compressed body Qt does not notice that it breaks off.
    request.setRawHeader("Accept-Encoding", "identity");
    // The network may change under the request and leave it without an answer for good.
    request.setTransferTimeout();

    // One manager for each lookup: it would otherwise use a connection again that was made when
    // the traffic still took another way.
    auto* manager = new QNetworkAccessManager(&lookups_);
    QNetworkReply* reply = manager->get(request);
    const auto conclude = [manager, completion = std::move(completion)](Body given) {
        // With the reply, and with what else is queued from it.
        delete manager;
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
