// The components as a host process sees them: registered once, the compressor's load problem,
// and what its settings mean on this machine.
#pragma once

#include <cstdint>

// Registers the compressor and the decompressor with the Component Manager, once per
// process, whichever thread comes first. Every entry that opens a component calls it.
void HostRegisterComponents();

// Why the compressor's bundle did not load at its last open on this thread (such as why
// /dev/shm cannot hold its semaphores), or "".
const char* HostCompressorLoadProblem();

// The DXT24 workers a thread setting (1..9) gives on this machine, as the compressor sizes its
// pool: the one thread-count policy of the library.
int HostDXT24WorkerCount(int32_t threadSetting);
