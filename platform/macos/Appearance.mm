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
class Appearance::Source {
  public:
    explicit Source(Changed changed) {
        const Changed handler = changed ? std::move(changed) : [] {};
        appearance_ = [[KestrelnetAppearanceObserver alloc] initWithHandler:handler];
        contrast_ = [accessibilityNotices()
            addObserverForName:NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification
                        object:nil
                         queue:[NSOperationQueue mainQueue]
                    usingBlock:^(NSNotification*) {
                      handler();
                    }];
    }

    ~Source() {
        [appearance_ stop];
        [accessibilityNotices() removeObserver:contrast_];
    }

    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

  private:
    KestrelnetAppearanceObserver* appearance_ = nil;
    id contrast_ = nil;
};

Appearance::Appearance(Changed changed) : source_(std::make_unique<Source>(std::move(changed))) {}

Appearance::~Appearance() = default;

/// The toolkit itself follows the font and the times.
DesktopPreferences Appearance::preferences() const {
    NSString* const match = [[NSApp effectiveAppearance]
        bestMatchFromAppearancesWithNames:@[ NSAppearanceNameAqua, NSAppearanceNameDarkAqua ]];
    return {.colorScheme = [match isEqualToString:NSAppearanceNameDarkAqua] ? ColorScheme::dark
                                                                            : ColorScheme::light,
            .wantsHighContrast = static_cast<bool>(
                [[NSWorkspace sharedWorkspace] accessibilityDisplayShouldIncreaseContrast])};
}

} // namespace kestrelnet
