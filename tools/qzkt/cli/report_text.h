// The words and numbers of the commands' summary lines.
#pragma once

#include <cstdint>
#include <string>

// "1 frame", "3 frames".
std::string Counted(int64_t count, const std::string& noun);
// "517 bytes", "12.4 KB", "3.1 MB", "1.20 GB" (decimal units).
std::string HumanSize(int64_t bytes);
// The size of a file in bytes; -1 when it cannot be read.
int64_t FileSize(const std::string& path);
