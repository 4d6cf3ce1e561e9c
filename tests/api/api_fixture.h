// Shared helpers of the library suites: pictures, frames through the public API, an
// independent construction of the bytes a frame must have, and temporary folders.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qzkt/qzkt.h"
#include "support/frame_builders.h"
#include "support/reference_pictures.h"

// A generated picture (bytes A, R, G, B) in rows rowBytes apart (0: width * 4); padding bytes
// hold 0xEE.
Bytes MakePicture(int width, int height, size_t rowBytes, int frame, bool alpha);

// The frame qzkt_encode makes of picture; fails the test and returns {} when it does not.
Bytes EncodeThroughApi(const Bytes& picture, int width, int height, size_t rowBytes,
                       const qzkt_settings& settings);

// The frame the format prescribes for picture, built without the codec's components: blocks
// from stb_dxt (DXT1/DXT5) or the plain DXT24 image walker, LZF when it shrinks the payload
// and no_lzf is 0, and the 28-byte header.
Bytes ReferenceFrame(const Bytes& picture, int width, int height, size_t rowBytes,
                     const qzkt_settings& settings);

qzkt_settings Settings(int alpha, int dxt24, int noLZF, int threadSetting);

// A fresh folder under /tmp, removed with everything in it at the end of the scope.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// Sets (or, with null, unsets) an environment variable for the rest of the scope.
class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, const char* value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    std::string name_, old_;
    bool hadOld_;
};

Bytes ReadFile(const std::string& path);
