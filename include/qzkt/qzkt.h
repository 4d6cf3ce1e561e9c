/* qzkt.h - the QZKT video codec as a C library (libqzkt)

   QZKT is an intra-frame codec for real-time playback: every frame is a self-contained key
   frame, a 28-byte header and a payload of 4x4 colour blocks, packed with LZF unless that
   does not make it smaller. Three block kinds:

     DXT1   8 bytes a block, opaque, 5:6:5 endpoints         decoded on the GPU (OpenGL)
     DXT5   16 bytes a block, with the alpha channel         decoded on the GPU (OpenGL)
     DXT24  10 bytes a block, opaque, exact 8:8:8 endpoints  decoded on the CPU; the encoder
                                                             can spread a frame over threads

   docs/format.md describes the bytes for people who write their own decoder.

   HOW TO USE IT

     qzkt_settings s;
     qzkt_default_settings(&s);                        // DXT24 + LZF, one thread
     qzkt_encoder* enc;
     if (qzkt_encoder_create(1920, 1080, &s, &enc) != QZKT_OK) ...
     size_t capacity = qzkt_max_frame_size(1920, 1080, &s);
     uint8_t* frame = malloc(capacity);
     size_t used;
     qzkt_result r = qzkt_encode(enc, argb, 0, frame, capacity, &used);

     qzkt_decoder* dec;
     qzkt_decoder_create(1920, 1080, QZKT_RENDERER_AUTO, &dec);
     r = qzkt_decode(dec, frame, used, argb_out, 0);
     if (r != QZKT_OK) fprintf(stderr, "%s: %s\n", qzkt_result_text(r), qzkt_decoder_problem(dec));
     qzkt_decoder_destroy(dec);
     qzkt_encoder_destroy(enc);

   Build with `pkg-config --cflags --libs qzkt` (add --static for libqzkt.a).

   PIXELS. Pictures are 32-bit ARGB: four bytes a pixel in memory order alpha, red, green,
   blue; the top row first; rows row_bytes apart (row_bytes 0 means width * 4, tightly
   packed). Sizes are 1..QZKT_MAX_SIDE (32767) pixels a side. Frames carry no size of their own: the decoder
   must be told the width and height the encoder was given (a movie file keeps them in its
   sample description).

   BUFFERS. Every buffer is the caller's. The library reads pixels and frames, and writes
   frames and pixels, only during the call that is given them, and keeps no pointer to them.

   RESULTS. Every call that can fail returns a qzkt_result; QZKT_BAD_ARGUMENTS is always a
   mistake of the calling program (checked before any work is done), QZKT_DAMAGED_FRAME
   always a problem of the data. Nothing is printed.

   THREADS. An encoder or a decoder is used by one thread at a time. Different encoders and
   decoders may be used on different threads at the same time, with any settings, and every
   frame is byte-identical to the one a single-threaded program would get. The functions that
   take no encoder or decoder may be called from any thread at any time; qzkt_settings_dialog
   runs one dialog at a time (a second caller waits).

   THE PROCESS. The library registers its compressor and decompressor once, on first use.
   The DXT24 encoder keeps a process-wide pool of worker threads (started by the first frame
   that asks for more than one thread, and stopped when the process exits), driven by named
   POSIX semaphores that are made when the process first opens the compressor (creating an
   encoder, reading the settings or running the dialog), never when the library is loaded:
   decoding and inspecting frames never touch /dev/shm. The library first checks that
   /dev/shm can hold them; when it cannot (full, read-only, missing), that call returns
   QZKT_CODEC_ERROR and qzkt_last_problem says why. Each name
   ("/dev/shm/sem.kelstart_<pid>_<n>") is removed right after its semaphore is opened, so
   only a process killed in that instant (microseconds, once per process) can leave one
   behind, and the next process that opens the compressor removes such names once they are
   a few seconds old (glibc's own temporary "sem.XXXXXX", made inside sem_open, can be left
   by a kill inside that call and is not touched). A name that another process has taken
   (the same id in another PID namespace sharing /dev/shm) is skipped for the next number.
   A child made with fork() gets a pool of its own: encoders it opens after the fork make
   their own semaphores, and the parent's pool is unaffected (an encoder the child inherited
   encodes on its calling thread until then, with the same bytes).

   SETTINGS FILE. The machine-wide settings (what an encoder created with settings NULL
   uses) live in the 16-byte file "KELPreferences.dat": four little-endian unsigned 32-bit
   numbers, alpha, dxt24, no_lzf and thread_setting. Its folder is
   "/Library/Preferences/Quenholt/" when that folder exists, otherwise
   "$XDG_CONFIG_HOME/qzkt/" ("~/.config/qzkt/" when XDG_CONFIG_HOME is unset or not an
   absolute path), or the folder a program set with qzkt_set_settings_folder. The folder is
   created on the first save.

   ABI. libqzkt.so.1 exports only the qzkt_* functions below. Structures keep their size and
   layout within major version 1; sizes are given for 64-bit Linux.
*/
#ifndef QZKT_QZKT_H
#define QZKT_QZKT_H

