// A frame source narrowed to a time range (--start, --duration, --frames), as ffmpeg's -ss,
// -t and -frames:v select frames.
#include "media/frame_source.h"
#include "media/stream_copy.h"
#include "media/time_range.h"

namespace {

class RangeSource : public FrameSource {
  public:
    RangeSource(std::unique_ptr<FrameSource> inner, const TimeRange& range)
        : inner_(std::move(inner)), window_(range, inner_->timeBase(), inner_->startTime()) {
        width_ = inner_->width();
        height_ = inner_->height();
        timeBase_ = inner_->timeBase();
        frameRate_ = inner_->frameRate();
        expectedFrames_ = window_.Expected(inner_->expectedFrames());
        files_ = inner_->files();
        hasAlpha_ = inner_->hasAlpha();
        startTime_ = window_.Shift(inner_->startTime());
    }

    const AVFormatContext* format() const override { return inner_->format(); }
    int videoIndex() const override { return inner_->videoIndex(); }
    bool retimed() const override { return inner_->retimed(); }
    void CopyOthersTo(StreamCopier* copier) override {
        copier->SetWindow(window_.fromMicros(), window_.toMicros(), window_.shiftMicros());
        if (window_.endsByCount()) copier->HoldAll(); // until the last frame says where the range ends
        copier_ = copier;
        inner_->CopyOthersTo(copier);
    }

    bool Next(ArgbFrame& frame) override {
        while (!stopped_ && inner_->Next(frame)) {
            const FrameWindow::Verdict verdict = window_.Judge(frame.pts);
            if (verdict == FrameWindow::kStop) break;
            if (verdict == FrameWindow::kSkip) continue;
            frame.pts = window_.Shift(frame.pts);
            return true;
        }
        stopped_ = true;
        if (copier_ != nullptr && window_.endsByCount()) copier_->EndAt(window_.TakenEndMicros(frameRate_));
        return false;
    }

    std::string Damage() const override { return window_.stoppedEarly() ? "" : inner_->Damage(); }

  private:
    std::unique_ptr<FrameSource> inner_;
    FrameWindow window_;
    StreamCopier* copier_ = nullptr;
    bool stopped_ = false;
};

} // namespace

std::unique_ptr<FrameSource> SelectRange(std::unique_ptr<FrameSource> source, const TimeRange& range) {
    if (!range.Any()) return source;
    return std::make_unique<RangeSource>(std::move(source), range);
}
