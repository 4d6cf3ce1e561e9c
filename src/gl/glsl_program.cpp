// GLSLProgram: building one fragment program through the ARB shader-object entry points, or
// through the GL 2.0 functions of the same meaning where the context lacks them.
#define GL_GLEXT_PROTOTYPES 1
#include "gl/glsl_program.h"

#include <cstdio>

#include "gl/gl_extensions.h"

namespace {

// The shader-object calls the program makes. ARB handles and GL 2.0 names are the same
// numbers, and the status and log queries behave alike, so both routes take the same steps.
class ShaderCalls {
  public:
    explicit ShaderCalls(GLExtensions& ext) : ext(ext), arb(ext.ARB_shader_objects != 0) {}

    GLuint CreateProgram() { return arb ? ext.glCreateProgramObjectARB() : glCreateProgram(); }
    GLuint CreateFragmentShader() {
        return arb ? ext.glCreateShaderObjectARB(GL_FRAGMENT_SHADER_ARB) : glCreateShader(GL_FRAGMENT_SHADER);
    }
    void DeleteProgram(GLuint program) { arb ? ext.glDeleteObjectARB(program) : glDeleteProgram(program); }
    void DeleteShader(GLuint shader) { arb ? ext.glDeleteObjectARB(shader) : glDeleteShader(shader); }

    // One NUL-terminated string, no length array.
    void SetSource(GLuint shader, const char* text) {
        arb ? ext.glShaderSourceARB(shader, 1, &text, nullptr) : glShaderSource(shader, 1, &text, nullptr);
    }
    void CompileShader(GLuint shader) { arb ? ext.glCompileShaderARB(shader) : glCompileShader(shader); }
    void Attach(GLuint program, GLuint shader) {
        arb ? ext.glAttachObjectARB(program, shader) : glAttachShader(program, shader);
    }
    void Link(GLuint program) { arb ? ext.glLinkProgramARB(program) : glLinkProgram(program); }

    GLint CompileStatus(GLuint shader) {
        GLint status = 0;
        arb ? ext.glGetObjectParameterivARB(shader, GL_OBJECT_COMPILE_STATUS_ARB, &status)
            : glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
        return status;
    }
    GLint LinkStatus(GLuint program) {
        GLint status = 0;
        arb ? ext.glGetObjectParameterivARB(program, GL_OBJECT_LINK_STATUS_ARB, &status)
            : glGetProgramiv(program, GL_LINK_STATUS, &status);
        return status;
    }

    // Copies the info log of a shader or a program into `log` (kTextSize bytes).
    void ShaderLog(GLuint shader, char* log) { ReadLog(shader, log, glGetShaderInfoLog); }
    void ProgramLog(GLuint program, char* log) { ReadLog(program, log, glGetProgramInfoLog); }

  private:
    void ReadLog(GLuint object, char* log, void (*coreLog)(GLuint, GLsizei, GLsizei*, GLchar*)) {
        GLsizei length = 0;
        arb ? ext.glGetInfoLogARB(object, GLSLProgram::kTextSize, &length, log)
            : coreLog(object, GLSLProgram::kTextSize, &length, log);
        log[length] = '\0';
    }

    GLExtensions& ext;
    const bool arb;
};

} // namespace

bool GLSLProgram::Init(const char* source, GLExtensions& ext) {
    ReleaseGLResources(ext);
    ShaderCalls gl(ext);
    program = gl.CreateProgram();
    shader = gl.CreateFragmentShader();
    std::snprintf(this->source, sizeof this->source, "%s", source != nullptr ? source : "");
    return Compile(ext);
}

void GLSLProgram::CreateGLResources(GLExtensions& ext) {
    ShaderCalls gl(ext);
    if (program == 0) program = gl.CreateProgram();
    if (shader == 0) shader = gl.CreateFragmentShader();
}

void GLSLProgram::ReleaseGLResources(GLExtensions& ext) {
    ShaderCalls gl(ext);
    if (program != 0) {
        gl.DeleteProgram(program);
        program = 0;
    }
    if (shader != 0) {
        gl.DeleteShader(shader);
        shader = 0;
    }
}

bool GLSLProgram::Compile(GLExtensions& ext) {
    if (source[0] == '\0') return false;
    ShaderCalls gl(ext);
    gl.SetSource(shader, source);
    gl.CompileShader(shader);
    // Only a status of exactly 1 counts as success.
    if (gl.CompileStatus(shader) != 1) {
        // The program stays unlinked and without the shader attached.
        gl.ShaderLog(shader, log);
        return false;
    }
    gl.Attach(program, shader);
    gl.Link(program);
    if (gl.LinkStatus(program) != 1) {
        gl.ProgramLog(program, log);
        return false;
    }
    std::snprintf(log, sizeof log, "%s", "Compile OK");
    return true;
}
