// The extension loader against crafted driver strings and symbol tables, and against the real
// driver of a current context.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "gl_test_context.h"

namespace {

const char* gVersion = nullptr;
const char* gExtensions = nullptr;
const char* gRenderer = nullptr;
const char* gHiddenSymbol = nullptr;
int gSymbolLookups = 0;

const char* FakeString(GLenum name) {
    return name == GL_VERSION ? gVersion : name == GL_EXTENSIONS ? gExtensions : gRenderer;
}

// Every name resolves to a dummy address except the hidden one.
void* FakeSymbol(const char* name) {
    static char dummy;
    ++gSymbolLookups;
    return gHiddenSymbol != nullptr && std::strcmp(name, gHiddenSymbol) == 0 ? nullptr : &dummy;
}

// Stands in a field that the loader must leave alone.
void SentinelCombinerInput(GLenum, GLenum, GLenum, GLenum, GLenum, GLenum) {}

struct Flag {
    const char* name;
    int32_t GLExtensions::*field;
};
const Flag kFlags[] = {
#define QZKT_TEST_FLAG(flag) {#flag, &GLExtensions::flag},
    QZKT_GL_EXTENSION_FLAGS(QZKT_TEST_FLAG)
#undef QZKT_TEST_FLAG
};

class GLFakeDriverTest : public ::testing::Test {
  protected:
    void SetUp() override { GLExtensions::SetDriverSources(FakeString, FakeSymbol); }
    void TearDown() override { GLExtensions::SetDriverSources(nullptr, nullptr); }

    double VersionOf(const char* version) {
        gVersion = version;
        ext.FindSupportedExtensions();
        return ext.glVersion;
    }
    // The flags that are 1, by name.
    std::set<std::string> SetFlags() {
        std::set<std::string> names;
        for (const Flag& flag : kFlags) {
            if (ext.*flag.field) names.insert(flag.name);
        }
        return names;
    }

    GLExtensions ext;
};

std::string Token(const char* text, int room, int expectedConsumed) {
    char token[64];
    EXPECT_EQ(get_token(text, token, room), expectedConsumed) << text;
    return token;
}

} // namespace

TEST(GLExtensionsTokens, GetTokenSplitsQuotesAndCountsConsumedCharacters) {
    EXPECT_EQ(Token("  \"a\\b\" x", 16, 7), "a\\b");
    EXPECT_EQ(Token("abcdef", 4, 6), "abc"); // cut, but every letter consumed
    EXPECT_EQ(Token("   ", 8, 3), "");
    EXPECT_EQ(Token("\xA0GL_x\x80y", 16, 5), "GL_x"); // high bytes separate
    EXPECT_EQ(Token("\"ab", 16, 4), "ab");            // a missing closing quote still counts
    EXPECT_EQ(Token("\"a\\\\b\"", 16, 6), "a\\b");    // consecutive backslashes mark once
    EXPECT_EQ(Token("\"a\\\"b\"", 16, 4), "a");       // a marked quote still ends the token
    EXPECT_EQ(Token("\"\\x\"", 2, 4), "\\");          // one place left: only the backslash
    EXPECT_EQ(Token("\"\\x\"", 3, 4), "\\x");

    char token[4] = "old";
    EXPECT_EQ(get_token("abc", token, 0), 0);
    EXPECT_EQ(get_token("abc", nullptr, 4), 0);
    EXPECT_STREQ(token, "old");
    EXPECT_EQ(get_token(nullptr, token, 4), 0);
    EXPECT_STREQ(token, "");
}

TEST_F(GLFakeDriverTest, QueryExtensionMatchesWholeTokensOnly) {
    gExtensions = "GL_ARB_shader_objects GL_EXT_framebuffer_object\xA0GL_NV_texture_shader2 \"GL_open";
    EXPECT_EQ(ext.QueryExtension("GL_EXT_framebuffer_object"), 1);
    EXPECT_EQ(ext.QueryExtension("GL_NV_texture_shader2"), 1);
    EXPECT_EQ(ext.QueryExtension("GL_NV_texture_shader"), 0);
    EXPECT_EQ(ext.QueryExtension("GL_missing"), 0); // stops at the unterminated quote's end
    EXPECT_EQ(ext.QueryExtension("GL_ARB_shader_objects GL_EXT_framebuffer_object"), 0);
    EXPECT_EQ(ext.QueryExtension(""), 0);
    EXPECT_EQ(ext.QueryExtension(nullptr), 0);

    ext.FindSupportedExtensions();
    EXPECT_EQ(SetFlags(),
              (std::set<std::string>{"ARB_shader_objects", "EXT_framebuffer_object", "NV_texture_shader2"}));

    // Every flag is looked up, except texture compression, which the extension string never sets.
    std::string all;
    for (const Flag& flag : kFlags)
        all += std::string("GL_") + flag.name + " ";
    gExtensions = all.c_str();
    ext.FindSupportedExtensions();
    EXPECT_EQ(SetFlags().size(), 93u);
    EXPECT_EQ(ext.ARB_texture_compression, 0);
    gExtensions = nullptr;
    ext.FindSupportedExtensions();
    EXPECT_TRUE(SetFlags().empty());
}

