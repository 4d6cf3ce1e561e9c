// Progress line drawing.
#include "cli/progress.h"

#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

double Seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

Progress::Progress(std::string verb, int64_t expectedFrames, bool quiet)
    : verb_(std::move(verb)), expected_(expectedFrames), enabled_(!quiet && isatty(STDERR_FILENO)),
      start_(Seconds()) {}

Progress::~Progress() {
    Done();
}

double Progress::Elapsed() const {
    return Seconds() - start_;
}

void Progress::Update(int64_t framesDone) {
    if (!enabled_) return;
    const double now = Seconds();
    if (lastDraw_ >= 0 && now - lastDraw_ < 0.1) return;
    lastDraw_ = now;
    const double elapsed = now - start_;
    const double fps = elapsed > 0 ? framesDone / elapsed : 0.0;
    char line[160];
    if (expected_ > 0 && fps > 0 && framesDone <= expected_)
        std::snprintf(line, sizeof line, "%s: %lld/%lld frames, %.1f fps, %.0f s left", verb_.c_str(),
                      static_cast<long long>(framesDone), static_cast<long long>(expected_), fps,
                      (expected_ - framesDone) / fps);
    else
        std::snprintf(line, sizeof line, "%s: %lld frames, %.1f fps", verb_.c_str(),
                      static_cast<long long>(framesDone), fps);
    std::fprintf(stderr, "\r\033[K%s", line);
    std::fflush(stderr);
    drawn_ = true;
}

void Progress::Done() {
    if (drawn_) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
        drawn_ = false;
    }
}
