// Physical core counting over a sysfs-like tree, and sysctlbyname's contract.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_info.h"

namespace {

void AddCpu(const std::string& root, int cpu, int package, int core) {
    const std::string dir = root + "/cpu" + std::to_string(cpu);
    mkdir(dir.c_str(), 0755);
    mkdir((dir + "/topology").c_str(), 0755);
    std::ofstream(dir + "/topology/physical_package_id") << package << "\n";
    std::ofstream(dir + "/topology/core_id") << core << "\n";
}

} // namespace

TEST(SystemInfoTest, CountsDistinctCoresNotHardwareThreads) {
    char pattern[] = "/tmp/qzkt-sysfs-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string root = pattern;
    mkdir((root + "/cpufreq").c_str(), 0755); // not a cpu folder
    // Two packages; each core id 0 and 1 in both, each core with two hardware threads.
    int cpu = 0;
    for (int package = 0; package < 2; ++package)
        for (int thread = 0; thread < 2; ++thread)
            for (int core = 0; core < 2; ++core)
                AddCpu(root, cpu++, package, core);
    EXPECT_EQ(CountPhysicalCores(root.c_str()), 4);
    // Without readable topology: the online processor count.
    EXPECT_EQ(CountPhysicalCores((root + "/missing").c_str()),
              static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
    std::system(("rm -rf " + root).c_str());

    int cores = 0;
    size_t size = sizeof cores;
    ASSERT_EQ(sysctlbyname("hw.physicalcpu", &cores, &size, nullptr, 0), 0);
    EXPECT_EQ(cores, CountPhysicalCores("/sys/devices/system/cpu"));
    size = 2;
    EXPECT_EQ(sysctlbyname("hw.physicalcpu", &cores, &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(size, sizeof cores);
    EXPECT_EQ(sysctlbyname("hw.nothing", &cores, &size, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOENT);
}
