// Host-side clean-up of the codec's named semaphores.
//
// The DXT24 encoder opens 64 named POSIX semaphores ("kelstart_<pid>_<n>") when the codec is
// loaded and deliberately never unlinks their names. Every host (the command-line tool,
// tests, benchmarks, demos) calls UnlinkCodecSemaphoreNames() first thing in main(): the
// semaphores are already open by then and keep working without their names, and nothing is
// left in /dev/shm afterwards, even when the process is killed.
#pragma once

// Removes the names "kelstart_<this process id>_<n>" for every n found in /dev/shm.
// Returns how many names were removed. Safe to call more than once.
int UnlinkCodecSemaphoreNames();