#include <stddef.h>
#include <stdint.h>

#if defined(QZKT_BUILDING_LIBRARY) && defined(__GNUC__)
#define QZKT_API __attribute__((visibility("default")))
#else
#define QZKT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The library's version, "MAJOR.MINOR.PATCH" (such as "1.2.0"); a static string. MAJOR is
   the 1 of libqzkt.so.1: it changes only when programs built against an older header could
   break. */
QZKT_API const char* qzkt_version(void);

/* The largest width and height of a frame, in pixels (the smallest is 1). */
enum { QZKT_MAX_SIDE = 32767 };

/* ---------------------------------------------------------------------------------------- */
/* Results */

typedef enum qzkt_result {
    QZKT_OK = 0,
    QZKT_BAD_ARGUMENTS,    /* caller mistake: null pointer, size out of range, short stride */
    QZKT_BUFFER_TOO_SMALL, /* encode: capacity below the frame's size */
    QZKT_DAMAGED_FRAME,    /* decode: the frame's bytes are inconsistent; destination untouched */
    QZKT_NO_RENDERER,      /* decode: a DXT1/DXT5 frame and no usable OpenGL renderer */
    QZKT_OUT_OF_MEMORY,
    QZKT_CODEC_ERROR,        /* a component returned another status */
    QZKT_SETTINGS_NOT_SAVED, /* settings: the settings file or its folder could not be written
                               (errno tells why) */
    QZKT_SETTINGS_NOT_READ   /* settings: the settings file exists but cannot be read (errno
                                tells why; since 1.5) */
} qzkt_result;

/* A short English description of result ("bad arguments", ...); a static string, also for
   values this version does not know. */
QZKT_API const char* qzkt_result_text(qzkt_result result);

/* One line saying why the last call on this thread that opened the compressor
   (qzkt_encoder_create, qzkt_read_settings, qzkt_settings_dialog, qzkt_max_frame_size with
   settings NULL) failed, when the library knows more than its result (since 1.5), such as
   "cannot create the DXT24 encoder's named semaphores in /dev/shm: Read-only file system";
   "" otherwise. Valid until the next such call on this thread. */
QZKT_API const char* qzkt_last_problem(void);

/* ---------------------------------------------------------------------------------------- */
/* Settings (16 bytes) */

typedef struct qzkt_settings {
    int alpha;          /* 1: DXT5 blocks that keep the alpha channel */
    int dxt24;          /* 1: DXT24 blocks when alpha is 0; 0: DXT1 */
    int no_lzf;         /* 1: store the blocks without LZF */
    int thread_setting; /* 1..9 as the settings dialog offers them */
} qzkt_settings;
/* alpha, dxt24 and no_lzf are 0 or 1. Alpha wins: alpha 1 gives DXT5 whatever dxt24 says.
   Thread settings (DXT24 only; DXT1 and DXT5 frames are always encoded on the calling
   thread): 1 one worker per physical core, 2 one thread (the calling one), 3..9 2, 4, 6, 8,
   12, 16 and 24 workers. The bytes of a frame never depend on the thread setting. */

