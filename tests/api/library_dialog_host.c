/* Runs the compressor's settings dialog through the library and prints the outcome.
   Usage: library_dialog_host <settings folder>
   Prints: result <qzkt_result> saved <0|1> alpha <n> dxt24 <n> no_lzf <n> threads <n> */
#include <stdio.h>

#include <qzkt/qzkt.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s <settings folder>\n", argv[0]);
        return 2;
    }
    qzkt_set_settings_folder(argv[1]);
    qzkt_settings settings = {0, 0, 0, 0};
    int saved = -1;
    const qzkt_result result = qzkt_settings_dialog(&settings, &saved);
    printf("result %d saved %d alpha %d dxt24 %d no_lzf %d threads %d\n", (int)result, saved, settings.alpha,
           settings.dxt24, settings.no_lzf, settings.thread_setting);
    return result == QZKT_OK ? 0 : 1;
}
