// Process queries the components make of the system: sysctlbyname for the processor counts.
#pragma once

#include <cstddef>

// Supports "hw.physicalcpu" (distinct physical cores) and "hw.logicalcpu" (hardware threads
// online) as 4-byte integers. Returns 0, or -1 with errno ENOENT for another name, ENOMEM when
// *oldlenp is below 4 (the needed size is stored there), EINVAL for null pointers or new values.
int sysctlbyname(const char* name, void* oldp, size_t* oldlenp, const void* newp, size_t newlen);

// The number of distinct (physical package, core) pairs among the CPUs listed under
// sysfsCpuRoot (normally "/sys/devices/system/cpu"): cpuN/topology/physical_package_id and
// core_id. Hardware threads of one core count once. When no topology can be read, the number
// of online processors (at least 1).
int CountPhysicalCores(const char* sysfsCpuRoot);