/* The settings a machine without a settings file has: alpha 0, dxt24 1, no_lzf 0,
   thread_setting 2 (DXT24 + LZF on the calling thread). NULL is ignored. */
QZKT_API void qzkt_default_settings(qzkt_settings* settings);

/* The machine-wide settings, as an encoder created with settings NULL gets them: the
   settings file, or the defaults when there is none (an unreadable file counts as none:
   qzkt_check_settings_file tells the two apart).
   The compressor reads the file and normalises it (values other than 1 read as 0, a
   thread setting outside 1..9 as 2). QZKT_BAD_ARGUMENTS for NULL. */
QZKT_API qzkt_result qzkt_read_settings(qzkt_settings* settings);

/* Whether the settings file, when there is one, can be read (since 1.5): QZKT_OK when it can
   or when there is none; QZKT_SETTINGS_NOT_READ when the name exists but is not a regular file
   (a fifo, a folder: never opened in a way that could block) or cannot be read (errno tells
   why, EISDIR or EINVAL for the wrong kind of file). The compressor, qzkt_read_settings and
   encoders created with settings NULL then use the defaults, so a program should say so, and
   should not save settings over such a file unless it means to replace all four. */
QZKT_API qzkt_result qzkt_check_settings_file(void);

/* Writes settings to the settings file, creating its folder and the folder's missing
   parents (except the system's own folder, which is never created). The file is replaced
   in one step: a reader sees the old or the new settings, never a mix. QZKT_BAD_ARGUMENTS
   for NULL or a value out of range; QZKT_SETTINGS_NOT_SAVED when the folder or the file
   cannot be written (errno tells why; the old file, if any, is unchanged). */
QZKT_API qzkt_result qzkt_save_settings(const qzkt_settings* settings);

/* Runs the compressor's own settings dialog on the terminal (/dev/tty, so it works with
   redirected standard streams and over SSH): three popups (alpha channel, compression,
   DXT24 threads), Up/Down to move, Left/Right or 1-9 to choose, Enter to save, Esc to
   cancel. On Enter the compressor saves the settings file and *saved is 1; then settings
   holds the new settings, otherwise the unchanged machine-wide ones. Without a terminal the
   dialog is cancelled at once (QZKT_OK, *saved 0). QZKT_SETTINGS_NOT_SAVED when the person
   confirmed but the file could not be written (*saved is then 0). Takes the terminal for
   as long as the person needs; one dialog runs at a time. */
QZKT_API qzkt_result qzkt_settings_dialog(qzkt_settings* settings, int* saved);

/* Makes folder (copied) the settings folder for the rest of the process: every later read,
   save, dialog and encoder created with settings NULL uses it. A relative path is taken
   relative to the working directory at each use. NULL or "" returns to the default choice
   described at the top. Other threads see the change from their next call. Always
   QZKT_OK (the folder need not exist yet). */
QZKT_API qzkt_result qzkt_set_settings_folder(const char* folder);

/* The settings folder a call would use now, ending in '/'. The string stays valid until the
   process ends. */
QZKT_API const char* qzkt_settings_folder(void);

/* How many DXT24 worker threads thread_setting gives on this machine (1 for setting 2,
   the number of physical cores for setting 1, the table above for 3..9); 0 for a thread
   setting outside 1..9. */
QZKT_API int qzkt_thread_count(int thread_setting);

/* The thread setting for a number of DXT24 workers, as a program's "threads" option would
   choose it (since 1.4): 1, one worker per physical core, for workers 0; otherwise the
   setting of 2..9 whose worker count is nearest (the smaller count on a tie: 3 workers give
   setting 3, 2 threads). 0 for a negative number of workers. */
QZKT_API int qzkt_thread_setting_for(int workers);

/* The largest frame an encoder of width x height pixels with these settings can write
   (NULL: the machine-wide settings); 0 for a size out of range or invalid settings. A
   capacity of this size never gives QZKT_BUFFER_TOO_SMALL. */
QZKT_API size_t qzkt_max_frame_size(int width, int height, const qzkt_settings* settings);

/* ---------------------------------------------------------------------------------------- */
/* Encoding */

