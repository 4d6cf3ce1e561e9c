// The reference-counted base shared by every object the platform layer hands out as a
// Core Foundation type (strings, numbers, arrays, dictionaries, pixel buffers, compression
// objects). Internal to the platform layer.
#pragma once

#include <atomic>

typedef unsigned long CFTypeID;

enum : CFTypeID {
    kCFStringTypeIDValue = 1,
    kCFNumberTypeIDValue,
    kCFArrayTypeIDValue,
    kCFDictionaryTypeIDValue,
    kCVPixelBufferTypeIDValue,
    kICMCompressionSessionOptionsTypeIDValue,
    kICMCompressionSessionTypeIDValue,
    kICMEncodedFrameTypeIDValue,
    kICMCompressorSourceFrameTypeIDValue,
};

struct CFObject {
    explicit CFObject(CFTypeID type) : typeID(type) {}
    virtual ~CFObject() = default;
    CFObject(const CFObject&) = delete;
    CFObject& operator=(const CFObject&) = delete;

    const CFTypeID typeID;
    std::atomic<long> retainCount{1};
    // Constant objects (the attribute keys) are never freed; retain and release leave them be.
    bool immortal = false;
};

// Adds one reference.
inline void RetainObject(const CFObject* object) {
    if (object != nullptr && !object->immortal) const_cast<CFObject*>(object)->retainCount.fetch_add(1);
}

// Drops one reference and deletes the object with the last one.
inline void ReleaseObject(const CFObject* object) {
    if (object == nullptr || object->immortal) return;
    if (const_cast<CFObject*>(object)->retainCount.fetch_sub(1) == 1) delete object;
}
