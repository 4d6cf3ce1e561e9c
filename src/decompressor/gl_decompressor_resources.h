// The GL objects one decompressor instance owns: its offscreen context (with the entry
// points loaded in it), the block texture, the second-plane texture, the framebuffer it
// renders into, and four program slots. Created empty with the instance; the context and
// everything in it are made by the first frame that needs the GPU and kept for the
// instance's life. Nothing here releases GL objects in a destructor: FreeResources() does,
// with the context current.
#pragma once

#include "gl/gl_context.h"
#include "gl/gl_fbo.h"
#include "gl/gl_texture.h"
#include "gl/glsl_program.h"

// Slots of GLDecompressorResources::programs.
enum : int {
    kTwoTextureProgram = 0, // DXT blocks blended with the second plane (never selected)
    kOneTextureProgram = 1, // DXT blocks, channels rotated to A, R, G, B
    kDXT24Program = 2,      // DXT24 blocks decoded from an integer texture
    kDXT24AlphaProgram = 3, // its alpha counterpart, which does not compile
    kProgramSlots = 4,
};

struct GLDecompressorResources {
    GLContext context;
    GLTexture blockTexture; // the frame's blocks, sampled on texture unit 0
    GLTexture planeTexture; // the optional second plane
    GLFBOClass framebuffer; // render target of the first frame's block-rounded size
    GLSLProgram programs[kProgramSlots];
    unsigned char blockAlpha; // alpha byte of the frame last uploaded into blockTexture

    // With the context current: deletes both textures, the framebuffer's objects and all four
    // programs. Then, in every case, deletes the context.
    void FreeResources();
};

// A new, zero-filled set with every member constructed empty; no GL call is made.
GLDecompressorResources* NewGLDecompressorResources();