typedef struct qzkt_encoder qzkt_encoder;

/* Opens an encoder for width x height frames (1..32767 each side). settings NULL: the
   machine-wide settings, as any host of the compressor gets them (read once, now); else
   these (copied). On QZKT_OK *encoder is a new encoder that qzkt_encoder_destroy frees;
   otherwise *encoder is NULL. QZKT_BAD_ARGUMENTS for NULL encoder, a size out of range or a
   setting out of range. */
QZKT_API qzkt_result qzkt_encoder_create(int width, int height, const qzkt_settings* settings,
                                         qzkt_encoder** encoder);

/* The settings encoder uses. QZKT_BAD_ARGUMENTS for NULL pointers. */
QZKT_API qzkt_result qzkt_encoder_settings(const qzkt_encoder* encoder, qzkt_settings* settings);

/* argb: width x height pixels, bytes A,R,G,B, rows row_bytes apart (0 = width*4) */
/* Encodes one picture into frame, which has room for capacity bytes, and stores the frame's
   size in *frame_size. The picture is only read. QZKT_BUFFER_TOO_SMALL when the frame is
   larger than capacity: frame is then untouched and *frame_size holds the size it needs
   (qzkt_max_frame_size is always enough). QZKT_BAD_ARGUMENTS for NULL pointers or a
   row_bytes below width * 4 or above 2^31 - 1 (*frame_size is then 0 when it is not NULL). */
QZKT_API qzkt_result qzkt_encode(qzkt_encoder* encoder, const uint8_t* argb, size_t row_bytes, uint8_t* frame,
                                 size_t capacity, size_t* frame_size);

/* Closes encoder; NULL is ignored. */
QZKT_API void qzkt_encoder_destroy(qzkt_encoder* encoder);

/* ---------------------------------------------------------------------------------------- */
/* Decoding */

/* Where a decoder's DXT1/DXT5 frames decode (DXT24 frames always decode on the CPU):
   AUTO      a hardware OpenGL renderer when there is one, otherwise the CPU decoder;
   HARDWARE  a hardware OpenGL renderer, or QZKT_NO_RENDERER;
   SOFTWARE  an OpenGL renderer, a software one (Mesa's llvmpipe) accepted too;
   CPU       the CPU decoder, with no OpenGL at all (since 1.7).
   The CPU decoder gives exactly the pixels Mesa's llvmpipe gives (docs/format.md names the
   rounding), so a machine without a GPU gets the same pictures either way, many times
   faster on the CPU decoder. A GPU's pixels are rounded its own way, and reading them back
   costs more than the CPU decoder's work on a fast CPU: an H100 gave about a quarter of one
   Xeon core's DXT1 frame rate (1080p, one decoder each). Ask for CPU to decode into memory
   on such a machine. */
typedef enum qzkt_renderer {
    QZKT_RENDERER_AUTO,
    QZKT_RENDERER_HARDWARE,
    QZKT_RENDERER_SOFTWARE,
    QZKT_RENDERER_CPU
} qzkt_renderer;

/* Whether this machine can decode DXT1/DXT5 frames as renderer says: 1 or 0 (0 also for an
   unknown value; always 1 for AUTO and CPU, which need no OpenGL). For HARDWARE and SOFTWARE
   it opens and closes a context: takes a few milliseconds. */
QZKT_API int qzkt_renderer_available(qzkt_renderer renderer);

typedef struct qzkt_decoder qzkt_decoder;

/* A frame does not carry its picture's size: the movie (its track's sample description)
   does, and the decoder is told it here. What can be checked is checked: the header's sizes
   against the frame's bytes, and the payload's size against the block count of width x
   height, so a frame of another block count is QZKT_DAMAGED_FRAME. A frame of another size
   with the same block count (8x4 blocks read as 4x8) cannot be told apart and decodes to a
   scrambled picture with QZKT_OK: take the size from the container.
   Opens a decoder for width x height frames (1..32767 each side). Its OpenGL context is
   made on its first DXT1/DXT5 frame and kept until qzkt_decoder_destroy; it is current only
   during a qzkt_decode call. On QZKT_OK *decoder is a new decoder that
   qzkt_decoder_destroy frees; otherwise *decoder is NULL. QZKT_BAD_ARGUMENTS for NULL
   decoder, a size out of range or an unknown renderer. */
