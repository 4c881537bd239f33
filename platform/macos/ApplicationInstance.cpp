// SPDX-License-Identifier: MIT
// macOS runs one instance of a bundle and delivers links to it as events.
#include "platform/ApplicationInstance.h"

#include <QCoreApplication>
#include <QFileOpenEvent>
#include <QMetaObject>
#include <QUrl>

#include <utility>

namespace kestrelnet {

class ApplicationInstance::Service : public QObject {
  public:
    Service() { QCoreApplication::instance()->installEventFilter(this); }

    void add(const std::vector<std::string>& urls) {
        urls_.insert(urls_.end(), urls.begin(), urls.end());
        deliverLater();
    }

    void setHandlers(Handlers handlers) {
        open_ = std::move(handlers.open);
        deliverLater();
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() != QEvent::FileOpen) {
            return false;
        }
        add({static_cast<QFileOpenEvent*>(event)->url().toEncoded().toStdString()});
        return true;
    }

  private:
    void deliverLater() {
        QMetaObject::invokeMethod(
            this, [this] { deliver(); }, Qt::QueuedConnection);
    }

    void deliver() {
        if (open_) {
            for (std::string& url : std::exchange(urls_, {})) {
                open_(std::move(url));
            }
        }
    }

    std::function<void(std::string)> open_;
    std::vector<std::string> urls_;
};

ApplicationInstance::ApplicationInstance(const std::string& /*name*/)
    : service_(std::make_unique<Service>()) {}

ApplicationInstance::~ApplicationInstance() = default;

ApplicationInstance::Acquisition
ApplicationInstance::acquire(const std::vector<std::string>& urls,
                             std::chrono::milliseconds /*patience*/) {
    service_->add(urls);
    return Acquisition::acquired;
}

bool ApplicationInstance::endOther(std::chrono::milliseconds /*patience*/) {
    return false;
}

void ApplicationInstance::setHandlers(Handlers handlers) {
    service_->setHandlers(std::move(handlers));
}

} // namespace kestrelnet
