// The load-time exit report stays quiet once loading is complete: a host that ends with
// exit(-1) later, for its own reasons, gets no word about semaphores. (That it speaks when the
// codec ends the process while loading is the tool suite's test with sem_open failing.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/load_exit_report.h"

TEST(LoadExitReportTest, QuietOnceLoadingIsComplete) {
    EXPECT_FALSE(LoadExitReportArmed());

    int err[2];
    ASSERT_EQ(pipe(err), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(err[1], STDERR_FILENO);
        std::exit(-1);
    }
    close(err[1]);
    std::string said;
    char buffer[256];
    for (ssize_t n; (n = read(err[0], buffer, sizeof buffer)) > 0;)
        said.append(buffer, static_cast<size_t>(n));
    close(err[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 255);
    EXPECT_EQ(said, "");
}
