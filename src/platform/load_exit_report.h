// One line on standard error when the process ends while the codec is being loaded.
//
// The DXT24 encoder creates its 64 named POSIX semaphores while the codec is loaded, and ends
// the process with exit(-1) and no word when it cannot (/dev/shm full, read-only or missing);
// that is the codec's behaviour and stays. The platform layer arms this report before the
// encoder's slots are constructed, so that every host that links it (the tool, the tests, a
// program linking the library) says why instead, for example
//   qzkt: cannot create the DXT24 encoder's named semaphores in /dev/shm: No space left on device
// Once loading is complete the report is disarmed and stays quiet.
//
// Init priorities while the codec loads (lower runs first, all before objects without one):
//   150  this report is armed (kLoadExitReportInitPriority)
//   200  the DXT24 encoder's slots open their semaphores (kSlotsInitPriority, dxt24_threaded.h)
//   300  a host library removes its process's semaphore names
#pragma once

const int kLoadExitReportInitPriority = 150;

// True while the report is armed: from its load-time registration until loading is complete.
// Hosts need not call it; the platform layer refers to it so that a static link keeps it.
bool LoadExitReportArmed();
