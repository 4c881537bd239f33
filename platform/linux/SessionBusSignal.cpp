// SPDX-License-Identifier: MIT
#include "platform/linux/SessionBusSignal.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

namespace kestrelnet {

class SignalReceiver : public QObject {
    Q_OBJECT

  public:
    explicit SignalReceiver(std::function<void()> received) : received_(std::move(received)) {}

    Q_SLOT void receive() { received_(); }

  private:
    std::function<void()> received_;
};

SessionBusSignal::SessionBusSignal(const Match& match, std::function<void()> received)
    : receiver_(std::make_unique<SignalReceiver>(std::move(received))) {
    QStringList arguments;
    for (const std::string& argument : match.arguments) {
        arguments << QString::fromStdString(argument);
    }
    QDBusConnection::sessionBus().connect(
        QString(), QString::fromStdString(match.path), QString::fromStdString(match.interface),
        QString::fromStdString(match.name), arguments, QString(), receiver_.get(), SLOT(receive()));
}

SessionBusSignal::~SessionBusSignal() = default;

} // namespace kestrelnet

#include "SessionBusSignal.moc"
