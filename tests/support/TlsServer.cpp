// SPDX-License-Identifier: MIT
#include "tests/support/TlsServer.h"

#include "platform/Process.h"
#include "tests/support/Collector.h"
#include "tests/support/TemporaryFolder.h"

#include <QFile>
#include <QHostAddress>
#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QString>
#include <QThread>

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>
#include <sys/socket.h>
#include <utility>

// OpenSSL frees the data of a thread when the thread ends. A thread that ends together with the
// program looks like a leak.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" const char* __lsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libcrypto.so\n";
}

namespace kestrelnet {

namespace {

/// Without a name of the standard library's in the toolkit's symbol, so that stub libraries do.
QByteArray bytesOf(const std::string& text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

using Ending = TlsAnswer::Ending;

constexpr qint64 largestHead = 64L * 1024;

/// Creates the files NAME.key and NAME.pem, a key and its certificate.
void makeCertificate(const TemporaryFolder& folder, const char* name, const char* options) {
    const auto openssl = Process::create();
    openssl->executablePath = "/bin/sh";
    openssl->arguments = {"-c",
                          "cd '" + folder.path() +
                              "' && '" KESTRELNET_OPENSSL "' req -x509 "
                              "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -noenc -days 2 "
                              "-subj /CN=" +
                              name + " -keyout " + name + ".key -out " + name + ".pem " + options};
    openssl->standardError = std::make_shared<Pipe>();
    const auto messages = Collector::attachTo(openssl->standardError->fileHandleForReading());
    const auto error = openssl->run();
    openssl->waitUntilExit();
    if (error || openssl->terminationStatus() != 0) {
        ADD_FAILURE() << "openssl: " << messages->text();
    }
}

QByteArray contents(const TemporaryFolder& folder, std::string_view name) {
    return bytesOf(readFile(folder.file(name)));
}

QSslConfiguration certified(const TemporaryFolder& folder) {
    makeCertificate(folder, "authority", "-addext keyUsage=critical,keyCertSign");
    makeCertificate(folder, "server",
                    "-CA authority.pem -CAkey authority.key -addext basicConstraints=CA:FALSE "
                    "-addext subjectAltName=IP:127.0.0.1,DNS:service.test");
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(QSslCertificate(contents(folder, "server.pem")));
    configuration.setPrivateKey(QSslKey(contents(folder, "server.key"), QSsl::Ec));
    return configuration;
}

std::string compressed(const std::string& body) {
    // qCompress() puts the length in front.
    constexpr qsizetype lengthSize = 4;
    return qCompress(bytesOf(body)).mid(lengthSize).toStdString();
}

std::string headOf(const TlsAnswer& answer) {
    std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " Answer\r\n";
    if (answer.compresses) {
        head += "Content-Encoding: deflate\r\n";
    }
    head += answer.chunked ? "Transfer-Encoding: chunked\r\n"
                           : "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
    if (!answer.location.empty()) {
        head += "Location: " + answer.location + "\r\n";
    }
    return head + "\r\n";
}

/// Nothing for no body: an empty chunk is the last one.
std::string asChunk(const std::string& body) {
    return body.empty()
               ? ""
               : QByteArray::number(body.size(), 16).toStdString() + "\r\n" + body + "\r\n";
}

std::string bodyOf(const TlsAnswer& answer) {
    const bool whole = answer.ending == Ending::complete;
    const std::string body = whole ? answer.body : answer.body.substr(0, answer.body.size() / 2);
    return answer.chunked ? asChunk(body) + (whole ? "0\r\n\r\n" : "") : body;
}

void reset(QSslSocket& socket) {
    const linger hard{.l_onoff = 1, .l_linger = 0};
    EXPECT_EQ(::setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER,
                           &hard, sizeof hard),
              0);
    socket.abort();
}

void send(QSslSocket& socket, const TlsAnswer& answer) {
    if (answer.ending == Ending::closesUnanswered) {
        socket.disconnectFromHost();
        return;
    }
    if (answer.ending == Ending::resetsUnanswered) {
        reset(socket);
        return;
    }
    socket.write(bytesOf(headOf(answer) + bodyOf(answer)));
    if (answer.ending == Ending::drops) {
        socket.disconnectFromHost();
    } else if (answer.ending == Ending::resets) {
        socket.flush();
        reset(socket);
    }
}

} // namespace

struct TlsServer::Server {
    Server();
    ~Server();
    void accept();
    void answer(QSslSocket& socket);

    TemporaryFolder folder;
    quint16 port = 0;

