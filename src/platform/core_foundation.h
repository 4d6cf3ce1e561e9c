// Core Foundation: the reference-counted types the compressor builds pixel-buffer attributes
// with (strings as keys, signed numbers, arrays, mutable dictionaries) and the standard
// callbacks that make containers retain what they hold.
//
// Ownership follows the Create rule: whoever creates or retains an object releases it once with
// CFRelease. Containers made with the kCFType... callbacks retain their keys and values and
// release them when replaced or when the container goes. Retain counts are atomic; containers
// themselves are not thread-safe.
#pragma once

#include <cstdint>

#include "cf_object.h"
#include "mac_types.h"

typedef const void* CFTypeRef;
typedef intptr_t CFIndex;
typedef unsigned long CFHashCode;
typedef const struct CFAllocatorObject* CFAllocatorRef;
typedef const struct CFStringObject* CFStringRef;
typedef const struct CFNumberObject* CFNumberRef;
typedef const struct CFArrayObject* CFArrayRef;
typedef const struct CFDictionaryObject* CFDictionaryRef;
typedef struct CFDictionaryObject* CFMutableDictionaryRef;

// The default allocator: the C heap.
const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFIndex CFGetRetainCount(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
// Strings are equal by their text, numbers by their value, anything else by identity.
Boolean CFEqual(CFTypeRef a, CFTypeRef b);
CFHashCode CFHash(CFTypeRef object);

// Strings. Only ASCII/UTF-8 text is kept, byte for byte.
enum : uint32_t { kCFStringEncodingASCII = 0x0600, kCFStringEncodingUTF8 = 0x08000100 };
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, uint32_t encoding);
// A constant string for text: one immortal object per distinct text, never freed, so retain and
// release leave it alone (the classic CFSTR("...")). Thread-safe.
CFStringRef CFSTR(const char* text);
// The string's text; valid while the string lives.
const char* CFStringGetCStringPtr(CFStringRef string, uint32_t encoding);

// Numbers. Every value is held as a signed 64-bit integer.
typedef int32_t CFNumberType;
enum : CFNumberType {
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberIntType = 9
};
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
// Stores the value in the given type; false when the type is unknown or the value does not fit.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

// Callbacks for containers; null fields mean "do nothing" (no retain) and identity equality.
typedef const void* (*CFRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFEqualCallBack)(const void* a, const void* b);
typedef CFHashCode (*CFHashCallBack)(const void* value);

struct CFArrayCallBacks {
    CFIndex version;
    CFRetainCallBack retain;
    CFReleaseCallBack release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack equal;
};

struct CFDictionaryKeyCallBacks {
    CFIndex version;
    CFRetainCallBack retain;
    CFReleaseCallBack release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack equal;
    CFHashCallBack hash;
};

struct CFDictionaryValueCallBacks {
    CFIndex version;
    CFRetainCallBack retain;
    CFReleaseCallBack release;
    CFCopyDescriptionCallBack copyDescription;
    CFEqualCallBack equal;
};

// Retain with CFRetain, release with CFRelease, compare with CFEqual (and hash with CFHash).
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

// Arrays (immutable). The callbacks are copied; null callbacks keep plain pointers.
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);
CFIndex CFArrayGetCount(CFArrayRef array);
// The value at index, not retained for the caller; null when index is out of range.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

// Mutable dictionaries. Entries keep the order they were first set in. capacity is a hint.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
// Adds or replaces the value for key (the old value is released by the value callbacks).
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
// The value for key, not retained for the caller; null when absent.
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
// Fills keys and values (either may be null) with the entries in insertion order.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values);
