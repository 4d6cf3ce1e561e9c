/* encode_decode: encodes a generated picture with libqzkt and decodes it back, once as DXT24
   (decoded on the CPU) and once as DXT1 (decoded with OpenGL, when there is a renderer),
   printing the sizes and checking that the decoded picture is close to the original.

   Build: cc encode_decode.c $(pkg-config --cflags --libs qzkt) -lm -o encode_decode
   Exit status: 0 when every round trip is good, 1 otherwise. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include <qzkt/qzkt.h>

enum { WIDTH = 640, HEIGHT = 360 };

/* A smooth picture: a gradient with soft circles, opaque. Bytes A, R, G, B. */
static void make_picture(uint8_t* argb) {
    for (int y = 0; y < HEIGHT; y++) {
        for (int x = 0; x < WIDTH; x++) {
            uint8_t* p = argb + ((size_t)y * WIDTH + x) * 4;
            const double ring = 0.5 + 0.5 * sin(hypot(x - 320.0, y - 180.0) / 24.0);
            p[0] = 255;
            p[1] = (uint8_t)(255.0 * x / (WIDTH - 1));
            p[2] = (uint8_t)(255.0 * y / (HEIGHT - 1));
            p[3] = (uint8_t)(255.0 * ring);
        }
    }
}

/* Peak signal-to-noise ratio of the colour channels, in dB. */
static double psnr(const uint8_t* a, const uint8_t* b) {
    double squares = 0.0;
    for (size_t i = 0; i < (size_t)WIDTH * HEIGHT * 4; i++) {
        if (i % 4 == 0) continue; /* alpha */
        const double d = (double)a[i] - (double)b[i];
        squares += d * d;
    }
    const double mse = squares / ((double)WIDTH * HEIGHT * 3);
    return mse == 0.0 ? 99.0 : 10.0 * log10(255.0 * 255.0 / mse);
}

/* Encodes and decodes one picture with these settings; 1 when the round trip is good. */
static int round_trip(const char* name, const qzkt_settings* settings, const uint8_t* picture) {
    qzkt_encoder* encoder = NULL;
    qzkt_decoder* decoder = NULL;
    const size_t capacity = qzkt_max_frame_size(WIDTH, HEIGHT, settings);
    uint8_t* frame = malloc(capacity);
    uint8_t* decoded = malloc((size_t)WIDTH * HEIGHT * 4);
    size_t frame_size = 0;
    int good = 0;
    qzkt_result r = frame && decoded ? QZKT_OK : QZKT_OUT_OF_MEMORY;

    if (r == QZKT_OK) r = qzkt_encoder_create(WIDTH, HEIGHT, settings, &encoder);
    if (r == QZKT_OK) r = qzkt_encode(encoder, picture, 0, frame, capacity, &frame_size);
    if (r == QZKT_OK) r = qzkt_decoder_create(WIDTH, HEIGHT, QZKT_RENDERER_AUTO, &decoder);
    if (r == QZKT_OK) r = qzkt_decode(decoder, frame, frame_size, decoded, 0);
    if (r == QZKT_OK) {
        const double quality = psnr(picture, decoded);
        good = quality >= 35.0;
        printf("%-6s %zu bytes -> %zu bytes (%.1f:1), PSNR %.1f dB: %s\n", name, (size_t)WIDTH * HEIGHT * 4,
               frame_size, (double)WIDTH * HEIGHT * 4 / frame_size, quality, good ? "good" : "too far off");
    } else {
        printf("%-6s failed: %s %s\n", name, qzkt_result_text(r),
               decoder ? qzkt_decoder_problem(decoder) : "");
    }
    qzkt_decoder_destroy(decoder);
    qzkt_encoder_destroy(encoder);
    free(decoded);
    free(frame);
    return good;
}

int main(void) {
    uint8_t* picture = malloc((size_t)WIDTH * HEIGHT * 4);
    if (picture == NULL) return 1;
    make_picture(picture);
    printf("libqzkt %s, %dx%d picture\n", qzkt_version(), WIDTH, HEIGHT);

    qzkt_settings settings;
    qzkt_default_settings(&settings); /* DXT24 blocks, LZF */
    int good = round_trip("DXT24", &settings, picture);

    if (qzkt_renderer_available(QZKT_RENDERER_AUTO)) {
        settings.dxt24 = 0; /* DXT1 blocks, decoded with OpenGL */
        good &= round_trip("DXT1", &settings, picture);
    } else {
        printf("DXT1   skipped: no OpenGL renderer on this machine\n");
    }
    free(picture);
    return good ? 0 : 1;
}
