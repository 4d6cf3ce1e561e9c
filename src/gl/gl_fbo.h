// GLFBOClass: one framebuffer object (EXT_framebuffer_object) with a texture as its colour
// target and an optional depth renderbuffer, used as the decoder's offscreen render target.
//
// Lifecycle: Create() names the framebuffer; the first BindAsRenderTarget() makes and attaches
// the colour texture (and the depth buffer when asked for); later binds reuse them.
// FreeResources() deletes everything and makes IsValid() false again; the destructor releases
// nothing, so owners call FreeResources() while their context is current. Framebuffer calls go
// through the entry points of the GLExtensions passed in and are skipped when the context has
// no EXT_framebuffer_object.
#pragma once

class GLExtensions;

class GLFBOClass {
  public:
    // One colour attachment point and its texture.
    struct ColorAttachmentInfo {
        // Makes sure the texture exists and is attached at GL_COLOR_ATTACHMENT0_EXT + index: a
        // texture the driver reports resident is left as it is; otherwise a new texture of the
        // owner's size is made (an old name is not deleted) and attached.
        void Update(GLExtensions& ext, GLFBOClass& owner, int index);

        unsigned texture = 0; // 0 while none
    };

    GLFBOClass() = default;
    virtual ~GLFBOClass() = default; // releases nothing, see above

    // Whether a framebuffer has been created.
    bool IsValid(GLExtensions& ext);

    // Names a framebuffer with a colour texture of exactly width x height on GL_TEXTURE_2D (not
    // rounded up to powers of two) and a depth renderbuffer when depthBits >= 1. Makes no
    // attachments yet. False when the context has no framebuffer objects. Call it only while
    // IsValid() is false: an existing framebuffer is not looked at.
    bool Create(int width, int height, int depthBits, int mipmaps, GLExtensions& ext);

    // Binds the framebuffer, creates missing attachments and checks completeness. True leaves
    // the framebuffer bound; false when it is incomplete (framebuffer 0 is then bound) or the
    // context has no framebuffer objects. Sets neither viewport nor matrices.
    bool BindAsRenderTarget(GLExtensions& ext);
    // Binds framebuffer 0. Always true.
    bool UnbindAsRenderTarget(GLExtensions& ext);

    // Binds the colour texture to `textureTarget`, generating its mipmaps when both
    // `generateMipmaps` and `mipmaps` ask for them on GL_TEXTURE_2D. Always true.
    bool BindAsTexture(GLExtensions& ext, int generateMipmaps);
    // Binds texture 0 to `textureTarget`. Always true.
    bool UnbindAsTexture(GLExtensions& ext);

    // Loads a texture matrix that maps 0..1 onto the used area (source over texture size on
    // GL_TEXTURE_2D, the source size in texels on other targets).
    void SetTextureMatrix();

    // Deletes the framebuffer, the depth renderbuffer and the colour textures. Sizes, formats
    // and flags stay, so a later Create starts cleanly.
    void FreeResources(GLExtensions& ext);

    unsigned framebuffer = 0;     // 0 while none
    int colorAttachmentCount = 1; // colour attachments in use
    ColorAttachmentInfo colorAttachments[2];
    unsigned depthRenderbuffer = 0;   // 0 while none
    unsigned restoreFramebuffer = 0;  // bound again when completeness fails; always 0
    int textureWidth = 0;             // size of the colour textures and the depth buffer
    int textureHeight = 0;            //
    int sourceWidth = 0;              // used area, for the texture matrix
    int sourceHeight = 0;             //
    unsigned internalFormat = 0x8058; // GL_RGBA8
    unsigned textureTarget = 0;       // GL_TEXTURE_2D after Create
    int mipmaps = 0;                  // generate mipmaps for the colour texture
    int depthBits = 0;                // 1 or more asks for a depth renderbuffer
};
