// GLTexture: one OpenGL texture object that is (re)created and filled from pixel data or DXT
// blocks, bound with fixed sampling modes, and given a texture matrix under which coordinates
// 0..1 cover exactly the filled part. Storage is allocated once and only refilled while the
// upload size stays the same.
//
// All calls need the caller's context current; the class neither creates nor checks one. The
// destructor releases nothing: owners call DeleteTexture() while their context is current.
// Uploads read rows with the current GL_UNPACK_ALIGNMENT; callers whose rows are not a
// multiple of 4 bytes set it to 1 first.
#pragma once

#include <cstdint>

class GLExtensions;

// The smallest power of two at or above size (1 for 0 and below): the side of the 2D texture
// that holds a picture of that side. INT32_MAX for sides above 2^30.
int NextPowerOfTwo(int size);

// Loads a texture matrix that maps texture coordinates 0..1 onto the filled area of a texture:
// a scale by source / texture size on GL_TEXTURE_2D, by the source size in texels on other
// (rectangle) targets. Shared by GLTexture and GLFBOClass.
void loadTextureMatrix(unsigned target, int sourceWidth, int sourceHeight, int textureWidth,
                       int textureHeight);

class GLTexture {
  public:
    // What _UploadImage accepts: internal format at allocation, and how the data is read.
    enum PixelFormat {
        RGBA8 = 0,  // GL_RGBA8; GL_RGBA bytes, 4 per pixel
        RGB8 = 1,   // GL_RGB8; GL_RGB bytes, 3 per pixel
        DXT16 = 2,  // DXT1 blocks, 8 bytes per 4x4 block, handed to the driver as they are
        DXT16A = 3, // DXT5 blocks, 16 bytes per 4x4 block
        DXT24 = 4,  // DXT24 blocks as one-byte unsigned integer texels, 10 side by side per block
        DXT24A = 5, // as DXT24, but sized like the pixels, not like the blocks (see _UploadImage)
    };

    GLTexture() = default;
    ~GLTexture() = default; // releases nothing, see above

    // Clears all six fields without touching GL (forgets the texture, does not delete it).
    GLTexture& Reset();

    // Creates or reuses the texture object on `target` and fills it. Nothing happens when
    // `data` is null or the source size is not positive.
    // - RGBA8/RGB8 fill sourceWidth x sourceHeight pixels; `rowBytes` 0 means tightly packed.
    // - DXT16/DXT16A fill the texture-size arguments (the block-rounded frame size) from
    //   compressed blocks, through the loaded glCompressedTexSubImage2D.
    // - DXT24 fills (textureWidth / 4 * 10) x (textureHeight / 4) one-byte texels: one texel
    //   row per block row, each block's 10 bytes side by side.
    // - DXT24A fills textureWidth x textureHeight one-byte texels, i.e. less than its 18-byte
    //   blocks hold; this asymmetry with DXT24 is deliberate.
    // On GL_TEXTURE_2D the storage is rounded up to powers of two; on other targets it is the
    // fill size. The storage is reallocated only when the object is new or a size changed.
    // Every upload leaves linear filtering and clamp-to-edge wrapping on the texture.
    void _UploadImage(GLExtensions& ext, PixelFormat format, void* data, int sourceWidth, int sourceHeight,
                      int textureWidth, int textureHeight, int rowBytes, unsigned target, bool mipmaps);

    // Block uploads: width/height is the frame, blockWidth/blockHeight its size rounded up to
    // whole 4x4 blocks.
    void UploadDXT16Image(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                          int blockHeight, unsigned target);
    void UploadDXT16AImage(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                           int blockHeight, unsigned target);
    void UploadDXT24Image(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                          int blockHeight, unsigned target);
    void UploadDXT24AImage(GLExtensions& ext, void* data, int width, int height, int blockWidth,
                           int blockHeight, unsigned target);

    // Pixel uploads; `rowBytes` is the source stride (0: tightly packed).
    void UploadRGBA8Image(GLExtensions& ext, void* data, int width, int height, int rowBytes, unsigned target,
                          bool mipmaps);
    void UploadRGB8Image(GLExtensions& ext, void* data, int width, int height, int rowBytes, unsigned target,
                         bool mipmaps);

    // Sets wrapping (repeat or clamp to edge), GL_GENERATE_MIPMAP and the filters of the texture
    // bound to `target`. Mipmapped filters apply only to GL_TEXTURE_2D.
    static void SetTextureModes(GLExtensions& ext, unsigned target, int linear, int mipmaps, int repeat);

    // Binds the texture with the given modes; does nothing on an empty object.
    void BindTexture(GLExtensions& ext, int linear, int mipmaps, int repeat);
    // Binds texture 0 to the object's target; does nothing on an empty object.
    void UnbindTexture();

    // Loads a texture matrix that maps 0..1 onto the filled area: a scale by source / texture
    // size on GL_TEXTURE_2D, by the source size in texels on other (rectangle) targets.
    void SetTextureMatrix();

    void GetSourceSize(int& width, int& height) const;

    // Whether the driver reports the texture resident; false when there is none.
    bool IsResident() const;

    // Deletes the texture object (if any) and clears all fields.
    void DeleteTexture();

    unsigned target = 0;   // target last bound to: 0, GL_TEXTURE_2D or GL_TEXTURE_RECTANGLE_ARB
    unsigned name = 0;     // texture name, 0 while none
    int sourceWidth = 0;   // filled area of the last upload, in texels of that upload
    int sourceHeight = 0;  //
    int textureWidth = 0;  // size the storage was allocated with
    int textureHeight = 0; //
};
