// SPDX-License-Identifier: MIT
// Stands in for UserNotifications' header: declares only what the sources use.
#pragma once

#import <Foundation/Foundation.h>

typedef NSUInteger UNAuthorizationOptions;

enum : UNAuthorizationOptions {
    UNAuthorizationOptionAlert = 1 << 2,
};

@class UNNotificationTrigger;
@class UNUserNotificationCenter;

@interface UNMutableNotificationContent : NSObject
@property(copy) NSString* title;
@property(copy) NSString* body;
@end

@interface UNNotificationRequest : NSObject
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNMutableNotificationContent*)content
                              trigger:(UNNotificationTrigger*)trigger;
@end

@interface UNNotificationResponse : NSObject
@end

@protocol UNUserNotificationCenterDelegate
@optional
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))done;
@end

@interface UNUserNotificationCenter : NSObject
@property(weak) id<UNUserNotificationCenterDelegate> delegate;
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* error))handler;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(void (^)(NSError* error))handler;
- (void)removeDeliveredNotificationsWithIdentifiers:(NSArray*)identifiers;
@end
