// A fuzz input as a file, for entry points that read a path: an anonymous memory file
// (memfd), named by its /proc/self/fd path, gone when the object is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class InputFile {
  public:
    // Aborts when the memory file cannot be made: a broken fuzz set-up, not a finding.
    InputFile(const uint8_t* data, size_t size);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& path() const { return path_; }

  private:
    int fd_ = -1;
    std::string path_;
};

// Writes size bytes to path, replacing it; aborts on failure.
void WriteInputTo(const std::string& path, const uint8_t* data, size_t size);
