// SPDX-License-Identifier: MIT
// The toolkit follows the system's appearance only while the application sets no palette of its
// own.
#include "platform/Appearance.h"

#import <AppKit/AppKit.h>

#include <utility>

/// Calls a function when the application's appearance changes.
@interface KestrelnetAppearanceObserver : NSObject
- (instancetype)initWithHandler:(std::function<void()>)handler;
- (void)stop;
@end

@implementation KestrelnetAppearanceObserver {
    std::function<void()> handler_;
}

- (instancetype)initWithHandler:(std::function<void()>)handler {
    self = [super init];
    if (self != nil) {
        handler_ = std::move(handler);
        [NSApp addObserver:self forKeyPath:@"effectiveAppearance" options:0 context:nullptr];
    }
    return self;
}

- (void)stop {
    [NSApp removeObserver:self forKeyPath:@"effectiveAppearance"];
}

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary*)change
                       context:(void*)context {
    static_cast<void>(keyPath);
    static_cast<void>(object);
    static_cast<void>(change);
    static_cast<void>(context);
    handler_();
}

@end

namespace kestrelnet {

namespace {

NSNotificationCenter* accessibilityNotices() {
    return [[NSWorkspace sharedWorkspace] notificationCenter];
}

} // namespace

/// Reports changes of the colour scheme or of the contrast. The values are read when they are used.
class Appearance::Setting {
  public:
    struct Scheme {};
    struct Contrast {};

    Setting(Scheme /*kind*/, Changed changed)
        : appearance_([[KestrelnetAppearanceObserver alloc] initWithHandler:std::move(changed)]) {}

    Setting(Contrast /*kind*/, const Changed& changed) {
        const Changed handler = changed;
        contrast_ = [accessibilityNotices()
            addObserverForName:NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification
                        object:nil
                         queue:[NSOperationQueue mainQueue]
                    usingBlock:^(NSNotification*) {
                      handler();
                    }];
    }

    ~Setting() {
        [appearance_ stop];
        if (contrast_ != nil) {
            [accessibilityNotices() removeObserver:contrast_];
        }
    }

    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

  private:
    KestrelnetAppearanceObserver* appearance_ = nil;
    id contrast_ = nil;
};

Appearance::Appearance(const Changed& changed) {
    const Changed handler = changed ? changed : [] {};
    colorScheme_ = std::make_unique<Setting>(Setting::Scheme(), handler);
    contrast_ = std::make_unique<Setting>(Setting::Contrast(), handler);
}

Appearance::~Appearance() = default;

ColorScheme Appearance::colorScheme() const {
    NSString* const match = [[NSApp effectiveAppearance]
        bestMatchFromAppearancesWithNames:@[ NSAppearanceNameAqua, NSAppearanceNameDarkAqua ]];
    return [match isEqualToString:NSAppearanceNameDarkAqua] ? ColorScheme::dark
                                                            : ColorScheme::light;
}

bool Appearance::wantsHighContrast() const {
    return [[NSWorkspace sharedWorkspace] accessibilityDisplayShouldIncreaseContrast];
}

} // namespace kestrelnet
