// GLSLProgram: building, failing with the driver's log, the source limit, and which objects
// are created and deleted when. Counting goes through a copy of the extension record whose
// shader-object entry points are wrapped.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "gl/glsl_program.h"
#include "gl_test_context.h"

namespace {

const char* const kSolid = "void main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 0.8); }";
const char* const kBroken = "void main() { gl_FragColor = nonsense; }";

PFNGLDELETEOBJECTARBPROC gRealDelete = nullptr;
PFNGLGETOBJECTPARAMETERIVARBPROC gRealParameter = nullptr;
int gDeletes = 0;
GLint gForcedStatus = 0; // 0: report the driver's status

void CountingDelete(GLhandleARB object) {
    ++gDeletes;
    gRealDelete(object);
}

void ForcedParameter(GLhandleARB object, GLenum parameter, GLint* value) {
    gRealParameter(object, parameter, value);
    if (gForcedStatus != 0) *value = gForcedStatus;
}

void NoSource(GLhandleARB, GLsizei, const GLcharARB**, const GLint*) {
    ADD_FAILURE() << "source handed over";
}

class GLSLProgramTest : public GLContextTest {
  protected:
    void SetUp() override {
        GLContextTest::SetUp();
        gRealDelete = ext.glDeleteObjectARB;
        gRealParameter = ext.glGetObjectParameterivARB;
        counting = ext;
        counting.glDeleteObjectARB = CountingDelete;
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

TEST_F(GLSLProgramTest, ObjectsAreCreatedAndDeletedOnlyWhenNeeded) {
    GLSLProgram program;
    program.CreateGLResources(counting);
    const GLuint keptShader = program.shader;
    program.program = 0; // only the missing object is made
    program.CreateGLResources(counting);
    EXPECT_NE(program.program, 0u);
    EXPECT_EQ(program.shader, keptShader);

    EXPECT_TRUE(program.Init(kSolid, counting)); // replaces both
    EXPECT_TRUE(program.Init(kSolid, counting));
    EXPECT_EQ(gDeletes, 4);
    program.ReleaseGLResources(counting);
    program.ReleaseGLResources(counting); // nothing left: no GL call
    EXPECT_EQ(gDeletes, 6);
    EXPECT_EQ(program.program + program.shader, 0u);
    EXPECT_STREQ(program.source, kSolid); // texts are kept

    // An empty source fails without any GL call and keeps the log.
    counting.glShaderSourceARB = NoSource;
    program.source[0] = '\0';
    program.CreateGLResources(counting);
    EXPECT_FALSE(program.Compile(counting));
    EXPECT_STREQ(program.log, "Compile OK");
    program.ReleaseGLResources(counting);
}

TEST_F(GLSLProgramTest, CoreFunctionsServeWithoutTheARBEntryPoints) {
    GLExtensions core = ext;
    core.ARB_shader_objects = 0;
#define QZKT_TEST_CLEAR(type, function) core.function = nullptr;
    QZKT_GL_SHADER_OBJECTS_ENTRY_POINTS(QZKT_TEST_CLEAR)
#undef QZKT_TEST_CLEAR
    GLSLProgram program;
    EXPECT_TRUE(program.Init(kSolid, core)) << program.log;
    EXPECT_EQ(Attached(program.program), 1);
    EXPECT_FALSE(program.Init(kBroken, core));
    EXPECT_TRUE(LogMentions(program, "nonsense")) << program.log;
    program.ReleaseGLResources(core);
    EXPECT_EQ(program.program, 0u);
}
