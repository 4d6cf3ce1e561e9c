// GLExtensions: what the GL layer knows about the driver of the current context (renderer
// name, size limits, GL version, one flag per known extension) and the extension entry points
// it calls. Every GL operation of the codec takes this record by reference and calls extension
// functions only through its fields, after testing the flag that guards the field's group.
//
// Usage: with a context current, call Initialize() once (GLContext::InitContext does this);
// then test e.g. ext.EXT_framebuffer_object before calling ext.glBindFramebufferEXT(...).
// Entry points of a group whose flag is 0 are never written (not even cleared): test the flag,
// never the pointer. The texture-compression group is the exception: its seven fields are
// always written, and all of them are null unless all seven names resolved.
#pragma once

#include <GL/gl.h>
#include <GL/glext.h>
#include <cstdint>

#include "gl/gl_entry_points.h"

// Reads one token of `text` into `token` (at most tokenSize - 1 characters, always
// NUL-terminated) and returns how many characters of `text` it consumed, leading separators
// included. Separators are the bytes below 33 taken as signed chars, so bytes 0x80 to 0xFF
// separate too. A token that opens with a double quote runs to the next double quote; inside
// it a backslash marks the next character and is kept in front of it.
int get_token(const char* text, char* token, int tokenSize);

class GLExtensions {
  public:
    // Where the loader reads GL strings and resolves entry points. The defaults ask the current
    // context (glGetString) and the GL library. Tests install their own to feed crafted
    // extension and version strings or to hide symbols; process-wide, not thread-safe.
    using StringSource = const char* (*)(GLenum name);
    using SymbolSource = void* (*)(const char* name);
    static void SetDriverSources(StringSource strings, SymbolSource symbols); // null: default

    // Clears the renderer name, the maximum texture size, the version and every flag. The
    // maximum renderbuffer size and the entry points are left unset until Initialize.
    GLExtensions();

    // Fills every field from the current context: renderer name, limits, version and flags,
    // then the twelve entry-point groups. May be called again; it refills everything.
    void Initialize();

    // Parses the version and sets every flag from the GL_EXTENSIONS string.
    void FindSupportedExtensions();

    // 1 when `name` is a whole token of the GL_EXTENSIONS string, else 0. Names that are empty
    // or contain a space never match.
    int QueryExtension(const char* name);

    // Address of the GL function `name`, or null when the GL library does not define it or the
    // name is longer than 1022 characters.
    void* GetProcAddress(const char* name);

    // Each loads one group of entry points when its guard flag is 1 and leaves the group alone
    // otherwise. InitARBTextureCompression always runs and sets ARB_texture_compression itself.
    void InitARBMultitexture();
    void InitARBTextureCompression();
    void InitARBVertexBufferObject();
    void InitARBVertexProgram();
    void InitARBShaderObjects();
    void InitARBVertexShader();
    void InitARBImaging();
    void InitEXTBlendFuncSeparate();
    void InitEXTFramebufferObject();
    void InitEXTVertexWeighting();
    void InitNVRegisterCombiners();
    void InitNVPixelDataRange();

    char rendererName[512];      // GL_RENDERER, cut to 511 characters
    int32_t maxTextureSize;      // GL_MAX_TEXTURE_SIZE
    int32_t maxRenderbufferSize; // GL_MAX_RENDERBUFFER_SIZE_EXT, 0 where not reported
    double glVersion;            // leading number of GL_VERSION ("2.1 ATI-1.6.36" gives 2.1), or 0.0

    // One flag per extension, 1 = supported, named after the extension without "GL_".
#define QZKT_GL_DECLARE_FLAG(flag) int32_t flag;
    QZKT_GL_EXTENSION_FLAGS(QZKT_GL_DECLARE_FLAG)
#undef QZKT_GL_DECLARE_FLAG

    // The entry points, named exactly as the GL functions, group by group.
#define QZKT_GL_DECLARE_ENTRY_POINT(type, function) type function;
    QZKT_GL_ALL_ENTRY_POINTS(QZKT_GL_DECLARE_ENTRY_POINT)
#undef QZKT_GL_DECLARE_ENTRY_POINT

  private:
    static const char* ReadString(GLenum name);
    static void* LookUpSymbol(const char* name);
};
