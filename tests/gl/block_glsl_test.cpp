// The GLSL block decoders (block_glsl.h) drawn on this machine's renderer: DXT24 gives exactly
// the CPU decoder's bytes at every size, whole and partial blocks, up to nearly full HD; DXT1
// and DXT5 give the reference S3TC decoding within the bound the format document states (2 a
// channel; alpha exact), under "#version 130" as a desktop host compiles them.
#define GL_GLEXT_PROTOTYPES 1
#include <GL/gl.h>
#include <GL/glext.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "blocks/block_glsl.h"
#include "blocks/dxt24_decode.h"
#include "gl_test_context.h"
#include "support/frame_builders.h"
#include "support/reference_pictures.h"

namespace {

// One triangle over the whole viewport, from gl_VertexID alone.
const char kVertexShader[] = R"(#version 130
void main() {
    gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);
}
)";

GLuint Compile(GLenum stage, const std::string& source) {
    const GLuint shader = glCreateShader(stage);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint ok = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    char log[2048] = {};
    glGetShaderInfoLog(shader, sizeof log, nullptr, log);
    EXPECT_EQ(ok, GL_TRUE) << log;
    return shader;
}

// Draws the bound texture through the kind's shader into a width x height RGBA8 target and
// reads it back, rows width * 4 bytes apart, the first row first.
Bytes Draw(BlockKind kind, int width, int height) {
    const GLuint program = glCreateProgram();
    const GLuint vertex = Compile(GL_VERTEX_SHADER, kVertexShader);
    const GLuint fragment =
        Compile(GL_FRAGMENT_SHADER, std::string("#version 130\n") + BlockFragmentShader(kind));
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    EXPECT_EQ(linked, GL_TRUE);
    glUseProgram(program);
    glUniform1i(glGetUniformLocation(program, kind == BlockKind::kDXT24 ? "qzkt_blocks" : "qzkt_texture"), 0);

    // The target on unit 1: unit 0 holds the blocks.
    GLuint target = 0, framebuffer = 0;
    glActiveTexture(GL_TEXTURE1);
    glGenTextures(1, &target);
    glBindTexture(GL_TEXTURE_2D, target);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glActiveTexture(GL_TEXTURE0);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
    glViewport(0, 0, width, height);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    Bytes rgba(size_t(width) * height * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteTextures(1, &target);
    glDeleteProgram(program);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    return rgba;
}

class BlockGLSLTest : public GLContextTest {};

} // namespace

TEST_F(BlockGLSLTest, DXT24ShaderGivesTheCPUDecodersBytes) {
    for (const auto& size : {std::pair<int, int>{1, 1}, {5, 3}, {37, 29}, {1918, 1078}}) {
        const int across = (size.first + 3) / 4, down = (size.second + 3) / 4;
        const int w = across * 4, h = down * 4; // whole blocks, as the CPU decoder writes them
        SCOPED_TRACE(std::to_string(size.first) + "x" + std::to_string(size.second));
        // Random blocks, and blocks whose endpoints are extremes and equal, so that every
        // palette entry and rounding of the thirds is met.
        Bytes blocks = RandomBytes(size_t(across) * down * 10, unsigned(w * 7 + h));
        for (size_t b = 0; b + 10 <= blocks.size(); b += 30)
            for (int k = 0; k < 6; ++k)
                blocks[b + k] = k < 3 ? 255 : (b % 60 == 0 ? 255 : 0);

        GLuint texture = 0;
        glGenTextures(1, &texture);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, texture);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_R8UI, across * 10, down, 0, GL_RED_INTEGER, GL_UNSIGNED_BYTE,
                     blocks.data());
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        const Bytes drawn = Draw(BlockKind::kDXT24, w, h);
        glDeleteTextures(1, &texture);

        Bytes argb(size_t(w) * h * 4);
        DecodeDXT24Plain(blocks.data(), argb.data(), w, h, w * 4);
        const Bytes expected = ARGBToRGBA(argb);
        EXPECT_TRUE(drawn == expected)
            << "differs from DecodeDXT24Plain: first pixel " << int(drawn[0]) << " " << int(drawn[1]) << " "
            << int(drawn[2]) << " " << int(drawn[3]) << " against " << int(expected[0]) << " "
            << int(expected[1]) << " " << int(expected[2]) << " " << int(expected[3]);
    }
}

TEST_F(BlockGLSLTest, S3TCShaderSamplesTheBlocksAsTheFormatDecodesThem) {
    if (!ext.QueryExtension("GL_EXT_texture_compression_s3tc")) GTEST_SKIP() << "no S3TC textures";
    for (bool dxt5 : {false, true})
        for (const auto& size : {std::pair<int, int>{5, 3}, {37, 29}}) {
            const int across = (size.first + 3) / 4, down = (size.second + 3) / 4;
            const int w = across * 4, h = down * 4;
            SCOPED_TRACE(std::string(dxt5 ? "DXT5 " : "DXT1 ") + std::to_string(size.first));
            const Bytes blocks = RandomBytes(size_t(across) * down * (dxt5 ? 16 : 8), unsigned(w + h));
            GLuint texture = 0;
            glGenTextures(1, &texture);
            glActiveTexture(GL_TEXTURE0);
            glBindTexture(GL_TEXTURE_2D, texture);
            glCompressedTexImage2D(GL_TEXTURE_2D, 0,
                                   dxt5 ? GL_COMPRESSED_RGBA_S3TC_DXT5_EXT : GL_COMPRESSED_RGBA_S3TC_DXT1_EXT,
                                   w, h, 0, GLsizei(blocks.size()), blocks.data());
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            const Bytes drawn = Draw(dxt5 ? BlockKind::kDXT5 : BlockKind::kDXT1, w, h);
            glDeleteTextures(1, &texture);

            const Bytes reference = ARGBToRGBA(DecodeS3TCPicture(blocks.data(), dxt5, w, h));
            ASSERT_EQ(drawn.size(), reference.size());
            int colour = 0, alpha = 0;
            for (size_t i = 0; i < drawn.size(); ++i) {
                const int difference = std::abs(drawn[i] - reference[i]);
                if (i % 4 == 3)
                    alpha = std::max(alpha, difference);
                else
                    colour = std::max(colour, difference);
            }
            EXPECT_LE(colour, 2);
            EXPECT_LE(alpha, dxt5 ? 2 : 0); // DXT1 alpha is 255 or 0, exactly
        }
}
