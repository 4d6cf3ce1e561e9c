// Command-line parsing.
#include "cli/options.h"

#include <cstdio>

Options::Options(const std::vector<std::string>& args, const std::set<std::string>& plainFlags,
                 const std::set<std::string>& valueFlags) {
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg == "-" || arg.size() < 2 || arg[0] != '-') {
            positional_.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        std::string flag = arg, value;
        const size_t equals = arg.find('=');
        const bool inlineValue = equals != std::string::npos;
        if (inlineValue) {
            flag = arg.substr(0, equals);
            value = arg.substr(equals + 1);
        }
        // ffmpeg's short names for the options they share with it.
        if (flag == "-h") flag = "--help";
        if (flag == "-y") flag = "--overwrite";
        if (flag == "-n") flag = "--no-overwrite";
        if (flag == "-ss") flag = "--start";
        if (flag == "-t") flag = "--duration";
        if (flag == "-c:v" || flag == "-vcodec") flag = "--codec";
        if (flag == "-start_number") flag = "--start-number";
        if (flag == "-s") flag = "--size";
        if (flag == "-o") flag = "--output-folder";
        if (plainFlags.count(flag)) {
            if (inlineValue) throw UsageError(flag + " takes no value");
            values_[flag] = "";
        } else if (valueFlags.count(flag)) {
            if (!inlineValue) {
                if (i + 1 >= args.size()) throw UsageError(flag + " needs a value");
                value = args[++i];
            }
            values_[flag] = value;
        } else {
            throw UsageError("unknown option " + flag);
        }
    }
}

std::string Options::Value(const std::string& flag, const std::string& fallback) const {
    const auto found = values_.find(flag);
    return found == values_.end() ? fallback : found->second;
}

bool Options::PrintedHelp(const char* help) const {
    if (!Has("--help")) return false;
    std::fputs(help, stdout);
    return true;
}
