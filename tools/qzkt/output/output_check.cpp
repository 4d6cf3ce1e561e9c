// Refusing outputs that would replace an input or something other than a regular file.
#include "output/output_check.h"

#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "cli/options.h"
#include "cli/tool_error.h"

namespace {

struct ProtectedInput {
    dev_t device;
    ino_t inode;
    std::string name;
};

Overwrite g_overwrite = Overwrite::kReplace;

std::vector<ProtectedInput>& Inputs() {
    static std::vector<ProtectedInput> inputs;
    return inputs;
}

const ProtectedInput* InputAt(const struct stat& st) {
    for (const ProtectedInput& input : Inputs())
        if (input.device == st.st_dev && input.inode == st.st_ino) return &input;
    return nullptr;
}

const char* KindName(mode_t mode) {
    if (S_ISDIR(mode)) return "a directory";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISFIFO(mode)) return "a fifo";
    if (S_ISSOCK(mode)) return "a socket";
    return "something";
}

} // namespace

void SetOverwriteChoice(Overwrite choice) {
    g_overwrite = choice;
}

bool OutputsMayReplace() {
    return g_overwrite == Overwrite::kReplace;
}

std::string OverwriteRefusal(const std::string& output) {
    if (g_overwrite == Overwrite::kKeep) return output + " exists; not replaced (-n)";
    return output + " exists; use -y to replace it";
}

void CheckOverwrite(const std::string& output) {
    struct stat st;
    if (!OutputsMayReplace() && lstat(output.c_str(), &st) == 0) throw ToolError(OverwriteRefusal(output));
}

void ProtectInput(const std::string& name) {
    struct stat st;
    const bool found = name == "-" ? fstat(STDIN_FILENO, &st) == 0 : stat(name.c_str(), &st) == 0;
    if (!found || !S_ISREG(st.st_mode) || InputAt(st) != nullptr) return;
    Inputs().push_back({st.st_dev, st.st_ino, name == "-" ? "standard input" : name});
}

void CheckOutputName(const std::string& output) {
    // stat follows symbolic links: a link is judged by what it points to. A name that does not
    // exist (or a link to nothing) is free; creating the file reports any other problem.
    struct stat st;
    if (stat(output.c_str(), &st) != 0) return;
    if (!S_ISREG(st.st_mode))
        throw ToolError("the output " + output + " is " + KindName(st.st_mode) +
                        ", not a regular file; give the name of a file to write");
    if (const ProtectedInput* input = InputAt(st)) {
        if (input->name == output)
            throw ToolError("the output " + output + " is the input file; give another output name");
        throw ToolError("the output " + output + " is the input " + input->name +
                        " under another name; give another output name");
    }
}

void CheckStandardOutput() {
    struct stat st;
    if (fstat(STDOUT_FILENO, &st) != 0 || !S_ISREG(st.st_mode)) return;
    if (const ProtectedInput* input = InputAt(st))
        throw ToolError("standard output is the input " + input->name + "; write to another file");
}

const char* const kOverwriteFlags[2] = {"--overwrite", "--no-overwrite"};

Overwrite OverwriteChoice(const Options& options) {
    const bool yes = options.Has("--overwrite"), no = options.Has("--no-overwrite");
    if (yes && no)
        throw UsageError("-y (replace the output) and -n (never replace it) contradict each other");
    const Overwrite choice = yes ? Overwrite::kReplace : no ? Overwrite::kKeep : Overwrite::kRefuse;
    SetOverwriteChoice(choice);
    return choice;
}
