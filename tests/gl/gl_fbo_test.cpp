// GLFBOClass: rendering a known colour and reading it back at the exact size.
#include <gtest/gtest.h>

#include <vector>

#include "gl/gl_fbo.h"
#include "gl/glsl_program.h"
#include "gl_test_context.h"

namespace {

using GLFBOTest = GLContextTest;

GLint Integer(GLenum name) {
    GLint value = -1;
    glGetIntegerv(name, &value);
    return value;
}

GLint BoundTextureLevel(GLint level, GLenum parameter) {
    GLint value = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, level, parameter, &value);
    return value;
}

} // namespace

TEST_F(GLFBOTest, RendersAKnownColourAtTheExactSize) {
    // A 1280 x 720 target gets a texture of exactly that size, not 2048 x 1024.
    const int width = 1280, height = 720;
    GLFBOClass fbo;
    ASSERT_TRUE(fbo.Create(width, height, 0, 1, ext));
    EXPECT_EQ(fbo.colorAttachments[0].texture, 0u); // attachments come with the first bind
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext));
    const GLuint texture = fbo.colorAttachments[0].texture;
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext)); // the resident texture is kept
    EXPECT_EQ(fbo.colorAttachments[0].texture, texture);
    EXPECT_EQ(GLuint(Integer(GL_FRAMEBUFFER_BINDING_EXT)), fbo.framebuffer);
    EXPECT_EQ(fbo.depthRenderbuffer, 0u);

    GLSLProgram solid;
    ASSERT_TRUE(solid.Init("void main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 0.8); }", ext)) << solid.log;
    ext.glUseProgramObjectARB(solid.program);
    glViewport(0, 0, width, height);
    glRectf(-1, -1, 1, 1);
    ext.glUseProgramObjectARB(0);

    std::vector<unsigned char> expected;
    for (int i = 0; i < width * height; ++i)
        expected.insert(expected.end(), {51, 102, 153, 204});
    std::vector<unsigned char> read(expected.size() + 4, 0xEE); // a guard pixel behind the image
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, read.data());
    EXPECT_EQ(std::vector<unsigned char>(read.begin(), read.end() - 4), expected);
    EXPECT_EQ(read.back(), 0xEE);

    // The colour texture holds the same bytes; mipmaps are made on request.
    EXPECT_TRUE(fbo.UnbindAsRenderTarget(ext));
    EXPECT_EQ(Integer(GL_FRAMEBUFFER_BINDING_EXT), 0);
    EXPECT_TRUE(fbo.BindAsTexture(ext, 1));
    EXPECT_EQ(BoundTextureLevel(0, GL_TEXTURE_WIDTH), width);
    EXPECT_EQ(BoundTextureLevel(0, GL_TEXTURE_HEIGHT), height);
    EXPECT_EQ(BoundTextureLevel(1, GL_TEXTURE_WIDTH), width / 2);
    std::vector<unsigned char> texels(expected.size());
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    EXPECT_EQ(texels, expected);
    EXPECT_TRUE(fbo.UnbindAsTexture(ext));
    fbo.SetTextureMatrix();
    GLdouble matrix[16];
    glGetDoublev(GL_TEXTURE_MATRIX, matrix);
    EXPECT_EQ(matrix[0], 1.0);
    EXPECT_EQ(matrix[5], 1.0);

    fbo.FreeResources(ext);
    EXPECT_FALSE(fbo.IsValid(ext));
    EXPECT_EQ(glIsTexture(texture), GL_FALSE);
    solid.ReleaseGLResources(ext);
}
