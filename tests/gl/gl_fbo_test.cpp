// GLFBOClass: rendering a known colour and reading it back at the exact size, attachment reuse,
// the depth buffer, and release.
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

GLint BoundTextureSize(GLenum parameter) {
    GLint value = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, parameter, &value);
    return value;
}

void DrawFullQuad() {
    glBegin(GL_QUADS);
    glVertex2f(-1, -1);
    glVertex2f(-1, 1);
    glVertex2f(1, 1);
    glVertex2f(1, -1);
    glEnd();
}

} // namespace

TEST_F(GLFBOTest, RendersAKnownColourAtTheExactSize) {
    GLFBOClass fbo;
    EXPECT_FALSE(fbo.IsValid(ext));
    ASSERT_TRUE(fbo.Create(13, 7, 0, 0, ext));
    EXPECT_TRUE(fbo.IsValid(ext));
    EXPECT_EQ(fbo.colorAttachments[0].texture, 0u); // attachments come with the first bind
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext));
    EXPECT_EQ(GLuint(Integer(GL_FRAMEBUFFER_BINDING_EXT)), fbo.framebuffer);
    EXPECT_EQ(fbo.depthRenderbuffer, 0u);

    GLSLProgram solid;
    ASSERT_TRUE(solid.Init("void main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 0.8); }", ext)) << solid.log;
    ext.glUseProgramObjectARB(solid.program);
    glViewport(0, 0, 13, 7);
    DrawFullQuad();
    ext.glUseProgramObjectARB(0);

    const std::vector<unsigned char> pixel = {51, 102, 153, 204};
    std::vector<unsigned char> expected;
    for (int i = 0; i < 13 * 7; ++i)
        expected.insert(expected.end(), pixel.begin(), pixel.end());
    std::vector<unsigned char> read(13 * 7 * 4 + 4, 0xEE); // one guard pixel after the image
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, 13, 7, GL_RGBA, GL_UNSIGNED_BYTE, read.data());
    EXPECT_EQ(std::vector<unsigned char>(read.begin(), read.end() - 4), expected);
    EXPECT_EQ(read.back(), 0xEE);

    // The colour texture holds the same bytes, at the same size.
    EXPECT_TRUE(fbo.UnbindAsRenderTarget(ext));
    EXPECT_EQ(Integer(GL_FRAMEBUFFER_BINDING_EXT), 0);
    EXPECT_TRUE(fbo.BindAsTexture(ext, 0));
    EXPECT_EQ(BoundTextureSize(GL_TEXTURE_WIDTH), 13);
    EXPECT_EQ(BoundTextureSize(GL_TEXTURE_HEIGHT), 7);
    std::vector<unsigned char> texels(13 * 7 * 4);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    EXPECT_EQ(texels, expected);
    EXPECT_TRUE(fbo.UnbindAsTexture(ext));
    EXPECT_EQ(Integer(GL_TEXTURE_BINDING_2D), 0);

    const GLuint texture = fbo.colorAttachments[0].texture;
    const GLuint framebuffer = fbo.framebuffer;
    fbo.FreeResources(ext);
    EXPECT_FALSE(fbo.IsValid(ext));
    EXPECT_EQ(glIsTexture(texture), GL_FALSE);
    EXPECT_EQ(ext.glIsFramebufferEXT(framebuffer), GL_FALSE);
    EXPECT_EQ(fbo.textureWidth, 13); // sizes stay
    solid.ReleaseGLResources(ext);
}

TEST_F(GLFBOTest, FullFrameTargetIsNotRoundedAndAttachmentsAreReused) {
    GLFBOClass fbo;
    ASSERT_TRUE(fbo.Create(1280, 720, 0, 1, ext));
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext));
    const GLuint texture = fbo.colorAttachments[0].texture;
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext));
    EXPECT_EQ(fbo.colorAttachments[0].texture, texture);

    fbo.BindAsTexture(ext, 1);
    EXPECT_EQ(BoundTextureSize(GL_TEXTURE_WIDTH), 1280);
    EXPECT_EQ(BoundTextureSize(GL_TEXTURE_HEIGHT), 720);
    GLint minFilter = 0, level1Width = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 1, GL_TEXTURE_WIDTH, &level1Width);
    EXPECT_EQ(minFilter, GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(level1Width, 640); // mipmaps generated on request

    fbo.SetTextureMatrix();
    GLdouble matrix[16];
    glGetDoublev(GL_TEXTURE_MATRIX, matrix);
    EXPECT_EQ(matrix[0], 1.0);
    EXPECT_EQ(matrix[5], 1.0);
    fbo.UnbindAsRenderTarget(ext);
    fbo.FreeResources(ext);
}

TEST_F(GLFBOTest, DepthBufferOnRequestAndReleaseRestoresTheBinding) {
    GLFBOClass fbo;
    ASSERT_TRUE(fbo.Create(16, 8, 24, 0, ext));
    ASSERT_TRUE(fbo.BindAsRenderTarget(ext));
    const GLuint depth = fbo.depthRenderbuffer;
    ASSERT_NE(depth, 0u);
    GLint depthSize = 0;
    ext.glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT,
                                                 GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT, &depthSize);
    EXPECT_EQ(GLuint(depthSize), depth);

    // Another framebuffer bound while this one is freed stays bound.
    GLFBOClass other;
    ASSERT_TRUE(other.Create(4, 4, 0, 0, ext));
    ASSERT_TRUE(other.BindAsRenderTarget(ext));
    fbo.FreeResources(ext);
    EXPECT_EQ(GLuint(Integer(GL_FRAMEBUFFER_BINDING_EXT)), other.framebuffer);
    EXPECT_EQ(ext.glIsRenderbufferEXT(depth), GL_FALSE);
    EXPECT_EQ(fbo.depthRenderbuffer, 0u);
    other.UnbindAsRenderTarget(ext);
    other.FreeResources(ext);
}

TEST_F(GLFBOTest, FailuresLeaveFramebufferZeroBound) {
    GLFBOClass never;
    never.FreeResources(ext); // never created: nothing happens
    EXPECT_FALSE(never.IsValid(ext));

    // A zero-sized colour texture makes the framebuffer incomplete.
    GLFBOClass empty;
    ASSERT_TRUE(empty.Create(0, 0, 0, 0, ext));
    EXPECT_FALSE(empty.BindAsRenderTarget(ext));
    EXPECT_EQ(Integer(GL_FRAMEBUFFER_BINDING_EXT), 0);
    empty.FreeResources(ext);

    GLExtensions without = ext;
    without.EXT_framebuffer_object = 0;
    GLFBOClass unsupported;
    EXPECT_FALSE(unsupported.Create(8, 8, 0, 0, without));
    EXPECT_FALSE(unsupported.IsValid(without));
    EXPECT_FALSE(unsupported.BindAsRenderTarget(without));
}