QZKT_API qzkt_result qzkt_decoder_create(int width, int height, qzkt_renderer renderer,
                                         qzkt_decoder** decoder);

/* writes exactly width x height pixels (A,R,G,B) into argb, rows row_bytes apart (0 = width*4) */
/* Decodes the frame_size bytes at frame (bytes after the frame's last part are ignored).
   Bytes between width * 4 and row_bytes are left alone. QZKT_DAMAGED_FRAME when the frame's
   bytes are inconsistent (shorter than a header, parts reaching past frame_size, ...):
   argb is untouched. QZKT_NO_RENDERER for a DXT1/DXT5 frame when the decoder's renderer
   choice finds no OpenGL renderer (or the frame exceeds the renderer's texture limits):
   argb is untouched. Any bytes are data: a frame_size of 0 (frame may then be NULL) is a
   damaged frame. QZKT_BAD_ARGUMENTS for a NULL decoder or argb, a NULL frame with a non-zero
   frame_size, a row_bytes below width * 4 or above 2^31 - 1, or a frame_size above 2^31 - 1.
   qzkt_decoder_problem says more after any result but QZKT_OK.
   Speed: a picture of 2 MiB or more (1080p is 8 MB) whose argb and row_bytes are multiples
   of 64 is written by the CPU decoders with streaming stores, straight to memory, as a
   picture that size leaves the cache before it is read anyway; give such buffers (as
   posix_memalign or a page-sized allocation does). Smaller pictures stay in the cache. */
QZKT_API qzkt_result qzkt_decode(qzkt_decoder* decoder, const uint8_t* frame, size_t frame_size,
                                 uint8_t* argb, size_t row_bytes);

/* One line saying why the last qzkt_decode did not return QZKT_OK, such as "payload reaches
   past the frame's end"; "" after QZKT_OK. Valid until the next qzkt_decode or
   qzkt_decoder_destroy of this decoder. "" for NULL. */
QZKT_API const char* qzkt_decoder_problem(const qzkt_decoder* decoder);

/* The name of the OpenGL renderer this decoder uses (such as "llvmpipe (LLVM 15.0.6, 256
   bits)"); "" until a DXT1/DXT5 frame made its context. Valid until qzkt_decoder_destroy.
   "" for NULL. */
QZKT_API const char* qzkt_decoder_renderer_name(const qzkt_decoder* decoder);

/* Where this decoder's DXT1/DXT5 frames decode: "cpu" (the CPU decoder) or "opengl" (an
   OpenGL renderer, which qzkt_decoder_renderer_name names once it drew a frame). For AUTO the
   first call asks whether there is a hardware renderer (a few milliseconds, once per
   process). "" for NULL. Since 1.7. */
QZKT_API const char* qzkt_decoder_s3tc_path(const qzkt_decoder* decoder);

/* Closes decoder, releasing its OpenGL context; NULL is ignored. */
QZKT_API void qzkt_decoder_destroy(qzkt_decoder* decoder);

/* ---------------------------------------------------------------------------------------- */
/* Inspecting frames */

/* What the payload's blocks are, as the decoder reads the header. */
typedef enum qzkt_block_kind {
    QZKT_BLOCKS_DXT1 = 0,            /* block kind byte not 1, alpha flag 0: 8-byte blocks */
    QZKT_BLOCKS_DXT5 = 1,            /* block kind byte not 1, alpha flag set: 16-byte blocks */
    QZKT_BLOCKS_DXT24 = 2,           /* block kind byte 1, alpha flag 0: 10-byte blocks */
    QZKT_BLOCKS_DXT24_ALPHA_FLAG = 3 /* block kind byte 1 with the alpha flag: never written
                                        by this encoder; 18 bytes a block are reserved, the
                                        decoder reads the first 10 of every 10 as DXT24 */
} qzkt_block_kind;

