// SPDX-License-Identifier: MIT
// Stands in for Foundation's header: declares only what the sources use.
#pragma once

#include <objc/objc.h>

typedef unsigned long NSUInteger;
typedef unsigned int FourCharCode;
typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef FourCharCode AEKeyword;

enum : FourCharCode {
    kInternetEventClass = 'GURL',
    kAEGetURL = 'GURL',
    kCoreEventClass = 'aevt',
    kAEReopenApplication = 'rapp',
    keyDirectObject = '----',
};

@class NSDictionary;
@class NSError;
@class NSNotification;
@class NSOperationQueue;
@class NSString;

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
- (instancetype)init;
- (void)addObserver:(NSObject*)observer
         forKeyPath:(NSString*)keyPath
            options:(NSUInteger)options
            context:(void*)context;
- (void)removeObserver:(NSObject*)observer forKeyPath:(NSString*)keyPath;
@end

@interface NSString : NSObject
+ (instancetype)stringWithUTF8String:(const char*)text;
@property(readonly) const char* UTF8String;
- (BOOL)isEqualToString:(NSString*)other;
@end

typedef NSString* NSNotificationName;

@interface NSArray : NSObject
+ (instancetype)arrayWithObjects:(const id[])objects count:(NSUInteger)count;
@end

@interface NSDictionary : NSObject
@end

@interface NSNotification : NSObject
@end

@interface NSBundle : NSObject
@property(class, readonly) NSBundle* mainBundle;
@property(readonly) NSString* bundleIdentifier;
@end

@interface NSOperationQueue : NSObject
@property(class, readonly) NSOperationQueue* mainQueue;
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly) NSNotificationCenter* defaultCenter;
- (id)addObserverForName:(NSNotificationName)name
                  object:(id)object
                   queue:(NSOperationQueue*)queue
              usingBlock:(void (^)(NSNotification*))block;
- (void)removeObserver:(id)observer;
@end

@interface NSAppleEventDescriptor : NSObject
@property(readonly) NSString* stringValue;
- (NSAppleEventDescriptor*)paramDescriptorForKeyword:(AEKeyword)keyword;
@end

@interface NSAppleEventManager : NSObject
+ (NSAppleEventManager*)sharedAppleEventManager;
- (void)setEventHandler:(id)handler
            andSelector:(SEL)selector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)event;
- (void)removeEventHandlerForEventClass:(AEEventClass)eventClass andEventID:(AEEventID)event;
@end
