// Core Foundation strings, numbers, arrays and mutable dictionaries over CFObject.
#include "core_foundation.h"

#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

struct CFStringObject : CFObject {
    explicit CFStringObject(const char* value) : CFObject(kCFStringTypeIDValue), text(value) {}
    std::string text;
};

struct CFNumberObject : CFObject {
    explicit CFNumberObject(int64_t number) : CFObject(kCFNumberTypeIDValue), value(number) {}
    int64_t value;
};

struct CFArrayObject : CFObject {
    CFArrayObject() : CFObject(kCFArrayTypeIDValue) {}
    ~CFArrayObject() override {
        if (callBacks.release != nullptr)
            for (const void* value : values)
                callBacks.release(kCFAllocatorDefault, value);
    }
    CFArrayCallBacks callBacks{};
    std::vector<const void*> values;
};

struct CFDictionaryObject : CFObject {
    CFDictionaryObject() : CFObject(kCFDictionaryTypeIDValue) {}
    ~CFDictionaryObject() override {
        for (auto& entry : entries) {
            if (keyCallBacks.release != nullptr) keyCallBacks.release(kCFAllocatorDefault, entry.first);
            if (valueCallBacks.release != nullptr) valueCallBacks.release(kCFAllocatorDefault, entry.second);
        }
    }
    bool KeysEqual(const void* a, const void* b) const {
        return keyCallBacks.equal != nullptr ? keyCallBacks.equal(a, b) != 0 : a == b;
    }
    CFDictionaryKeyCallBacks keyCallBacks{};
    CFDictionaryValueCallBacks valueCallBacks{};
    std::vector<std::pair<const void*, const void*>> entries;
};

namespace {

const CFObject* ObjectOf(CFTypeRef ref) {
    return static_cast<const CFObject*>(ref);
}

const void* RetainCallBack(CFAllocatorRef, const void* value) {
    return CFRetain(value);
}
void ReleaseCallBack(CFAllocatorRef, const void* value) {
    CFRelease(value);
}
Boolean EqualCallBack(const void* a, const void* b) {
    return CFEqual(a, b);
}
CFHashCode HashCallBack(const void* value) {
    return CFHash(value);
}

template <typename T> bool StoreNumber(int64_t value, void* out) {
    if (value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) return false;
    *static_cast<T*>(out) = static_cast<T>(value);
    return true;
}

} // namespace

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, RetainCallBack, ReleaseCallBack, nullptr, EqualCallBack};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,       RetainCallBack, ReleaseCallBack,
                                                                nullptr, EqualCallBack,  HashCallBack};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, RetainCallBack, ReleaseCallBack,
                                                                    nullptr, EqualCallBack};

CFTypeRef CFRetain(CFTypeRef object) {
    RetainObject(ObjectOf(object));
    return object;
}

void CFRelease(CFTypeRef object) {
    ReleaseObject(ObjectOf(object));
}

CFIndex CFGetRetainCount(CFTypeRef object) {
    if (object == nullptr) return 0;
    return ObjectOf(object)->retainCount.load();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return object == nullptr ? 0 : ObjectOf(object)->typeID;
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
    if (a == b) return true;
    if (a == nullptr || b == nullptr || CFGetTypeID(a) != CFGetTypeID(b)) return false;
    switch (CFGetTypeID(a)) {
    case kCFStringTypeIDValue:
        return static_cast<CFStringRef>(a)->text == static_cast<CFStringRef>(b)->text;
    case kCFNumberTypeIDValue:
        return static_cast<CFNumberRef>(a)->value == static_cast<CFNumberRef>(b)->value;
    default:
        return false;
    }
}

CFHashCode CFHash(CFTypeRef object) {
    switch (CFGetTypeID(object)) {
    case kCFStringTypeIDValue:
        return std::hash<std::string>()(static_cast<CFStringRef>(object)->text);
    case kCFNumberTypeIDValue:
        return static_cast<CFHashCode>(static_cast<CFNumberRef>(object)->value);
    default:
        return reinterpret_cast<CFHashCode>(object);
    }
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, uint32_t) {
    if (text == nullptr) return nullptr;
    return new (std::nothrow) CFStringObject(text);
}

