// Processor counts from Linux sysfs.
#include "system_info.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

bool ReadNumber(const std::string& path, long* value) {
    FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) return false;
    const bool ok = std::fscanf(file, "%ld", value) == 1;
    std::fclose(file);
    return ok;
}

int OnlineProcessors() {
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

} // namespace

int CountPhysicalCores(const char* sysfsCpuRoot) {
    std::set<std::pair<long, long>> cores;
    if (DIR* dir = opendir(sysfsCpuRoot)) {
        while (const dirent* entry = readdir(dir)) {
            // Only cpu0, cpu1, ...: the folder also holds cpufreq, cpuidle and others.
            const char* name = entry->d_name;
            if (std::strncmp(name, "cpu", 3) != 0 || name[3] < '0' || name[3] > '9') continue;
            const std::string topology = std::string(sysfsCpuRoot) + "/" + name + "/topology/";
            long package = 0, core = 0;
            if (ReadNumber(topology + "physical_package_id", &package) &&
                ReadNumber(topology + "core_id", &core))
                cores.insert({package, core});
        }
        closedir(dir);
    }
    return cores.empty() ? OnlineProcessors() : static_cast<int>(cores.size());
}

int sysctlbyname(const char* name, void* oldp, size_t* oldlenp, const void* newp, size_t newlen) {
    if (name == nullptr || oldp == nullptr || oldlenp == nullptr || newp != nullptr || newlen != 0) {
        errno = EINVAL;
        return -1;
    }
    int value;
    if (std::strcmp(name, "hw.physicalcpu") == 0) {
        value = CountPhysicalCores("/sys/devices/system/cpu");
    } else if (std::strcmp(name, "hw.logicalcpu") == 0) {
        value = OnlineProcessors();
    } else {
        errno = ENOENT;
        return -1;
    }
    if (*oldlenp < sizeof value) {
        *oldlenp = sizeof value;
        errno = ENOMEM;
        return -1;
    }
    std::memcpy(oldp, &value, sizeof value);
    *oldlenp = sizeof value;
    return 0;
}
