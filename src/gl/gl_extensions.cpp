// The extension loader: reads the driver's strings into GLExtensions and resolves the twelve
// entry-point groups generated from the lists in gl_entry_points.h.
#include "gl/gl_extensions.h"

#include <cstdio>
#include <cstring>

#include "gl/gl_library.h"

namespace {

GLExtensions::StringSource gStringSource = nullptr;
GLExtensions::SymbolSource gSymbolSource = nullptr;

// Token and symbol-name buffers of the loader; both live on the stack.
constexpr int kTokenBufferSize = 1024;
constexpr int kSymbolBufferSize = 1024;

// The comparison is signed on purpose: bytes 0x80 to 0xFF count as separators as well.
bool IsSeparator(char c) {
    return static_cast<signed char>(c) < 33;
}

// Appends `c` to a token with `room` characters of space; the rest is counted but dropped.
void Store(char* token, int& stored, int room, char c) {
    if (stored < room) token[stored++] = c;
}

// Counts the flags and entry points of the lists, so their sizes are pinned below.
#define QZKT_GL_COUNT_FLAG(flag) +1
#define QZKT_GL_COUNT_ENTRY_POINT(type, function) +1
static_assert(0 QZKT_GL_EXTENSION_FLAGS(QZKT_GL_COUNT_FLAG) == 94, "94 extension flags");
static_assert(0 QZKT_GL_ALL_ENTRY_POINTS(QZKT_GL_COUNT_ENTRY_POINT) == 226, "226 entry points");
#undef QZKT_GL_COUNT_FLAG
#undef QZKT_GL_COUNT_ENTRY_POINT

} // namespace

int get_token(const char* text, char* token, int tokenSize) {
    if (token == nullptr || tokenSize < 1) return 0;
    token[0] = '\0';
    if (text == nullptr) return 0;

    const int room = tokenSize - 1;
    int stored = 0;
    int consumed = 0;
    while (text[consumed] != '\0' && IsSeparator(text[consumed]))
        ++consumed;

    if (text[consumed] != '"') {
        // Unquoted: up to the next separator; an immediate end leaves the token empty.
        while (!IsSeparator(text[consumed]))
            Store(token, stored, room, text[consumed++]);
    } else {
        // Quoted: the quotes count towards the result even when the closing one is missing.
        consumed += 2;
        const char* p = text + consumed - 1;
        bool marked = false;
        for (; *p != '\0' && *p != '"'; ++p, ++consumed) {
            if (*p == '\\') {
                marked = true;
                continue;
            }
            if (marked) {
                // A marked character keeps its backslash; with one place left only the
                // backslash fits.
                Store(token, stored, room, '\\');
                marked = false;
            }
            Store(token, stored, room, *p);
        }
    }
    token[stored] = '\0';
    return consumed;
}

void GLExtensions::SetDriverSources(StringSource strings, SymbolSource symbols) {
    gStringSource = strings;
    gSymbolSource = symbols;
}

const char* GLExtensions::ReadString(GLenum name) {
    if (gStringSource != nullptr) return gStringSource(name);
    return reinterpret_cast<const char*>(glGetString(name));
}

void* GLExtensions::LookUpSymbol(const char* name) {
    char symbol[kSymbolBufferSize];
    std::snprintf(symbol, sizeof symbol, "%s", name);
    return gSymbolSource != nullptr ? gSymbolSource(symbol) : LookUpGLFunction(symbol);
}

GLExtensions::GLExtensions() : maxTextureSize(0), glVersion(0.0) {
    rendererName[0] = '\0';
#define QZKT_GL_CLEAR_FLAG(flag) flag = 0;
    QZKT_GL_EXTENSION_FLAGS(QZKT_GL_CLEAR_FLAG)
#undef QZKT_GL_CLEAR_FLAG
}

void GLExtensions::Initialize() {
    const char* renderer = ReadString(GL_RENDERER);
    std::snprintf(rendererName, sizeof rendererName, "%s", renderer != nullptr ? renderer : "");

    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxTextureSize);
    GLint renderbufferSize = 0; // stays 0 where the query is not supported
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE_EXT, &renderbufferSize);
    maxRenderbufferSize = renderbufferSize;

    FindSupportedExtensions();

    InitARBMultitexture();
    InitARBTextureCompression();
    InitARBVertexBufferObject();
    InitARBVertexProgram();
    InitARBShaderObjects();
    InitARBVertexShader();
    InitARBImaging();
    InitEXTBlendFuncSeparate();
    InitEXTFramebufferObject();
    InitEXTVertexWeighting();
    InitNVRegisterCombiners();
    InitNVPixelDataRange();
}

