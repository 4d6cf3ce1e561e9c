// Signal-time removal of partial output, and a word on the images an interrupted sequence keeps.
#include "output/interrupt_cleanup.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const size_t kPathSize = 4096;

char temporaryPath[kPathSize];
std::atomic<bool> haveTemporary{false};

// An image pattern split at its number: prefix, digits (at least `width`), suffix.
char imagePrefix[kPathSize];
char imageSuffix[kPathSize];
int imageWidth = 0;
std::atomic<int> imagesWritten{0};
std::atomic<int> imageTakingName{-1};
std::atomic<bool> haveImages{false};

// Builds prefix + number + suffix into out with plain byte copies (no stdio in a handler).
bool ImageName(char* out, int number) {
    char digits[16];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number > 0 && n < 15);
    while (n < imageWidth && n < 15)
        digits[n++] = '0';
    const size_t prefix = std::strlen(imagePrefix), suffix = std::strlen(imageSuffix);
    if (prefix + static_cast<size_t>(n) + suffix >= kPathSize) return false;
    std::memcpy(out, imagePrefix, prefix);
    for (int i = 0; i < n; ++i)
        out[prefix + i] = digits[n - 1 - i];
    std::memcpy(out + prefix + n, imageSuffix, suffix + 1);
    return true;
}

void Say(const char* text) {
    const ssize_t ignored = write(STDERR_FILENO, text, std::strlen(text));
    (void)ignored;
}

void RemovePartialOutput(int signal) {
    if (haveTemporary.load()) unlink(temporaryPath);
    // The images written so far are whole: they are kept, and the line says which they are.
    int written = imagesWritten.load();
    const int taking = imageTakingName.load();
    char first[kPathSize], last[kPathSize];
    struct stat file, named;
    if (taking >= 0 && ImageName(last, written + 1) && fstat(taking, &file) == 0 && stat(last, &named) == 0 &&
        file.st_dev == named.st_dev && file.st_ino == named.st_ino)
        ++written; // the image took its name before the count could say so
    if (haveImages.load() && written > 0 && ImageName(first, 1) && ImageName(last, written)) {
        Say("qzkt decode: interrupted; ");
        Say(first);
        if (written > 1) {
            Say(" to ");
            Say(last);
        }
        Say(written > 1 ? " were written and are kept\n" : " was written and is kept\n");
    }
    std::signal(signal, SIG_DFL);
    raise(signal);
}

void InstallHandler() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    for (int s : {SIGINT, SIGTERM, SIGHUP})
        std::signal(s, RemovePartialOutput);
}

// Copies text into a fixed buffer, turning "%%" into "%"; false when it does not fit.
bool CopyUnescaped(char* out, const std::string& text) {
    size_t n = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') ++i;
        if (n + 1 >= kPathSize) return false;
        out[n++] = text[i];
    }
    out[n] = '\0';
    return true;
}

} // namespace

void RegisterTemporaryFile(const std::string& path) {
    if (path.size() >= kPathSize) return;
    haveTemporary.store(false);
    std::memcpy(temporaryPath, path.c_str(), path.size() + 1);
    haveTemporary.store(true);
    InstallHandler();
}

void ForgetTemporaryFile() {
    haveTemporary.store(false);
}

void RegisterImageSequence(const std::string& pattern) {
    // The number is the one "%d" or "%0Nd" that is not part of "%%".
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') continue;
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            ++i;
            continue;
        }
        size_t j = i + 1;
        int width = 0;
        while (j < pattern.size() && pattern[j] >= '0' && pattern[j] <= '9')
            width = width * 10 + (pattern[j++] - '0');
        if (j >= pattern.size() || pattern[j] != 'd') return;
        haveImages.store(false);
        if (!CopyUnescaped(imagePrefix, pattern.substr(0, i)) ||
            !CopyUnescaped(imageSuffix, pattern.substr(j + 1)))
            return;
        imageWidth = width;
        imagesWritten.store(0);
        haveImages.store(true);
        InstallHandler();
        return;
    }
}

void SetImagesWritten(int count) {
    imagesWritten.store(count);
}

void SetImageTakingName(int fd) {
    imageTakingName.store(fd);
}

void ForgetImageSequence() {
    haveImages.store(false);
}
