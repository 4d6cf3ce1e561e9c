// Frame and packet times that muxers accept: strictly increasing, with the repairs counted
// for the note the transcoders print.
#pragma once

#include <cstdint>
#include <string>

// Keeps a stream's times strictly increasing, as muxers need them: a time at or before the
// last one becomes the last one plus one (what ffmpeg does to such times), and is counted.
class IncreasingTimes {
  public:
    int64_t Next(int64_t pts) {
        if (started_ && pts <= last_) {
            pts = last_ + 1;
            ++repaired_;
        }
        started_ = true;
        return last_ = pts;
    }
    int64_t repaired() const { return repaired_; }
    bool started() const { return started_; }
    int64_t last() const { return last_; }

  private:
    bool started_ = false;
    int64_t last_ = 0, repaired_ = 0;
};

// "N WHAT times did not increase and were moved forward, as ffmpeg does" (singular for one),
// the note for times repaired as IncreasingTimes and StreamCopier repair them; "" for none.
std::string RepairedTimesNote(int64_t count, const std::string& what);