void GLExtensions::FindSupportedExtensions() {
    // The version is the leading number: up to the first "." and the digits behind it, or the
    // whole string when it has no ".". Nothing is skipped in front of it, so a string that does
    // not start with the number (after white space) reads as 0.0.
    glVersion = 0.0;
    if (const char* version = ReadString(GL_VERSION)) {
        size_t span = std::strlen(version);
        if (const char* dot = std::strchr(version, '.')) {
            span = static_cast<size_t>(dot - version) + 1;
            while (version[span] >= '0' && version[span] <= '9')
                ++span;
        }
        if (span > 0) {
            char number[kTokenBufferSize];
            std::snprintf(number, sizeof number, "%.*s", static_cast<int>(span), version);
            double value = 0.0;
            if (std::sscanf(number, "%lf", &value) == 1) glVersion = value;
        }
    }

#define QZKT_GL_QUERY_FLAG(flag) flag = QueryExtension("GL_" #flag);
    QZKT_GL_EXTENSION_FLAGS(QZKT_GL_QUERY_FLAG)
#undef QZKT_GL_QUERY_FLAG
    // Whatever the string says, texture compression counts only when the texture-compression
    // loader finds all seven of its functions.
    ARB_texture_compression = 0;
}

int GLExtensions::QueryExtension(const char* name) {
    if (name == nullptr || name[0] == '\0' || std::strchr(name, ' ') != nullptr) return 0;
    const char* extensions = ReadString(GL_EXTENSIONS);
    if (extensions == nullptr) return 0;

    const char* end = extensions + std::strlen(extensions);
    char token[kTokenBufferSize];
    for (const char* p = extensions; *p != '\0';) {
        const int consumed = get_token(p, token, sizeof token);
        // A quoted token without its closing quote counts one character more than the text
        // holds; stop at the end rather than read past it.
        p = consumed < end - p ? p + consumed : end;
        if (std::strcmp(token, name) == 0) return 1;
    }
    return 0;
}

void* GLExtensions::GetProcAddress(const char* name) {
    if (name == nullptr || std::strlen(name) + 2 > static_cast<size_t>(kSymbolBufferSize)) return nullptr;
    return LookUpSymbol(name);
}

// Stores the address of every function of a group, null included.
#define QZKT_GL_LOAD(type, function) function = reinterpret_cast<type>(LookUpSymbol(#function));

void GLExtensions::InitARBMultitexture() {
    if (!ARB_multitexture) return;
    QZKT_GL_MULTITEXTURE_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitARBTextureCompression() {
    // No guard: the core names are looked up whatever the extension string says, and the
    // group counts only when all seven exist.
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_GL_LOAD)
    bool complete = true;
#define QZKT_GL_CHECK(type, function) complete = complete && function != nullptr;
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_GL_CHECK)
#undef QZKT_GL_CHECK
    if (complete) {
        ARB_texture_compression = 1;
        return;
    }
#define QZKT_GL_CLEAR(type, function) function = nullptr;
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_GL_CLEAR)
#undef QZKT_GL_CLEAR
}

void GLExtensions::InitARBVertexBufferObject() {
    if (!ARB_vertex_buffer_object) return;
    QZKT_GL_VERTEX_BUFFER_OBJECT_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitARBVertexProgram() {
    if (!ARB_vertex_program) return;
    QZKT_GL_VERTEX_PROGRAM_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitARBShaderObjects() {
    if (!ARB_shader_objects) return;
    QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitARBVertexShader() {
    if (!ARB_vertex_shader) return;
    QZKT_GL_VERTEX_SHADER_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitARBImaging() {
    if (!ARB_imaging) return;
    QZKT_GL_IMAGING_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitEXTBlendFuncSeparate() {
    if (!EXT_blend_func_separate) return;
    QZKT_GL_BLEND_FUNC_SEPARATE_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitEXTFramebufferObject() {
    if (!EXT_framebuffer_object) return;
    QZKT_GL_FRAMEBUFFER_OBJECT_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitEXTVertexWeighting() {
    if (!EXT_vertex_weighting) return;
    QZKT_GL_VERTEX_WEIGHTING_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitNVRegisterCombiners() {
    if (!NV_register_combiners) return;
    QZKT_GL_REGISTER_COMBINERS_ENTRY_POINTS(QZKT_GL_LOAD)
}

void GLExtensions::InitNVPixelDataRange() {
    if (!NV_pixel_data_range) return;
    QZKT_GL_PIXEL_DATA_RANGE_ENTRY_POINTS(QZKT_GL_LOAD)
}

#undef QZKT_GL_LOAD
