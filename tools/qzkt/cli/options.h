// A small command-line parser: flags with and without values, in any order, before or
// after the positional arguments; "--" ends the options.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

class Options {
  public:
    // valueFlags take a value ("--threads 4" or "--threads=4"); plainFlags do not.
    // Throws UsageError for unknown flags, missing values and values given to plain flags.
    Options(const std::vector<std::string>& args, const std::set<std::string>& plainFlags,
            const std::set<std::string>& valueFlags);

    bool Has(const std::string& flag) const { return values_.count(flag) != 0; }
    // Prints help to standard output when --help (or -h) was given, and says so.
    bool PrintedHelp(const char* help) const;
    // The flag's value, or fallback when it was not given.
    std::string Value(const std::string& flag, const std::string& fallback = "") const;
    const std::vector<std::string>& positional() const { return positional_; }

  private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> positional_;
};

// Thrown for command lines that cannot be understood; main prints it with a pointer to
// --help and exits with status 2.
class UsageError : public std::exception {
  public:
    explicit UsageError(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

  private:
    std::string message_;
};
