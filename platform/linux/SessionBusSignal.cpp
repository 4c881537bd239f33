// SPDX-License-Identifier: MIT
#include "platform/linux/SessionBusSignal.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

#include <utility>

namespace kestrelnet {

class SignalReceiver : public QObject {
    Q_OBJECT

  public:
    explicit SignalReceiver(std::function<void()> received) : received_(std::move(received)) {}

    Q_SLOT void receive() { received_(); }

  private:
    std::function<void()> received_;
};

SessionBusSignal::SessionBusSignal(Match match, std::function<void()> received)
    : match_(std::move(match)), receiver_(std::make_unique<SignalReceiver>(std::move(received))),
      busReturn_([this] {
          listen();
          receiver_->receive();
      }) {
    listen();
}

void SessionBusSignal::listen() const {
    QStringList arguments;
    for (const std::string& argument : match_.arguments) {
        arguments << QString::fromStdString(argument);
    }
    sessionBus().connect(QString(), QString::fromStdString(match_.path),
                         QString::fromStdString(match_.interface),
                         QString::fromStdString(match_.name), arguments, QString(), receiver_.get(),
                         SLOT(receive()));
}

SessionBusSignal::~SessionBusSignal() = default;

} // namespace kestrelnet

#include "SessionBusSignal.moc"
