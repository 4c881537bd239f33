// SPDX-License-Identifier: MIT
// Stands in for AppKit's header: declares only what the sources use.
#pragma once

#import <Foundation/Foundation.h>

typedef NSString* NSAppearanceName;

extern "C" {
extern NSAppearanceName const NSAppearanceNameAqua;
extern NSAppearanceName const NSAppearanceNameDarkAqua;
extern NSNotificationName const NSApplicationWillFinishLaunchingNotification;
extern NSNotificationName const NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification;
}

@interface NSAppearance : NSObject
- (NSAppearanceName)bestMatchFromAppearancesWithNames:(NSArray*)names;
@end

@interface NSApplication : NSObject
@property(readonly) NSAppearance* effectiveAppearance;
@end

extern "C" NSApplication* NSApp;

@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
@property(readonly) NSNotificationCenter* notificationCenter;
@property(readonly) BOOL accessibilityDisplayShouldIncreaseContrast;
@end