/* A frame's header and checks (88 bytes). Filled by qzkt_inspect_frame. */
typedef struct qzkt_frame_info {
    int has_header;      /* 1 when the frame holds a whole header and the header
                            fields below were read; 0 leaves them 0 */
    int intact;          /* 1 when every stored part lies inside the frame */
    const char* problem; /* "intact", or why not, such as "payload reaches past the
                            frame's end"; a static string */
    /* The header, byte offsets in brackets (little-endian) */
    uint32_t header_size;       /* [0]  the payload starts this far into the frame (28) */
    uint32_t plane_width;       /* [8]  second plane, never written by this encoder: 0 */
    uint32_t plane_height;      /* [12] 0 */
    uint32_t stored_size;       /* [16] payload bytes as stored (after LZF) */
    uint32_t plane_stored_size; /* [20] 0 */
    uint8_t version;            /* [4]  1 */
    uint8_t alpha;              /* [5]  alpha flag */
    uint8_t packing;            /* [6]  1: the payload is LZF-packed; other values: raw */
    uint8_t plane_packing;      /* [7]  0 */
    uint8_t plane_pixel_size;   /* [24] 0 */
    uint8_t block_colour_plane; /* [25] 1 when the encoder's dxt24 setting was 0, else 0 */
    uint8_t block_kind_byte;    /* [26] 1: DXT24 blocks; 0: DXT1/DXT5 blocks */
    uint8_t reserved_byte;      /* [27] 0 */
    qzkt_block_kind kind;       /* from bytes 26 and 5 */
    uint32_t reserved_for_future;
    size_t payload_size;  /* the payload's size before packing for width x height:
                             ceil(width/4) * ceil(height/4) * bytes per block */
    uint32_t reserved[6]; /* 0 */
} qzkt_frame_info;

/* Reads the header of the frame_size bytes at frame, as a frame of width x height pixels,
   and checks that its stored parts lie inside frame_size bytes. QZKT_OK for an intact
   frame, QZKT_DAMAGED_FRAME for a damaged one (info says why and holds the header when
   there is one), QZKT_BAD_ARGUMENTS for a NULL info, a NULL frame with a non-zero size or
   a size out of range (info is then zeroed but for problem, "bad arguments", when it is not
   NULL). Decodes nothing: an intact frame can still hold an LZF stream that does not
   unpack. */
QZKT_API qzkt_result qzkt_inspect_frame(const uint8_t* frame, size_t frame_size, int width, int height,
                                        qzkt_frame_info* info);

/* ---------------------------------------------------------------------------------------- */
/* Unpacking frames (since 1.6): the blocks, for hosts that decode them themselves (a GPU
   path that uploads DXT1/DXT5 blocks as compressed textures and decodes DXT24 blocks in a
   shader, as docs/format.md describes them). */

/* What qzkt_unpack_frame wrote (64 bytes): the frame's blocks as the decoder reads them, in raster order
   (left to right, top to bottom), ceil(width/4) x ceil(height/4) of them. */
typedef struct qzkt_blocks_info {
    qzkt_block_kind kind;  /* as qzkt_frame_info.kind */
    uint32_t block_bytes;  /* bytes a block: 8 (DXT1), 16 (DXT5) or 10 (DXT24; also for
                              QZKT_BLOCKS_DXT24_ALPHA_FLAG, whose payload holds 18 bytes a
                              block of which the decoder reads the first blocks * 10 as DXT24) */
    int blocks_across;     /* ceil(width / 4) */
    int blocks_down;       /* ceil(height / 4) */
    size_t size;           /* blocks_across * blocks_down * block_bytes: the bytes written */
    uint32_t reserved[10]; /* 0 */
} qzkt_blocks_info;

/* The largest blocks a width x height frame can hold (ceil(width/4) * ceil(height/4) * 16):
   a buffer of this size takes any frame's blocks. 0 for a size out of range. */
QZKT_API size_t qzkt_max_blocks_size(int width, int height);