TEST_F(GLFakeDriverTest, VersionIsTheLeadingNumber) {
    EXPECT_EQ(VersionOf("1.5.2 Vendor"), 1.5);
    EXPECT_EQ(VersionOf("2.1 ATI-1.6.36"), 2.1);
    EXPECT_EQ(VersionOf("4.5 (Compatibility Profile) Mesa 22.3.6"), 4.5);
    EXPECT_EQ(VersionOf("2"), 2.0);
    EXPECT_EQ(VersionOf(""), 0.0);
    EXPECT_EQ(VersionOf(nullptr), 0.0);
    EXPECT_EQ(VersionOf("OpenGL ES 3.2"), 0.0); // nothing is skipped to reach the digits
}

TEST_F(GLFakeDriverTest, TextureCompressionIsAllOrNothingAndOtherGroupsFollowTheirFlag) {
    const std::string longRenderer(600, 'r');
    gRenderer = longRenderer.c_str();
    gExtensions = "GL_EXT_framebuffer_object";
    gHiddenSymbol = nullptr;
    ext.glCombinerInputNV = &SentinelCombinerInput;
    ext.Initialize();
    EXPECT_EQ(std::strlen(ext.rendererName), 511u);
    EXPECT_EQ(ext.ARB_texture_compression, 1); // although the extension string does not say so
    EXPECT_NE(ext.glBindFramebufferEXT, nullptr);
    EXPECT_EQ(ext.glCombinerInputNV, &SentinelCombinerInput); // not advertised: left alone

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

    const int lookups = gSymbolLookups;
    EXPECT_NE(ext.GetProcAddress(std::string(1022, 'g').c_str()), nullptr);
    EXPECT_EQ(ext.GetProcAddress(std::string(1023, 'g').c_str()), nullptr); // too long to look up
    EXPECT_EQ(gSymbolLookups, lookups + 1);
}

using GLExtensionsDriverTest = GLContextTest;

TEST_F(GLExtensionsDriverTest, FlagsAndEntryPointsMatchTheDriver) {
    EXPECT_GE(ext.maxTextureSize, 2048);
    EXPECT_GT(ext.maxRenderbufferSize, 0);
    EXPECT_GE(ext.glVersion, 2.0);
    EXPECT_STREQ(ext.rendererName, reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
    EXPECT_EQ(ext.GetProcAddress("glQzktNoSuchFunction"), nullptr);

    // Each flag against the driver's own list, read one name at a time.
    auto getStringi = reinterpret_cast<PFNGLGETSTRINGIPROC>(ext.GetProcAddress("glGetStringi"));
    ASSERT_NE(getStringi, nullptr);
    std::set<std::string> advertised;
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; ++i)
        advertised.insert(reinterpret_cast<const char*>(getStringi(GL_EXTENSIONS, i)));
    for (const Flag& flag : kFlags) {
        if (flag.field == &GLExtensions::ARB_texture_compression) continue;
        EXPECT_EQ(ext.*flag.field, advertised.count(std::string("GL_") + flag.name)) << flag.name;
    }

    // What the decoder relies on is there, with every entry point of its groups.
    EXPECT_EQ(ext.ARB_texture_compression + ext.EXT_texture_compression_s3tc + ext.ARB_texture_rectangle, 3);
    ASSERT_EQ(ext.ARB_multitexture + ext.ARB_shader_objects + ext.EXT_framebuffer_object, 3);
#define QZKT_TEST_LOADED(type, function) EXPECT_NE(ext.function, nullptr) << #function;
    QZKT_GL_MULTITEXTURE_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_TEXTURE_COMPRESSION_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(QZKT_TEST_LOADED)
    QZKT_GL_FRAMEBUFFER_OBJECT_ENTRY_POINTS(QZKT_TEST_LOADED)
#undef QZKT_TEST_LOADED
}
