// The command-line tool's error type: every failure becomes one clear line on standard
// error and a non-zero exit status (see main.cpp).
#pragma once

#include <stdexcept>
#include <string>

class ToolError : public std::runtime_error {
  public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

// FFmpeg's text for one of its error codes ("Invalid data found when processing input").
std::string AvErrorText(int error);

// The system's text for an errno value.
std::string SystemErrorText(int error);
