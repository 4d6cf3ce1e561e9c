// Loading the compressor's bundle on Linux. What loading the codec's bundle did on the
// original system (the DXT24 encoder's worker slots open their 64 named semaphores) happens
// when a host first opens the compressor in a process, never when a program or library
// holding the code is loaded: decode-only hosts, plugin scanners and `qzkt info` never touch
// /dev/shm. The Component Manager runs the loader before every open of the compressor; it
// loads once per process (again in a forked child, whose slots were its parent's).
#pragma once

#include "platform/mac_types.h"

// Loads the bundle unless this process has. First checks that /dev/shm can hold the
// semaphores (it exists, is writable, has room for them), so that a machine without them gets
// codecErr and a problem text instead of the codec's exit at load. Each semaphore's name is
// removed right after its open: the semaphores keep working, and /dev/shm keeps nothing of
// this process. Names left by processes killed in that instant (a few seconds old) are
// removed first. noErr once loaded.
OSErr LoadCompressorBundle();

// Why the last LoadCompressorBundle on this thread failed, such as "cannot create the DXT24
// encoder's named semaphores in /dev/shm: Read-only file system"; "" after a success.
const char* CompressorBundleLoadProblem();
