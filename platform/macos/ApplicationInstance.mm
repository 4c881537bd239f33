// SPDX-License-Identifier: MIT
// macOS runs one instance of a bundle, and delivers links and further starts to it as events.
#include "platform/ApplicationInstance.h"

#import <AppKit/AppKit.h>

#include <QCoreApplication>
#include <QFileOpenEvent>
#include <QMetaObject>
#include <QUrl>

#include <optional>
#include <utility>

/// A link to open, or a further start of the application.
using Request = std::optional<std::string>;

/// Takes the system's events for links and further starts. The toolkit normalises the text of a
/// link, and reports a further start only as an activation of the application.
@interface KestrelnetEventHandler : NSObject
- (instancetype)initWithHandler:(std::function<void(Request)>)handler;
- (void)stop;
@end

@implementation KestrelnetEventHandler {
    std::function<void(Request)> handler_;
    id launch_;
}

- (instancetype)initWithHandler:(std::function<void(Request)>)handler {
    self = [super init];
    if (self != nil) {
        handler_ = std::move(handler);
        // The toolkit and AppKit install theirs while the application launches. The last one
        // counts.
        KestrelnetEventHandler* __weak const me = self;
        launch_ = [[NSNotificationCenter defaultCenter]
            addObserverForName:NSApplicationWillFinishLaunchingNotification
                        object:nil
                         queue:nil
                    usingBlock:^(NSNotification*) {
                      [me install];
                    }];
        [self install];
    }
    return self;
}

- (void)install {
    NSAppleEventManager* const events = [NSAppleEventManager sharedAppleEventManager];
    [events setEventHandler:self
                andSelector:@selector(openLink:withReplyEvent:)
              forEventClass:kInternetEventClass
                 andEventID:kAEGetURL];
    [events setEventHandler:self
                andSelector:@selector(reopen:withReplyEvent:)
              forEventClass:kCoreEventClass
                 andEventID:kAEReopenApplication];
}

- (void)stop {
    NSAppleEventManager* const events = [NSAppleEventManager sharedAppleEventManager];
    [events removeEventHandlerForEventClass:kInternetEventClass andEventID:kAEGetURL];
    [events removeEventHandlerForEventClass:kCoreEventClass andEventID:kAEReopenApplication];
    [[NSNotificationCenter defaultCenter] removeObserver:launch_];
}

- (void)openLink:(NSAppleEventDescriptor*)event
    withReplyEvent:(NSAppleEventDescriptor*)__unused reply {
    const char* const link =
        [[[event paramDescriptorForKeyword:keyDirectObject] stringValue] UTF8String];
    if (link != nullptr) {
        handler_(link);
    }
}

- (void)reopen:(NSAppleEventDescriptor*)__unused event
    withReplyEvent:(NSAppleEventDescriptor*)__unused reply {
    handler_(std::nullopt);
}

@end

namespace kestrelnet {

class ApplicationInstance::Service : public QObject {
  public:
    Service() {
        QCoreApplication::instance()->installEventFilter(this);
        events_ = [[KestrelnetEventHandler alloc]
            initWithHandler:[this](Request request) { add(std::move(request)); }];
    }
    ~Service() override { [events_ stop]; }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void add(Request request) {
        requests_.push_back(std::move(request));
        deliverLater();
    }

    void setHandlers(Handlers handlers) {
        handlers_ = std::move(handlers);
        hasHandlers_ = true;
        deliverLater();
    }

    /// A link that the toolkit took before the handler above was installed.
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() != QEvent::FileOpen) {
            return false;
        }
        add(static_cast<QFileOpenEvent*>(event)->url().toEncoded().toStdString());
        return true;
    }

  private:
    void deliverLater() {
        QMetaObject::invokeMethod(
            this, [this] { deliver(); }, Qt::QueuedConnection);
    }

    void deliver() {
        if (!hasHandlers_) {
            return;
        }
        for (Request& request : std::exchange(requests_, {})) {
            if (request && handlers_.open) {
                handlers_.open(std::move(*request));
            } else if (!request && handlers_.activate) {
                handlers_.activate();
            }
        }
    }

    Handlers handlers_;
    bool hasHandlers_ = false;
    std::vector<Request> requests_;
    KestrelnetEventHandler* events_ = nil;
};

ApplicationInstance::ApplicationInstance(const std::string& /*name*/,
                                         const std::vector<std::string>& /*actions*/)
    : service_(std::make_unique<Service>()) {}

ApplicationInstance::~ApplicationInstance() = default;

ApplicationInstance::Acquisition
ApplicationInstance::acquire(const std::vector<std::string>& urls,
                             std::chrono::milliseconds /*patience*/) {
    for (const std::string& url : urls) {
        service_->add(url);
    }
    return Acquisition::acquired;
}

bool ApplicationInstance::endOther(std::chrono::milliseconds /*patience*/) {
    return false;
}

void ApplicationInstance::setHandlers(Handlers handlers) {
    service_->setHandlers(std::move(handlers));
}

} // namespace kestrelnet
