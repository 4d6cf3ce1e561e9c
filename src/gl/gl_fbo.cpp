// GLFBOClass: framebuffer creation, attachment, binding and release.
#include "gl/gl_fbo.h"

#include "gl/gl_extensions.h"
#include "gl/gl_texture.h"

static_assert(GL_RGBA8 == 0x8058, "GLFBOClass::internalFormat starts as GL_RGBA8");

void GLFBOClass::ColorAttachmentInfo::Update(GLExtensions& ext, GLFBOClass& owner, int index) {
    GLboolean resident = GL_FALSE;
    if (texture != 0 && glAreTexturesResident(1, &texture, &resident) == GL_TRUE) return;

    const GLenum target = owner.textureTarget;
    const bool mipmapped = owner.mipmaps && target == GL_TEXTURE_2D;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    glTexImage2D(target, 0, GL_RGBA8, owner.textureWidth, owner.textureHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 nullptr);
    if (mipmapped) ext.glGenerateMipmapEXT(GL_TEXTURE_2D);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, mipmapped ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(target, 0);
    ext.glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT + index, target, texture, 0);
}

bool GLFBOClass::IsValid(GLExtensions& /*ext*/) {
    return framebuffer != 0;
}

bool GLFBOClass::Create(int width, int height, int depthBits, int mipmaps, GLExtensions& ext) {
    if (!ext.EXT_framebuffer_object) return false;
    textureTarget = GL_TEXTURE_2D;
    this->mipmaps = mipmaps != 0;
    ext.glGenFramebuffersEXT(1, &framebuffer);
    // The colour texture gets exactly the requested size, not the next powers of two, so the
    // texture matrix of a fresh framebuffer is the identity.
    textureWidth = sourceWidth = width;
    textureHeight = sourceHeight = height;
    internalFormat = GL_RGBA8;
    this->depthBits = depthBits;
    return true;
}

bool GLFBOClass::BindAsRenderTarget(GLExtensions& ext) {
    if (!ext.EXT_framebuffer_object) return false;
    ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    for (int index = 0; index < colorAttachmentCount; ++index)
        colorAttachments[index].Update(ext, *this, index);

    if (depthBits >= 1 && depthRenderbuffer == 0) {
        ext.glGenRenderbuffersEXT(1, &depthRenderbuffer);
        ext.glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, depthRenderbuffer);
        ext.glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_DEPTH_COMPONENT, textureWidth, textureHeight);
        ext.glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, 0);
        ext.glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT,
                                         depthRenderbuffer);
    }

    if (ext.glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_COMPLETE_EXT) return true;
    ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, restoreFramebuffer);
    restoreFramebuffer = 0;
    return false;
}

bool GLFBOClass::UnbindAsRenderTarget(GLExtensions& ext) {
    restoreFramebuffer = 0;
    if (ext.EXT_framebuffer_object) ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    return true;
}

bool GLFBOClass::BindAsTexture(GLExtensions& ext, int generateMipmaps) {
    glBindTexture(textureTarget, colorAttachments[0].texture);
    if (generateMipmaps && mipmaps && textureTarget == GL_TEXTURE_2D && ext.EXT_framebuffer_object) {
        ext.glGenerateMipmapEXT(GL_TEXTURE_2D);
    }
    return true;
}

bool GLFBOClass::UnbindAsTexture(GLExtensions& /*ext*/) {
    glBindTexture(textureTarget, 0);
    return true;
}

void GLFBOClass::SetTextureMatrix() {
    loadTextureMatrix(textureTarget, sourceWidth, sourceHeight, textureWidth, textureHeight);
}

void GLFBOClass::FreeResources(GLExtensions& ext) {
    if (framebuffer != 0 && ext.EXT_framebuffer_object) {
        // Detach on our own framebuffer, then put back whatever was bound.
        GLint bound = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &bound);
        ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
        ext.glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT, 0);
        ext.glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, textureTarget, 0, 0);
        ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, static_cast<GLuint>(bound));
        ext.glDeleteFramebuffersEXT(1, &framebuffer);
    }
    if (depthRenderbuffer != 0 && ext.EXT_framebuffer_object)
        ext.glDeleteRenderbuffersEXT(1, &depthRenderbuffer);
    for (int index = 0; index < colorAttachmentCount; ++index) {
        if (colorAttachments[index].texture != 0) glDeleteTextures(1, &colorAttachments[index].texture);
        colorAttachments[index].texture = 0;
    }
    framebuffer = 0;
    depthRenderbuffer = 0;
}
