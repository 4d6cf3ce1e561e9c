// The tool's commands. Each takes the arguments after its name, returns the process exit
// status, and throws ToolError (one line, status 1) or UsageError (status 2) on failure.
#pragma once

#include <string>
#include <vector>

using Args = std::vector<std::string>;

// Exit statuses shared by all commands.
const int kExitOK = 0;
const int kExitFailure = 1;
const int kExitUsage = 2;
// Finished, but the input was damaged: decode replaced damaged frames, encode kept the frames
// it could read of an input that is damaged or cut short.
const int kExitDamagedFrames = 3;

int RunEncode(const Args& args);
int RunDecode(const Args& args);
int RunInfo(const Args& args);
int RunSettings(const Args& args);
int RunBench(const Args& args);
int RunDemo(const Args& args);
int RunPlay(const Args& args);

// Applies --prefs-dir (every command takes it) before the command touches any settings.
void ApplyPrefsDir(const std::string& dir);