CFStringRef CFSTR(const char* text) {
    static std::mutex mutex;
    static std::map<std::string, CFStringObject*>* constants = new std::map<std::string, CFStringObject*>();
    std::lock_guard<std::mutex> lock(mutex);
    CFStringObject*& constant = (*constants)[text];
    if (constant == nullptr) {
        constant = new CFStringObject(text);
        constant->immortal = true;
    }
    return constant;
}

const char* CFStringGetCStringPtr(CFStringRef string, uint32_t) {
    return string == nullptr ? nullptr : string->text.c_str();
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    if (value == nullptr) return nullptr;
    int64_t number;
    switch (type) {
    case kCFNumberSInt16Type:
        number = *static_cast<const int16_t*>(value);
        break;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        number = *static_cast<const int32_t*>(value);
        break;
    case kCFNumberSInt64Type:
        number = *static_cast<const int64_t*>(value);
        break;
    default:
        return nullptr;
    }
    return new (std::nothrow) CFNumberObject(number);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    if (number == nullptr || value == nullptr) return false;
    switch (type) {
    case kCFNumberSInt16Type:
        return StoreNumber<int16_t>(number->value, value);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return StoreNumber<int32_t>(number->value, value);
    case kCFNumberSInt64Type:
        return StoreNumber<int64_t>(number->value, value);
    default:
        return false;
    }
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
    if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
    auto* array = new (std::nothrow) CFArrayObject();
    if (array == nullptr) return nullptr;
    if (callBacks != nullptr) array->callBacks = *callBacks;
    array->values.assign(values, values + count);
    if (array->callBacks.retain != nullptr)
        for (const void* value : array->values)
            array->callBacks.retain(kCFAllocatorDefault, value);
    return array;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    return array == nullptr ? 0 : static_cast<CFIndex>(array->values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    if (array == nullptr || index < 0 || index >= CFArrayGetCount(array)) return nullptr;
    return array->values[static_cast<size_t>(index)];
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    auto* dictionary = new (std::nothrow) CFDictionaryObject();
    if (dictionary == nullptr) return nullptr;
    if (keyCallBacks != nullptr) dictionary->keyCallBacks = *keyCallBacks;
    if (valueCallBacks != nullptr) dictionary->valueCallBacks = *valueCallBacks;
    if (capacity > 0) dictionary->entries.reserve(static_cast<size_t>(capacity));
    return dictionary;
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    if (dictionary == nullptr) return;
    const CFAllocatorRef allocator = kCFAllocatorDefault;
    if (dictionary->valueCallBacks.retain != nullptr) dictionary->valueCallBacks.retain(allocator, value);
    for (auto& entry : dictionary->entries) {
        if (!dictionary->KeysEqual(entry.first, key)) continue;
        if (dictionary->valueCallBacks.release != nullptr)
            dictionary->valueCallBacks.release(allocator, entry.second);
        entry.second = value;
        return;
    }
    if (dictionary->keyCallBacks.retain != nullptr) dictionary->keyCallBacks.retain(allocator, key);
    dictionary->entries.emplace_back(key, value);
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    if (dictionary == nullptr) return nullptr;
    for (const auto& entry : dictionary->entries)
        if (dictionary->KeysEqual(entry.first, key)) return entry.second;
    return nullptr;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    return dictionary == nullptr ? 0 : static_cast<CFIndex>(dictionary->entries.size());
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values) {
    if (dictionary == nullptr) return;
    size_t i = 0;
    for (const auto& entry : dictionary->entries) {
        if (keys != nullptr) keys[i] = entry.first;
        if (values != nullptr) values[i] = entry.second;
        ++i;
    }
}
