// The signal handler's line about an interrupted image sequence, in a child process that is
// ended by SIGINT at the moment an image takes its name: before its name holds the file, after,
// and with an older file of that name still there. The line names exactly the images on disk.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "output/interrupt_cleanup.h"
#include "tool_fixture.h"

namespace {

enum class Moment { kBeforeItsName, kAfterItsName, kOverAnOlderFile };

} // namespace

TEST_F(ToolTest, InterruptedSequenceNamesExactlyTheImagesOnDisk) {
    const std::string pattern = Path("seq_%03d.png");
    const std::string first = Path("seq_001.png"), second = Path("seq_002.png");
    for (Moment moment : {Moment::kBeforeItsName, Moment::kAfterItsName, Moment::kOverAnOlderFile}) {
        for (const std::string& name : {first, second, Path("image.tmp")})
            unlink(name.c_str());
        WriteFile(first, Bytes(4, 1));
        if (moment == Moment::kOverAnOlderFile) WriteFile(second, Bytes(4, 2));
        int err[2];
        ASSERT_EQ(pipe(err), 0);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            dup2(err[1], STDERR_FILENO);
            RegisterImageSequence(pattern);
            SetImagesWritten(1);
            // Image 2 is written; as the tool does, its file is watched while it takes its name.
            const int fd = open(Path("image.tmp").c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
            SetImageTakingName(fd);
            if (moment == Moment::kAfterItsName) rename(Path("image.tmp").c_str(), second.c_str());
            raise(SIGINT);
            _exit(0); // not reached: the handler ends the process by the signal
        }
        close(err[1]);
        std::string text;
        char buffer[512];
        for (ssize_t n; (n = read(err[0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(n));
        close(err[0]);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT);
        const std::string expected = moment == Moment::kAfterItsName
                                         ? first + " to " + second + " were written and are kept\n"
                                         : first + " was written and is kept\n";
        EXPECT_EQ(text, "qzkt decode: interrupted; " + expected) << static_cast<int>(moment);
    }
}
