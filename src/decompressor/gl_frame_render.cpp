// The per-frame GL sequence: context, uploads, framebuffer, program, quad, read-back.
#include "gl_frame_render.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <cstdint>

#include "decode_shaders.h"
#include "stream/kel_header.h"

namespace {

// One corner of the quad: the same texture coordinate on units 0 and 1, then the vertex,
// given directly in clip coordinates (both matrices stay identity).
void Corner(GLExtensions& ext, float s, float t, float x, float y) {
    if (ext.ARB_multitexture) {
        ext.glMultiTexCoord2fARB(GL_TEXTURE0_ARB, s, t);
        ext.glMultiTexCoord2fARB(GL_TEXTURE1_ARB, s, t);
    }
    glVertex2f(x, y);
}

void UploadBlocks(GLDecompressorResources* r, GLExtensions& ext, const UnpackedFrame& f) {
    GLTexture& texture = r->blockTexture;
    if (f.blockKind != kKELBlockKindS3TC) {
        if (f.alpha == 0)
            texture.UploadDXT24Image(ext, f.blocks, f.width, f.height, f.blockWidth, f.blockHeight,
                                     GL_TEXTURE_RECTANGLE_ARB);
        else
            texture.UploadDXT24AImage(ext, f.blocks, f.width, f.height, f.blockWidth, f.blockHeight,
                                      GL_TEXTURE_RECTANGLE_ARB);
    } else if (f.alpha == 0) {
        texture.UploadDXT16Image(ext, f.blocks, f.width, f.height, f.blockWidth, f.blockHeight,
                                 GL_TEXTURE_2D);
    } else {
        texture.UploadDXT16AImage(ext, f.blocks, f.width, f.height, f.blockWidth, f.blockHeight,
                                  GL_TEXTURE_2D);
    }
}

// A tight row of the plane in bytes, or 0 (which also means tight rows) when it would not fit
// an int; taken in 64 bits so that no plane width overflows it.
int PlaneRowBytes(int planeWidth, int bytesPerPixel) {
    const int64_t rowBytes = static_cast<int64_t>(planeWidth) * bytesPerPixel;
    return rowBytes >= 0 && rowBytes <= INT32_MAX ? static_cast<int>(rowBytes) : 0;
}

} // namespace

void RenderFrameWithGL(GLDecompressorResources* r, const UnpackedFrame& f, void* destination, int rowBytes) {
    GLContext& context = r->context;
    context.InitContext();
    // Without a current context the GL calls below would have no effect (the destination
    // stays as it was); skip them rather than call into GL with nothing current.
    if (!context.ActivateContext()) return;
    GLExtensions& ext = context.extensions;

    // Integer texels of the integer-texture uploads come in rows of 10 bytes per block, not a
    // multiple of 4: byte alignment keeps GL from reading past the end of the blocks. It does
    // not affect the compressed uploads, which are sized by their block count.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    // The block texture keeps its storage while the size stays the same, but DXT1 and DXT5
    // storage differ: a frame whose alpha byte differs from the last one's gets a new texture,
    // or GL would refuse its blocks and show the previous frame.
    if (r->blockTexture.name != 0 && (r->blockAlpha != 0) != (f.alpha != 0)) r->blockTexture.DeleteTexture();
    UploadBlocks(r, ext, f);
    r->blockAlpha = f.alpha;

    if (f.plane != nullptr) {
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1); // left at 1 afterwards
        if (f.planeIsRGB)
            r->planeTexture.UploadRGB8Image(ext, f.plane, f.planeWidth, f.planeHeight,
                                            PlaneRowBytes(f.planeWidth, 3), GL_TEXTURE_2D, false);
        else
            r->planeTexture.UploadRGBA8Image(ext, f.plane, f.planeWidth, f.planeHeight,
                                             PlaneRowBytes(f.planeWidth, 4), GL_TEXTURE_2D, false);
    }

    // Created once per instance at the first frame's size and never resized: later frames of
    // another size still render into it (deliberately so).
    GLFBOClass& framebuffer = r->framebuffer;
    if (!framebuffer.IsValid(ext)) framebuffer.Create(f.blockWidth, f.blockHeight, 0, 0, ext);
    framebuffer.BindAsRenderTarget(ext);

    glViewport(0, 0, f.blockWidth, f.blockHeight);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();

    if (ext.ARB_multitexture) ext.glActiveTextureARB(GL_TEXTURE0_ARB);
    r->blockTexture.BindTexture(ext, 0, 0, 0); // nearest filtering, no mipmaps, clamp to edge
    r->blockTexture.SetTextureMatrix();

    // The one-texture program: the second plane, although uploaded, never reaches the output.
    if (f.blockKind == kKELBlockKindDXT24)
        ApplyDXT24Shader(r, ext, f.alpha != 0);
    else
        ApplyKELShader(r, ext, 0.0, false);

    // Texture row t = 0 (the first block row) lands on the framebuffer's bottom row, which is
    // the first row glReadPixels returns: no flipping needed.
    glBegin(GL_QUADS);
    Corner(ext, 0, 0, -1, -1);
    Corner(ext, 0, 1, -1, 1);
    Corner(ext, 1, 1, 1, 1);
    Corner(ext, 1, 0, 1, -1);
    glEnd();

    if (ext.ARB_shader_objects) ext.glUseProgramObjectARB(0);
    if (ext.ARB_multitexture) ext.glActiveTextureARB(GL_TEXTURE0_ARB);
    r->blockTexture.UnbindTexture();

    // Straight into the host's buffer, its stride given as a row length in pixels.
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    if (rowBytes != static_cast<int64_t>(f.width) * 4) glPixelStorei(GL_PACK_ROW_LENGTH, rowBytes / 4);
    glReadPixels(0, 0, f.width, f.height, GL_RGBA, GL_UNSIGNED_BYTE, destination);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);

    framebuffer.UnbindAsRenderTarget(ext);
    context.DeactivateContext();
}
