// The extension loader against crafted driver strings and symbol tables, and against the real
// driver of a current context.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "gl/gl_extensions.h"
#include "gl_test_context.h"

namespace {

const char* gVersion = nullptr;
const char* gExtensions = nullptr;
const char* gRenderer = nullptr;
int gExtensionReads = 0;
const char* gHiddenSymbol = nullptr;
int gSymbolLookups = 0;

const char* FakeString(GLenum name) {
    if (name == GL_EXTENSIONS) ++gExtensionReads;
    return name == GL_VERSION ? gVersion : name == GL_EXTENSIONS ? gExtensions : gRenderer;
}

// Every name resolves to a dummy address except the hidden one.
void* FakeSymbol(const char* name) {
    ++gSymbolLookups;
    static char dummy;
    return gHiddenSymbol != nullptr && std::strcmp(name, gHiddenSymbol) == 0 ? nullptr : &dummy;
}

// Stands in a field that the loader must leave alone.
void SentinelCombinerInput(GLenum, GLenum, GLenum, GLenum, GLenum, GLenum) {}

class GLFakeDriverTest : public ::testing::Test {
  protected:
    void SetUp() override {
        gVersion = gExtensions = gRenderer = gHiddenSymbol = nullptr;
        gExtensionReads = gSymbolLookups = 0;
        GLExtensions::SetDriverSources(FakeString, FakeSymbol);
    }
    void TearDown() override { GLExtensions::SetDriverSources(nullptr, nullptr); }

    double VersionOf(const char* version) {
        gVersion = version;
        ext.FindSupportedExtensions();
        return ext.glVersion;
    }

    GLExtensions ext;
};

std::string Token(const char* text, int room, int* consumed) {
    char token[64];
    std::memset(token, '#', sizeof token);
    *consumed = get_token(text, token, room);
    return token;
}

// Every flag in field order, so tests can look at all of them.
struct Flag {
    const char* name;
    int32_t GLExtensions::*field;
};
const Flag kFlags[] = {
#define QZKT_TEST_FLAG(flag) {#flag, &GLExtensions::flag},
    QZKT_GL_EXTENSION_FLAGS(QZKT_TEST_FLAG)
#undef QZKT_TEST_FLAG
};

// The 93 names a driver can advertise, written out independently of the loader's list.
const char* const kAllQueried =
    "GL_ARB_depth_texture GL_ARB_fragment_program GL_ARB_fragment_shader GL_ARB_imaging "
    "GL_ARB_matrix_palette "
    "GL_ARB_multisample GL_ARB_multitexture GL_ARB_point_parameters GL_ARB_shader_objects GL_ARB_shadow "
    "GL_ARB_shadow_ambient GL_ARB_texture_border_clamp GL_ARB_texture_cube_map GL_ARB_texture_env_add "
    "GL_ARB_texture_env_combine GL_ARB_texture_env_crossbar GL_ARB_texture_env_dot3 "
    "GL_ARB_texture_mirrored_repeat GL_ARB_texture_non_power_of_two GL_ARB_texture_rectangle "
    "GL_ARB_transpose_matrix GL_ARB_vertex_blend GL_ARB_vertex_program GL_ARB_vertex_shader "
    "GL_ARB_vertex_buffer_object GL_ARB_window_pos GL_EXT_abgr GL_EXT_bgra GL_EXT_blend_func_separate "
    "GL_EXT_compiled_vertex_array GL_EXT_cull_vertex GL_EXT_draw_range_elements GL_EXT_fog_coord "
    "GL_EXT_framebuffer_object GL_EXT_multi_draw_arrays GL_EXT_point_parameters GL_EXT_secondary_color "
    "GL_EXT_separate_specular_color GL_EXT_shadow_funcs GL_EXT_stencil_two_side GL_EXT_stencil_wrap "
    "GL_EXT_texture_compression_s3tc GL_EXT_texture_env_combine GL_EXT_texture_filter_anisotropic "
    "GL_EXT_texture_lod_bias GL_EXT_texture_rectangle GL_EXT_vertex_shader GL_EXT_vertex_weighting "
    "GL_ATI_element_array GL_ATI_envmap_bumpmap GL_ATI_fragment_shader GL_ATI_pn_triangles "
    "GL_ATI_point_cull_mode GL_ATI_text_fragment_shader GL_ATI_texture_mirror_once GL_ATI_texture_float "
    "GL_ATI_vertex_array_object GL_ATI_vertex_streams GL_ATIX_point_sprites GL_ATIX_texture_env_route "
    "GL_HP_occlusion_test GL_NV_blend_square GL_NV_copy_depth_to_color GL_NV_depth_clamp GL_NV_element_array "
    "GL_NV_evaluators GL_NV_fence GL_NV_float_buffer GL_NV_fog_distance GL_NV_fragment_program "
    "GL_NV_light_max_exponent GL_NV_occlusion_query GL_NV_packed_depth_stencil GL_NV_pixel_data_range "
    "GL_NV_point_sprite GL_NV_primitive_restart GL_NV_register_combiners GL_NV_register_combiners2 "
    "GL_NV_texgen_reflection GL_NV_texture_env_combine4 GL_NV_texture_rectangle GL_NV_texture_shader "
    "GL_NV_texture_shader2 GL_NV_texture_shader3 GL_NV_vertex_array_range GL_NV_vertex_array_range2 "
    "GL_NV_vertex_program GL_NV_vertex_program1_1 GL_NV_vertex_program2 GL_SGIS_generate_mipmap "
    "GL_SGIS_texture_lod GL_SGIX_depth_texture GL_SGIX_shadow";

} // namespace

