// Memory Manager handles: a Handle points at a master pointer, which points at the block, so
// a block can move when it is resized while the Handle stays valid.
//
// Ownership: the creator of a handle disposes of it with DisposeHandle. A handle is not
// thread-safe; one thread uses it at a time. MemError() reports the last call's status for the
// calling thread.
#pragma once

#include "mac_types.h"

// A new handle of size bytes (contents undefined), or null with MemError() = memFullErr.
Handle NewHandle(Size size);
// The same, zero-filled.
Handle NewHandleClear(Size size);
// Resizes the block, keeping the first min(old, new) bytes; new bytes are zero. A negative
// size or a null handle sets MemError() to paramErr / nilHandleErr; failure leaves the old block.
void SetHandleSize(Handle handle, Size newSize);
// The block's size in bytes; 0 for a null handle (MemError() = nilHandleErr).
Size GetHandleSize(Handle handle);
// Frees the handle and its block; a null handle is ignored.
void DisposeHandle(Handle handle);
// Status of the calling thread's last Memory Manager call.
OSErr MemError();
