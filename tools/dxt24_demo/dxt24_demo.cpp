// DXT24 demo: encodes a generated 1920x1080 picture with one thread and with the worker
// pool, decodes it on the CPU, and reports payload size, PSNR and both encode times.
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "dxt24/dxt24_decode.h"
#include "dxt24/dxt24_threaded.h"
#include "pixel/kel_timer.h"
#include "pixel/synthetic_image.h"
#include "platform/semaphore_names.h"

int main() {
    UnlinkCodecSemaphoreNames();

    const int width = 1920, height = 1080, rowBytes = width * 4;
    const int blocks = ((width + 3) / 4) * ((height + 3) / 4);
    const int workers = static_cast<int>(std::thread::hardware_concurrency()) > 1
                            ? static_cast<int>(std::thread::hardware_concurrency())
                            : 2;

    std::vector<unsigned char> image(static_cast<size_t>(rowBytes) * height);
    FillSyntheticARGB(image.data(), width, height, rowBytes, 0);

    std::vector<unsigned short> single(static_cast<size_t>(blocks) * 5);
    std::vector<unsigned short> pooled(single.size());

    // The first multi-threaded call starts the pool; warm it so the timing shows encoding.
    stbCompressARGB32_to24_threaded(workers, pooled.data(), image.data(), width, height, rowBytes, false);

    KELTimer timer;
    stbCompressARGB32_to24_threaded(1, single.data(), image.data(), width, height, rowBytes, false);
    const double singleSeconds = timer.GetElapsedTime();

    timer.ResetTimer();
    stbCompressARGB32_to24_threaded(workers, pooled.data(), image.data(), width, height, rowBytes, false);
    const double pooledSeconds = timer.GetElapsedTime();

    std::vector<unsigned char> decoded(image.size());
    DecodeDXT24(reinterpret_cast<unsigned char*>(single.data()), decoded.data(), width, height, rowBytes);

    const bool same = std::memcmp(single.data(), pooled.data(), single.size() * 2) == 0;
    std::printf("DXT24 demo: %dx%d generated picture (gradients, hard edges, thin lines, text, noise)\n", width,
                height);
    std::printf("  payload          %d bytes (%.2f bits per pixel, %.1f:1 against 32-bit ARGB)\n", blocks * 10,
                blocks * 80.0 / (width * height), static_cast<double>(image.size()) / (blocks * 10));
    std::printf("  PSNR             %.2f dB (RGB, CPU decode)\n",
                PSNRofARGB(image.data(), rowBytes, decoded.data(), rowBytes, width, height));
    std::printf("  encode, 1 thread %.1f ms\n", singleSeconds * 1e3);
    std::printf("  encode, %2d workers %.1f ms (%.2fx), payload %s\n", workers, pooledSeconds * 1e3,
                singleSeconds / pooledSeconds, same ? "identical" : "DIFFERENT");
    return same ? 0 : 1;
}