TEST(GLExtensionsTokens, GetTokenSplitsQuotesAndCountsConsumedCharacters) {
    int consumed = 0;
    EXPECT_EQ(Token("  \"a\\b\" x", 16, &consumed), "a\\b");
    EXPECT_EQ(consumed, 7);
    EXPECT_EQ(Token("abcdef", 4, &consumed), "abc"); // cut, but every letter consumed
    EXPECT_EQ(consumed, 6);
    EXPECT_EQ(Token("   ", 8, &consumed), "");
    EXPECT_EQ(consumed, 3);
    EXPECT_EQ(Token("\xA0GL_x\x80y", 16, &consumed), "GL_x"); // high bytes separate
    EXPECT_EQ(consumed, 5);
    EXPECT_EQ(Token("\"ab", 16, &consumed), "ab"); // missing closing quote still counts 2
    EXPECT_EQ(consumed, 4);
    EXPECT_EQ(Token("\"a\\\\b\"", 16, &consumed), "a\\b"); // consecutive backslashes mark once
    EXPECT_EQ(consumed, 6);
    EXPECT_EQ(Token("\"a\\\"b\"", 16, &consumed), "a"); // a marked quote still ends the token
    EXPECT_EQ(consumed, 4);
    EXPECT_EQ(Token("\"\\x\"", 2, &consumed), "\\"); // one place left: only the backslash
    EXPECT_EQ(Token("\"\\x\"", 3, &consumed), "\\x");

    char token[4] = "old";
    EXPECT_EQ(get_token("abc", token, 0), 0);
    EXPECT_EQ(get_token("abc", nullptr, 4), 0);
    EXPECT_STREQ(token, "old");
    EXPECT_EQ(get_token(nullptr, token, 4), 0);
    EXPECT_STREQ(token, "");
}

