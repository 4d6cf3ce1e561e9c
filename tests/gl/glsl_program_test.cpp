// GLSLProgram: building, failing with the driver's log, and the source limit. A forced status
// goes through a copy of the extension record whose parameter query is wrapped.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "gl/glsl_program.h"
#include "gl_test_context.h"

namespace {

const char* const kSolid = "void main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 0.8); }";
const char* const kBroken = "void main() { gl_FragColor = nonsense; }";

PFNGLGETOBJECTPARAMETERIVARBPROC gRealParameter = nullptr;
GLint gForcedStatus = 0; // 0: report the driver's status

void ForcedParameter(GLhandleARB object, GLenum parameter, GLint* value) {
    gRealParameter(object, parameter, value);
    if (gForcedStatus != 0) *value = gForcedStatus;
}

class GLSLProgramTest : public GLContextTest {
  protected:
    void SetUp() override {
        GLContextTest::SetUp();
        gRealParameter = ext.glGetObjectParameterivARB;
        counting = ext;
        counting.glGetObjectParameterivARB = ForcedParameter;
    }

    GLint Attached(GLuint program) {
        GLint count = -1;
        ext.glGetObjectParameterivARB(program, GL_OBJECT_ATTACHED_OBJECTS_ARB, &count);
        return count;
    }
    bool LogMentions(const GLSLProgram& program, const char* word) {
        return std::string(program.log).find(word) != std::string::npos;
    }

    GLExtensions counting;
};

} // namespace

TEST_F(GLSLProgramTest, BuildsOrKeepsTheDriversLog) {
    GLSLProgram program;
    ASSERT_TRUE(program.Init(kSolid, ext));
    EXPECT_STREQ(program.log, "Compile OK");
    EXPECT_EQ(Attached(program.program), 1);

    EXPECT_FALSE(program.Init(kBroken, ext));
    EXPECT_TRUE(LogMentions(program, "nonsense")) << program.log;
    EXPECT_NE(program.program * program.shader, 0u); // a failed build keeps both objects
    EXPECT_EQ(Attached(program.program), 0);         // unlinked, nothing attached

    // Compiles, but the function has no body anywhere: the link fails with the program's log.
    EXPECT_FALSE(program.Init("vec4 f(); void main() { gl_FragColor = f(); }", ext));
    EXPECT_STRNE(program.log, "Compile OK");
    EXPECT_EQ(Attached(program.program), 1);

    gForcedStatus = 2; // only a status of exactly 1 passes: this one stops before the link
    EXPECT_FALSE(program.Init(kSolid, counting));
    EXPECT_EQ(Attached(program.program), 0);
    gForcedStatus = 0;

    // The source is cut to 4095 characters: here, just before what would not compile.
    std::string padded = kSolid;
    padded.resize(GLSLProgram::kTextSize - 1, ' ');
    EXPECT_TRUE(program.Init((padded + "this is cut off").c_str(), ext)) << program.log;
    EXPECT_EQ(std::strlen(program.source), 4095u);
    program.ReleaseGLResources(ext);
}