/* Checks the frame_size bytes at frame as qzkt_decode does, as a frame of width x height
   pixels, and unpacks its payload (LZF-packed or stored) into blocks: the bytes the decoder
   decodes, nothing of the second plane. Decodes nothing and needs no renderer.
   QZKT_OK: info says what blocks holds (its first info->size bytes; the rest is untouched).
   QZKT_DAMAGED_FRAME: the frame is damaged (as qzkt_inspect_frame tells why); blocks is
   untouched and info is zeroed. QZKT_BUFFER_TOO_SMALL: capacity is below info->size; info
   is filled, blocks untouched. QZKT_BAD_ARGUMENTS for a NULL info, a NULL frame with a
   non-zero frame_size, NULL blocks with a non-zero capacity, or a size out of range (info
   zeroed when not NULL). Any thread, no state: frames of any size may be unpacked at once. */
QZKT_API qzkt_result qzkt_unpack_frame(const uint8_t* frame, size_t frame_size, int width, int height,
                                       uint8_t* blocks, size_t capacity, qzkt_blocks_info* info);

/* The body of a GLSL fragment shader that draws the blocks of this kind, as qzkt_unpack_frame
   writes them, into RGBA pixels; a static string, NULL for an unknown kind. Prepend the version
   line: "#version 130" (desktop OpenGL 3.0 or later) or "#version 300 es" (OpenGL ES 3.0).
   Pixel (x, y) of the picture is drawn at the fragment whose window coordinates are
   (x + 0.5, y + 0.5): row 0 is the picture's top row and the first row of the target in
   memory. Its one output is `out vec4 qzkt_rgba`.
   DXT24 (either kind): `uniform usampler2D qzkt_blocks`, an R8UI texture of
   (10 * blocks_across) x blocks_down texels, texel (10 bx + k, by) = byte k of block (bx, by)
   (upload the blocks as they are, GL_UNPACK_ALIGNMENT 1, GL_RED_INTEGER). The palette is the
   CPU decoder's integer one: an 8-bit target gets exactly qzkt_decode's bytes.
   DXT1, DXT5: `uniform sampler2D qzkt_texture`, the blocks uploaded as one
   GL_COMPRESSED_RGBA_S3TC_DXT1_EXT (DXT1) or GL_COMPRESSED_RGBA_S3TC_DXT5_EXT (DXT5) texture of
   (4 * blocks_across) x (4 * blocks_down) texels: the GPU's own S3TC sampling, as the
   decoder's OpenGL path uses it. */
QZKT_API const char* qzkt_glsl_fragment_shader(qzkt_block_kind kind);

/* ---------------------------------------------------------------------------------------- */
/* Test pictures and quality (since 1.3) */

/* Fills a generated test picture of width x height pixels (1..QZKT_MAX_SIDE each side) into
   argb, rows row_bytes apart (0 = width*4; bytes between width * 4 and row_bytes are left
   alone): smooth gradients, hard edges, thin lines, text-like detail and noise, the content
   moving with frame (any value; consecutive values make a short clip). Opaque (alpha 255)
   when with_alpha is 0; otherwise with a soft alpha ramp and a hard-edged transparent shape.
   The same arguments give the same bytes in every version 1 library, so the pictures can
   serve as fixed inputs for integration tests and benchmarks. QZKT_BAD_ARGUMENTS for a NULL
   argb, a size out of range or a row_bytes below width * 4 or above 2^31 - 1. */
QZKT_API qzkt_result qzkt_test_picture(uint8_t* argb, int width, int height, size_t row_bytes, int frame,
                                       int with_alpha);

/* The peak signal-to-noise ratio, in dB, of the red, green and blue bytes of two ARGB
   pictures of width x height pixels (alpha is ignored), rows a_row_bytes and b_row_bytes
   apart (0 = width*4): 10 log10(255^2 / mean squared difference); 99.0 for identical
   pictures. -1.0 for a NULL picture, a size out of range or a row_bytes below width * 4 or
   above 2^31 - 1. */
QZKT_API double qzkt_psnr(const uint8_t* a, size_t a_row_bytes, const uint8_t* b, size_t b_row_bytes,
                          int width, int height);

#ifdef __cplusplus
}
#endif

#endif /* QZKT_QZKT_H */
