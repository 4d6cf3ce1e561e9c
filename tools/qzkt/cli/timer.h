// Elapsed wall-clock time for the tool's speed figures and progress line.
#pragma once

#include <chrono>

class Timer {
  public:
    // Seconds since construction or the last ResetTimer.
    double GetElapsedTime() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    void ResetTimer() { start_ = std::chrono::steady_clock::now(); }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};