TEST_F(GLFakeDriverTest, QueryExtensionMatchesWholeTokensOnly) {
    gExtensions = "GL_ARB_shader_objects GL_EXT_framebuffer_object\xA0GL_NV_texture_shader2 \"GL_open";
    EXPECT_EQ(ext.QueryExtension("GL_ARB_shader_objects"), 1);
    EXPECT_EQ(ext.QueryExtension("GL_EXT_framebuffer_object"), 1);
    EXPECT_EQ(ext.QueryExtension("GL_NV_texture_shader2"), 1);
    EXPECT_EQ(ext.QueryExtension("GL_NV_texture_shader"), 0);
    EXPECT_EQ(ext.QueryExtension("GL_ARB_shader"), 0);
    EXPECT_EQ(ext.QueryExtension("GL_missing"), 0); // runs into the unterminated quote, not past it
    const int reads = gExtensionReads;
    EXPECT_EQ(ext.QueryExtension("GL_ARB_shader_objects GL_EXT_framebuffer_object"), 0);
    EXPECT_EQ(ext.QueryExtension(""), 0);
    EXPECT_EQ(ext.QueryExtension(nullptr), 0);
    EXPECT_EQ(gExtensionReads, reads); // rejected names never read the string

    gExtensions = nullptr;
    EXPECT_EQ(ext.QueryExtension("GL_ARB_shader_objects"), 0);
}

TEST_F(GLFakeDriverTest, FindSupportedExtensionsSetsExactlyTheAdvertisedFlags) {
    gExtensions = "GL_ARB_shader_objects GL_EXT_framebuffer_object";
    ext.FindSupportedExtensions();
    for (const Flag& flag : kFlags) {
        const bool expected = std::strcmp(flag.name, "ARB_shader_objects") == 0 ||
                              std::strcmp(flag.name, "EXT_framebuffer_object") == 0;
        EXPECT_EQ(ext.*flag.field, expected ? 1 : 0) << flag.name;
    }

    gExtensions = kAllQueried;
    ext.ARB_texture_compression = 1;
    ext.FindSupportedExtensions();
    for (const Flag& flag : kFlags) {
        const bool expected = std::strcmp(flag.name, "ARB_texture_compression") != 0;
        EXPECT_EQ(ext.*flag.field, expected ? 1 : 0) << flag.name;
    }
}

TEST_F(GLFakeDriverTest, VersionIsTheLeadingNumber) {
    EXPECT_EQ(VersionOf("1.5.2 Vendor"), 1.5);
    EXPECT_EQ(VersionOf("2.1 ATI-1.6.36"), 2.1);
    EXPECT_EQ(VersionOf("4.5 (Compatibility Profile) Mesa 22.3.6"), 4.5);
    EXPECT_EQ(VersionOf("2"), 2.0);
    EXPECT_EQ(VersionOf("3."), 3.0);
    EXPECT_EQ(VersionOf(""), 0.0);
    EXPECT_EQ(VersionOf(nullptr), 0.0);
    EXPECT_EQ(VersionOf("OpenGL ES 3.2"), 0.0); // nothing is skipped to reach the digits
}

TEST_F(GLFakeDriverTest, TextureCompressionIsAllOrNothingAndOtherGroupsFollowTheirFlag) {
    std::string longRenderer(600, 'r');
    gRenderer = longRenderer.c_str();
    gExtensions = "GL_EXT_framebuffer_object";
    ext.glCombinerInputNV = &SentinelCombinerInput;
    ext.Initialize();
    EXPECT_EQ(std::strlen(ext.rendererName), 511u);
    EXPECT_EQ(ext.ARB_texture_compression, 1); // although the extension string does not say so
    EXPECT_NE(ext.glGetCompressedTexImage, nullptr);
    EXPECT_NE(ext.glBindFramebufferEXT, nullptr);
    // NV_register_combiners is not advertised: its fields are left exactly as they were.
    EXPECT_EQ(ext.glCombinerInputNV, &SentinelCombinerInput);

    gHiddenSymbol = "glCompressedTexSubImage3D";
    GLExtensions missing;
    missing.Initialize();
    EXPECT_EQ(missing.ARB_texture_compression, 0);
#define QZKT_TEST_NULL(type, function) EXPECT_EQ(missing.function, nullptr) << #function;
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_TEST_NULL)
#undef QZKT_TEST_NULL

    // Elsewhere a missing function is just a null field under a flag that stays 1.
    gHiddenSymbol = "glGenerateMipmapEXT";
    missing.InitEXTFramebufferObject();
    EXPECT_EQ(missing.EXT_framebuffer_object, 1);
    EXPECT_EQ(missing.glGenerateMipmapEXT, nullptr);
    EXPECT_NE(missing.glBindFramebufferEXT, nullptr);
}

