// Where decoded pictures go, chosen by the output name:
//   "-" or a name ending in ".argb"   raw 32-bit ARGB frames, back to back (stdout for "-")
//   a pattern such as out_%04d.png    one image per frame (any image format FFmpeg writes,
//                                     chosen by the extension; numbering starts at 1)
//   any other name                    a lossless video through FFmpeg's libraries: FFV1
//                                     where the container takes it (.mkv, .avi, .nut),
//                                     otherwise PNG or raw video, with the alpha channel
// Files appear only when complete; an abandoned image sequence removes what it wrote.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

extern "C" {
#include <libavutil/rational.h>
}

struct CarryOver;
class StreamCopier;

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    // Writes one width x height ARGB picture shown at pts (in the time base given at open).
    virtual void Write(const uint8_t* argb, int rowBytes, int64_t pts) = 0;
    // Completes the output. Without it the destructor discards what was written.
    virtual void Finish() = 0;
    // A line that says what is being written, for the tool's report.
    virtual std::string Description() const = 0;
    // A note for the user about a choice the sink made (empty when none).
    virtual std::string Note() const { return note_; }
    // Where the packets of the streams carried over go; null for sinks that carry none.
    virtual StreamCopier* copier() { return nullptr; }

  protected:
    std::string note_;
};

// Throws ToolError for names that cannot be written (bad pattern, unknown container,
// unwritable folder, an input or a non-file: see output_check.h). expectedFrames (0 when
// unknown) is how many images of a sequence to check before the first is written.
// A single image name (frame.png, .tif, .tiff, .jpg, .jpeg, .bmp without a pattern) takes
// exactly one frame. With carry, a video output carries the input's audio and metadata.
// How a video output codes its pictures.
struct VideoCoding {
    bool opaque = false; // every frame's alpha is 255: RGB without alpha is coded
    std::string codec;   // the lossless encoder asked for (-c:v); "" for the container's first
};

std::unique_ptr<FrameSink> OpenFrameSink(const std::string& output, int width, int height,
                                         AVRational timeBase, AVRational frameRate,
                                         int64_t expectedFrames = 0, const CarryOver* carry = nullptr,
                                         const VideoCoding& coding = {});

// True for names that OpenFrameSink treats as an image-sequence pattern.
bool IsImageSequencePattern(const std::string& name);

// True for names of one image file (see OpenFrameSink).
bool IsSingleImageName(const std::string& name);

// The error for a single image name given a movie of `frames` frames.
std::string SingleImageRefusal(const std::string& name, int64_t frames);
