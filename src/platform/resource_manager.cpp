// The resource chain over components' built-in resource sets.
#include "resource_manager.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

#include "component_registry.h"
#include "memory_manager.h"

namespace {

struct OpenResFile {
    ResFileRefNum refNum;
    ComponentResourceSet resources;
    ResFileRefNum previousCurrent; // current when this file was opened
};

std::mutex g_chainMutex;
std::vector<OpenResFile> g_chain; // in opening order
ResFileRefNum g_current = kSystemResFile;
ResFileRefNum g_nextRefNum = 2;
thread_local OSErr g_resError = noErr;

const ComponentResource* FindInSet(const ComponentResourceSet& set, ResType type, ResID id) {
    for (size_t i = 0; i < set.count; ++i)
        if (set.resources[i].type == type && set.resources[i].id == id) return &set.resources[i];
    return nullptr;
}

OSErr CopyToHandle(const ComponentResource* resource, Handle* out) {
    *out = NewHandle(static_cast<Size>(resource->size));
    if (*out == nullptr) return memFullErr;
    std::memcpy(**out, resource->data, resource->size);
    return noErr;
}

} // namespace

ResFileRefNum OpenComponentResFile(Component component) {
    if (component == nullptr || component->resources.count == 0) {
        g_resError = resFNotFound;
        return -1;
    }
    std::lock_guard<std::mutex> lock(g_chainMutex);
    const ResFileRefNum refNum = g_nextRefNum++;
    g_chain.push_back({refNum, component->resources, g_current});
    g_current = refNum;
    g_resError = noErr;
    return refNum;
}

ResFileRefNum OpenComponentResFile(ComponentInstance instance) {
    return OpenComponentResFile(GetComponentOf(instance));
}

OSErr CloseComponentResFile(ResFileRefNum refNum) {
    std::lock_guard<std::mutex> lock(g_chainMutex);
    auto found = std::find_if(g_chain.begin(), g_chain.end(),
                              [refNum](const OpenResFile& f) { return f.refNum == refNum; });
    if (found == g_chain.end()) return g_resError = resFNotFound;
    if (g_current == refNum) g_current = found->previousCurrent;
    // A file closed out of order must not be made current again by a later close.
    for (auto& file : g_chain)
        if (file.previousCurrent == refNum) file.previousCurrent = found->previousCurrent;
    g_chain.erase(found);
    return g_resError = noErr;
}

ResFileRefNum CurResFile() {
    std::lock_guard<std::mutex> lock(g_chainMutex);
    return g_current;
}

void UseResFile(ResFileRefNum refNum) {
    std::lock_guard<std::mutex> lock(g_chainMutex);
    const bool known = refNum == kSystemResFile ||
                       std::any_of(g_chain.begin(), g_chain.end(),
                                   [refNum](const OpenResFile& f) { return f.refNum == refNum; });
    if (!known) {
        g_resError = resFNotFound;
        return;
    }
    g_current = refNum;
    g_resError = noErr;
}

OSErr ResError() {
    return g_resError;
}

const ComponentResource* FindChainResource(ResType resType, ResID resID) {
    std::lock_guard<std::mutex> lock(g_chainMutex);
    auto current = std::find_if(g_chain.rbegin(), g_chain.rend(),
                                [](const OpenResFile& f) { return f.refNum == g_current; });
    for (auto file = current; file != g_chain.rend(); ++file) {
        if (const ComponentResource* resource = FindInSet(file->resources, resType, resID)) {
            g_resError = noErr;
            return resource;
        }
    }
    g_resError = resNotFound;
    return nullptr;
}

OSErr GetComponentResource(Component component, OSType resType, ResID resID, Handle* resource) {
    if (resource == nullptr) return paramErr;
    *resource = nullptr;
    if (component == nullptr) return invalidComponentID;
    const ComponentResource* found = FindInSet(component->resources, resType, resID);
    if (found == nullptr) return resNotFound;
    return CopyToHandle(found, resource);
}

OSErr GetComponentResource(ComponentInstance instance, OSType resType, ResID resID, Handle* resource) {
    return GetComponentResource(GetComponentOf(instance), resType, resID, resource);
}
