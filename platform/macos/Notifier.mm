// SPDX-License-Identifier: MIT
// The system asks the user once whether the application may notify.
#include "platform/Notifier.h"

#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>

#include <utility>

/// Calls a function when the user clicks on the notification. The system calls it on any thread.
@interface KestrelnetNotificationDelegate : NSObject <UNUserNotificationCenterDelegate>
- (instancetype)initWithHandler:(std::function<void()>)handler;
@end

@implementation KestrelnetNotificationDelegate {
    std::function<void()> handler_;
}

- (instancetype)initWithHandler:(std::function<void()>)handler {
    self = [super init];
    if (self != nil) {
        handler_ = std::move(handler);
    }
    return self;
}

- (void)userNotificationCenter:(UNUserNotificationCenter*)__unused center
    didReceiveNotificationResponse:(UNNotificationResponse*)__unused response
             withCompletionHandler:(void (^)(void))done {
    handler_();
    done();
}

@end

namespace kestrelnet {

namespace {

/// The system replaces a notification by one with the same identifier.
NSString* const identifier = @"notification";

NSString* systemText(const std::string& utf8) {
    NSString* const text = [NSString stringWithUTF8String:utf8.c_str()];
    return text != nil ? text : @"";
}

} // namespace

class Notifier::Service : public QObject {
  public:
    Service() {
        // The system's class raises an exception in a program without a bundle.
        if ([[NSBundle mainBundle] bundleIdentifier] == nil) {
            return;
        }
        center_ = [UNUserNotificationCenter currentNotificationCenter];
        delegate_ = [[KestrelnetNotificationDelegate alloc]
            initWithHandler:[self = QPointer<Service>(this)] { openLater(self); }];
        [center_ setDelegate:delegate_];
    }
    ~Service() override { [center_ setDelegate:nil]; }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void show(Notification notification) {
        opened_ = std::move(notification.opened);
        UNMutableNotificationContent* const content = [[UNMutableNotificationContent alloc] init];
        [content setTitle:systemText(notification.summary)];
        [content setBody:systemText(notification.body)];
        const unsigned request = ++latest_;
        UNUserNotificationCenter* const center = center_;
        const QPointer<Service> self(this);
        [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                              completionHandler:^(BOOL granted, NSError*) {
                                if (granted) {
                                    onMainThread(self, [request, content](Service& service) {
                                        service.add(request, content);
                                    });
                                }
                              }];
    }

    void withdraw() {
        ++latest_;
        [center_ removeDeliveredNotificationsWithIdentifiers:@[ identifier ]];
    }

  private:
    template <typename Job>
    static void onMainThread(const QPointer<Service>& self, Job job) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, job] {
                if (self) {
                    job(*self);
                }
            },
            Qt::QueuedConnection);
    }

    static void openLater(const QPointer<Service>& self) {
        onMainThread(self, [](Service& service) {
            if (const auto opened = service.opened_) {
                opened();
            }
        });
    }

    void add(unsigned request, UNMutableNotificationContent* content) {
        if (request == latest_) {
            [center_ addNotificationRequest:[UNNotificationRequest requestWithIdentifier:identifier
                                                                                 content:content
                                                                                 trigger:nil]
                      withCompletionHandler:nil];
        }
    }

    std::function<void()> opened_;
    /// The number of the latest request to show or to withdraw.
    unsigned latest_ = 0;
    UNUserNotificationCenter* center_ = nil;
    KestrelnetNotificationDelegate* delegate_ = nil;
};

Notifier::Notifier(Sender /*sender*/) : service_(std::make_unique<Service>()) {}

Notifier::~Notifier() = default;

void Notifier::show(Notification notification) {
    service_->show(std::move(notification));
}

void Notifier::withdraw() {
    service_->withdraw();
}

} // namespace kestrelnet