    std::mutex mutex;
    std::vector<TlsAnswer> answers;
    std::map<std::string, TlsAnswer> answersByPath;
    std::set<std::size_t> released;
    std::vector<std::string> requests;
    std::size_t connectionCount = 0;
    std::size_t openConnectionCount = 0;

    // Only for the server's thread.
    std::map<std::size_t, std::pair<QPointer<QSslSocket>, TlsAnswer>> held;

    QThread thread;
    // Lives on the thread; deleted when the thread ends.
    QSslServer* listener = new QSslServer;
};

TlsServer::Server::Server() {
    listener->setSslConfiguration(certified(folder));
    // Qt 6.8 stops accepting at the limit, and does not always start again.
    listener->setMaxPendingConnections(1024);
    if (!listener->listen(QHostAddress::LocalHost)) {
        ADD_FAILURE() << listener->errorString().toStdString();
    }
    port = listener->serverPort();
    QObject::connect(listener, &QTcpServer::pendingConnectionAvailable, listener,
                     [this] { accept(); });
    listener->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, listener, &QObject::deleteLater);
    thread.start();
}

TlsServer::Server::~Server() {
    thread.quit();
    thread.wait();
}

void TlsServer::Server::accept() {
    while (auto* socket = qobject_cast<QSslSocket*>(listener->nextPendingConnection())) {
        {
            const std::lock_guard lock(mutex);
            ++connectionCount;
            ++openConnectionCount;
        }
        QObject::connect(socket, &QSslSocket::readyRead, listener,
                         [this, socket] { answer(*socket); });
        QObject::connect(socket, &QSslSocket::disconnected, listener, [this, socket] {
            socket->deleteLater();
            const std::lock_guard lock(mutex);
            --openConnectionCount;
        });
        answer(*socket);
    }
}

void TlsServer::Server::answer(QSslSocket& socket) {
    static constexpr QByteArrayView headEnd("\r\n\r\n");
    const qsizetype end = socket.peek(largestHead).indexOf(headEnd);
    if (end < 0) {
        return;
    }
    const QByteArray head = socket.read(end + headEnd.size());
    std::unique_lock lock(mutex);
    const std::size_t number = requests.size();
    const std::string& path = requests.emplace_back(head.split(' ').value(1).toStdString());
    TlsAnswer answer{.status = 404};
    if (const auto served = answersByPath.find(path); served != answersByPath.end()) {
        answer = served->second;
    } else if (number < answers.size()) {
        answer = answers[number];
    }
    answer.compresses = answer.compresses && head.contains("deflate");
    if (answer.compresses) {
        answer.body = compressed(answer.body);
    }
    const bool waits = answer.held && !released.contains(number);
    lock.unlock();
    if (waits) {
        held[number] = {&socket, answer};
    } else {
        send(socket, answer);
    }
}

TlsServer::TlsServer() : server_(std::make_unique<Server>()) {}

TlsServer::~TlsServer() = default;

std::string TlsServer::url(std::string_view path) const {
    return "https://127.0.0.1:" + std::to_string(server_->port) + std::string(path);
}

std::string TlsServer::urlOf(std::string_view host) const {
    return "https://" + std::string(host) + ':' + std::to_string(server_->port) + '/';
}

std::string TlsServer::authorities() const {
    return server_->folder.file("authority.pem");
}

void TlsServer::enqueue(TlsAnswer answer) {
    const std::lock_guard lock(server_->mutex);
    server_->answers.push_back(std::move(answer));
}

void TlsServer::serve(std::string path, TlsAnswer answer) {
    const std::lock_guard lock(server_->mutex);
    server_->answersByPath.insert_or_assign(std::move(path), std::move(answer));
}

void TlsServer::release(std::size_t request) {
    {
        const std::lock_guard lock(server_->mutex);
        server_->released.insert(request);
    }
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the posted event owns it.
    QMetaObject::invokeMethod(server_->listener, [server = server_.get(), request] {
        const auto waiting = server->held.extract(request);
        if (waiting && waiting.mapped().first) {
            send(*waiting.mapped().first, waiting.mapped().second);
        }
    });
}

std::vector<std::string> TlsServer::requests() const {
    const std::lock_guard lock(server_->mutex);
    return server_->requests;
}

std::size_t TlsServer::connectionCount() const {
    const std::lock_guard lock(server_->mutex);
    return server_->connectionCount;
}

std::size_t TlsServer::openConnectionCount() const {
    const std::lock_guard lock(server_->mutex);
    return server_->openConnectionCount;
}

} // namespace kestrelnet
