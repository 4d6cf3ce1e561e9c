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

PFNGLDELETEOBJECTARBPROC gRealDelete = nullptr;
PFNGLGETOBJECTPARAMETERIVARBPROC gRealParameter = nullptr;
int gDeletes = 0;
int gSourceCalls = 0;
GLint gForcedStatus = 0; // 0: report the driver's status

void CountingDelete(GLhandleARB object) {
    ++gDeletes;
    gRealDelete(object);
}

void CountingSource(GLhandleARB, GLsizei, const GLcharARB**, const GLint*) {
    ++gSourceCalls;
}

void ForcedParameter(GLhandleARB object, GLenum parameter, GLint* value) {
    gRealParameter(object, parameter, value);
    if (gForcedStatus != 0) *value = gForcedStatus;
}

class GLSLProgramTest : public GLContextTest {
  protected:
    void SetUp() override {
        GLContextTest::SetUp();
        gRealDelete = ext.glDeleteObjectARB;
        gRealParameter = ext.glGetObjectParameterivARB;
        gDeletes = gSourceCalls = gForcedStatus = 0;
        counting = ext;
        counting.glDeleteObjectARB = CountingDelete;
        counting.glGetObjectParameterivARB = ForcedParameter;
    }

    GLint AttachedCount(GLuint program) {
        GLint count = -1;
        ext.glGetObjectParameterivARB(program, GL_OBJECT_ATTACHED_OBJECTS_ARB, &count);
        return count;
    }

    GLExtensions counting;
};

} // namespace

TEST_F(GLSLProgramTest, BuildsOrKeepsTheDriversLog) {
    GLSLProgram program;
    ASSERT_TRUE(program.Init(kSolid, ext));
    EXPECT_STREQ(program.log, "Compile OK");
    EXPECT_EQ(AttachedCount(program.program), 1);

    EXPECT_FALSE(program.Init("void main() { gl_FragColor = nonsense; }", ext));
    EXPECT_NE(std::string(program.log).find("nonsense"), std::string::npos) << program.log;
    EXPECT_NE(program.program, 0u); // a failed build keeps both objects
    EXPECT_NE(program.shader, 0u);
    EXPECT_EQ(AttachedCount(program.program), 0); // left unlinked, nothing attached

    // Compiles, but the function has no body anywhere: the link fails with the program's log.
    EXPECT_FALSE(program.Init("vec4 f(); void main() { gl_FragColor = f(); }", ext));
    EXPECT_STRNE(program.log, "Compile OK");
    EXPECT_GT(std::strlen(program.log), 0u);
    EXPECT_EQ(AttachedCount(program.program), 1);

    // Only a status of exactly 1 passes: a compile status of 2 stops before the link.
    gForcedStatus = 2;
    EXPECT_FALSE(program.Init(kSolid, counting));
    EXPECT_EQ(AttachedCount(program.program), 0);
    program.ReleaseGLResources(ext);
}

TEST_F(GLSLProgramTest, SourceIsCutTo4095Characters) {
    // A valid program padded to exactly 4095 characters; what follows would not compile.
    std::string source = kSolid;
    source.resize(GLSLProgram::kTextSize - 1, ' ');
    source += "this is cut off";
    GLSLProgram program;
    EXPECT_TRUE(program.Init(source.c_str(), ext)) << program.log;
    EXPECT_EQ(std::strlen(program.source), 4095u);
    program.ReleaseGLResources(ext);
}

TEST_F(GLSLProgramTest, ObjectsAreCreatedAndDeletedOnlyWhenNeeded) {
    GLSLProgram program;
    std::strcpy(program.log, "untouched");
    program.CreateGLResources(counting);
    EXPECT_FALSE(program.Compile(counting)); // empty source: no GL call, log kept
    EXPECT_STREQ(program.log, "untouched");

    const GLuint keptShader = program.shader;
    program.program = 0; // only the missing object is made
    program.CreateGLResources(counting);
    EXPECT_NE(program.program, 0u);
    EXPECT_EQ(program.shader, keptShader);

    EXPECT_TRUE(program.Init(kSolid, counting)); // replaces both
    EXPECT_EQ(gDeletes, 2);
    EXPECT_TRUE(program.Init(kSolid, counting));
    EXPECT_EQ(gDeletes, 4);

    program.ReleaseGLResources(counting);
    EXPECT_EQ(gDeletes, 6);
    EXPECT_EQ(program.program, 0u);
    EXPECT_EQ(program.shader, 0u);
    program.ReleaseGLResources(counting);
    EXPECT_EQ(gDeletes, 6);
    EXPECT_STREQ(program.source, kSolid); // texts are kept

    counting.glShaderSourceARB = CountingSource;
    program.source[0] = '\0';
    program.CreateGLResources(counting);
    EXPECT_FALSE(program.Compile(counting));
    EXPECT_EQ(gSourceCalls, 0);
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
    EXPECT_EQ(AttachedCount(program.program), 1);
    EXPECT_FALSE(program.Init("void main() { gl_FragColor = nonsense; }", core));
    EXPECT_NE(std::string(program.log).find("nonsense"), std::string::npos) << program.log;
    program.ReleaseGLResources(core);
    EXPECT_EQ(program.program, 0u);
}
