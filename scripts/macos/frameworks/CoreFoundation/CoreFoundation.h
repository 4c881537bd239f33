// SPDX-License-Identifier: MIT
// Stands in for CoreFoundation's header: declares only what the sources use.
#pragma once

extern "C" {
typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFString* CFStringRef;
typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned int CFStringEncoding;

struct CFRange {
    CFIndex location;
    CFIndex length;
};

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

extern const CFBooleanRef kCFBooleanFalse;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentUser;

void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFBooleanGetTypeID();
CFTypeID CFStringGetTypeID();
Boolean CFBooleanGetValue(CFBooleanRef value);

CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex size,
                                    CFStringEncoding encoding, Boolean isExternal);
CFIndex CFStringGetLength(CFStringRef text);
CFIndex CFStringGetBytes(CFStringRef text, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternal, UInt8* buffer, CFIndex capacity, CFIndex* used);

CFArrayRef CFPreferencesCopyKeyList(CFStringRef domain, CFStringRef user, CFStringRef host);
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user,
                                         CFStringRef host);
void CFPreferencesSetMultiple(CFDictionaryRef set, CFArrayRef remove, CFStringRef domain,
                              CFStringRef user, CFStringRef host);
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain,
                           CFStringRef user, CFStringRef host);
Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host);
}
