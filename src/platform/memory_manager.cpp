// Handles as a heap record { block pointer, size }: the Handle is the address of the record's
// first field, the master pointer.
#include "memory_manager.h"

#include <cstdlib>
#include <cstring>

namespace {

struct HandleRecord {
    char* block; // the master pointer; must stay the first field
    Size size;
};

thread_local OSErr g_memError = noErr;

HandleRecord* RecordOf(Handle handle) {
    return reinterpret_cast<HandleRecord*>(handle);
}

Handle AllocateHandle(Size size, bool clear) {
    if (size < 0) {
        g_memError = paramErr;
        return nullptr;
    }
    auto* record = static_cast<HandleRecord*>(std::malloc(sizeof(HandleRecord)));
    // One spare byte so an empty handle still owns a real block.
    char* block = static_cast<char*>(clear ? std::calloc(static_cast<size_t>(size) + 1, 1)
                                           : std::malloc(static_cast<size_t>(size) + 1));
    if (record == nullptr || block == nullptr) {
        std::free(record);
        std::free(block);
        g_memError = memFullErr;
        return nullptr;
    }
    record->block = block;
    record->size = size;
    g_memError = noErr;
    return &record->block;
}

} // namespace

Handle NewHandle(Size size) {
    return AllocateHandle(size, false);
}

Handle NewHandleClear(Size size) {
    return AllocateHandle(size, true);
}

void SetHandleSize(Handle handle, Size newSize) {
    if (handle == nullptr) {
        g_memError = nilHandleErr;
        return;
    }
    if (newSize < 0) {
        g_memError = paramErr;
        return;
    }
    HandleRecord* record = RecordOf(handle);
    char* block = static_cast<char*>(std::realloc(record->block, static_cast<size_t>(newSize) + 1));
    if (block == nullptr) {
        g_memError = memFullErr;
        return;
    }
    if (newSize > record->size)
        std::memset(block + record->size, 0, static_cast<size_t>(newSize - record->size));
    record->block = block;
    record->size = newSize;
    g_memError = noErr;
}

Size GetHandleSize(Handle handle) {
    if (handle == nullptr) {
        g_memError = nilHandleErr;
        return 0;
    }
    g_memError = noErr;
    return RecordOf(handle)->size;
}

void DisposeHandle(Handle handle) {
    if (handle == nullptr) {
        g_memError = nilHandleErr;
        return;
    }
    HandleRecord* record = RecordOf(handle);
    std::free(record->block);
    std::free(record);
    g_memError = noErr;
}

OSErr MemError() {
    return g_memError;
}
