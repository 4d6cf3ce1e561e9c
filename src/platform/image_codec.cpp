// The codec information record, loaded from a component's resources.
#include "image_codec.h"

#include <algorithm>
#include <cstring>

#include "memory_manager.h"
#include "resource_manager.h"

OSErr GetCodecInfoResource(ComponentInstance self, ResID resID, CodecInfo* info) {
    if (info == nullptr) return paramErr;
    Handle resource = nullptr;
    const OSErr status = GetComponentResource(self, FourCC("cdci"), resID, &resource);
    if (status != noErr) return status;
    std::memset(info, 0, sizeof *info);
    std::memcpy(info, *resource, std::min(sizeof *info, static_cast<size_t>(GetHandleSize(resource))));
    DisposeHandle(resource);
    return noErr;
}