TEST_F(GLFakeDriverTest, GetProcAddressRefusesOverlongNames) {
    EXPECT_NE(ext.GetProcAddress(std::string(1022, 'g').c_str()), nullptr);
    EXPECT_EQ(gSymbolLookups, 1);
    EXPECT_EQ(ext.GetProcAddress(std::string(1023, 'g').c_str()), nullptr);
    EXPECT_EQ(gSymbolLookups, 1);
}

TEST(GLExtensionsLibrary, UndefinedNamesResolveToNull) {
    GLExtensions ext;
    EXPECT_NE(ext.GetProcAddress("glBindFramebufferEXT"), nullptr);
    EXPECT_NE(ext.GetProcAddress("glCompressedTexSubImage2D"), nullptr);
    EXPECT_EQ(ext.GetProcAddress("glQzktNoSuchFunction"), nullptr);
    EXPECT_EQ(ext.GetProcAddress(""), nullptr);
}

using GLExtensionsDriverTest = GLContextTest;

TEST_F(GLExtensionsDriverTest, FlagsAndEntryPointsMatchTheDriver) {
    EXPECT_GE(ext.maxTextureSize, 2048);
    EXPECT_EQ(context.maxTextureSize, ext.maxTextureSize);
    EXPECT_GT(ext.maxRenderbufferSize, 0);
    EXPECT_GE(ext.glVersion, 2.0);
    EXPECT_STREQ(ext.rendererName, reinterpret_cast<const char*>(glGetString(GL_RENDERER)));

    // Each flag against the driver's own list, read one name at a time.
    std::set<std::string> advertised;
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    auto getStringi = reinterpret_cast<PFNGLGETSTRINGIPROC>(ext.GetProcAddress("glGetStringi"));
    ASSERT_NE(getStringi, nullptr);
    for (GLint i = 0; i < count; ++i)
        advertised.insert(reinterpret_cast<const char*>(getStringi(GL_EXTENSIONS, i)));
    for (const Flag& flag : kFlags) {
        if (std::strcmp(flag.name, "ARB_texture_compression") == 0) continue;
        EXPECT_EQ(ext.*flag.field, advertised.count(std::string("GL_") + flag.name) ? 1 : 0) << flag.name;
    }

    // What the decoder relies on is there, with every entry point of its groups.
    EXPECT_EQ(ext.ARB_texture_compression, 1);
    EXPECT_EQ(ext.EXT_texture_compression_s3tc, 1);
    EXPECT_EQ(ext.ARB_texture_rectangle, 1);
    ASSERT_EQ(ext.ARB_multitexture, 1);
    ASSERT_EQ(ext.ARB_shader_objects, 1);
    ASSERT_EQ(ext.EXT_framebuffer_object, 1);
#define QZKT_TEST_LOADED(type, function) EXPECT_NE(ext.function, nullptr) << #function;
    QZKT_GL_MULTITEXTURE_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_FRAMEBUFFER_OBJECT_ENTRY_POINTS(QZKT_TEST_LOADED)
#undef QZKT_TEST_LOADED

    GLuint framebuffer = 0;
    ext.glGenFramebuffersEXT(1, &framebuffer);
    ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    EXPECT_EQ(ext.glIsFramebufferEXT(framebuffer), GL_TRUE);
    ext.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    ext.glDeleteFramebuffersEXT(1, &framebuffer);
}
