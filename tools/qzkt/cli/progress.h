// The progress line on a terminal: frames done, frames per second and time left, redrawn in
// place on standard error at most ten times a second. Silent when standard error is not a
// terminal or when asked to be quiet.
#pragma once

#include <cstdint>
#include <string>

class Progress {
  public:
    Progress(std::string verb, int64_t expectedFrames, bool quiet);
    ~Progress();

    void Update(int64_t framesDone);
    // Clears the line.
    void Done();

    // Seconds since construction.
    double Elapsed() const;

  private:
    std::string verb_;
    int64_t expected_;
    bool enabled_;
    double start_;
    double lastDraw_ = -1.0;
    bool drawn_ = false;
};
