// GLSLProgram: one GLSL fragment shader, the program object it is linked into, a copy of its
// source and the last compile or link log. There is no vertex shader; the fixed-function
// vertex stage feeds the fragment shader.
//
// A program counts as built when `program` and `shader` are both non-zero; callers build it
// with CreateGLResources() then Init(source), and then bind it and set uniforms themselves
// (glUseProgramObjectARB, glGetUniformLocationARB, ...). A failed Init leaves both objects in
// place: the failure shows only in its result and in `log`. The destructor releases nothing;
// owners call ReleaseGLResources() while the context is current. All operations take the
// GLExtensions of the current context.
#pragma once

class GLExtensions;

class GLSLProgram {
  public:
    static constexpr int kTextSize = 4096; // size of `source` and `log`, NUL included

    // Deletes any existing objects, creates a new program and fragment shader, copies `source`
    // (cut to 4095 characters) and compiles. True when compile and link succeeded.
    bool Init(const char* source, GLExtensions& ext);

    // Creates whichever of the program and the shader is missing; existing ones are kept.
    void CreateGLResources(GLExtensions& ext);

    // Deletes both objects (a second call makes no GL call). The texts are kept.
    void ReleaseGLResources(GLExtensions& ext);

    // Compiles the stored source and links it. False without any GL call when the source is
    // empty (the log is then unchanged); false with the driver's info log in `log` when compile
    // or link fails (the status must be exactly 1 to pass); true with "Compile OK" in `log`.
    bool Compile(GLExtensions& ext);

    unsigned program = 0;        // program object, 0 = none
    unsigned shader = 0;         // fragment shader object, 0 = none
    char source[kTextSize] = {}; // the shader source, NUL-terminated
    char log[kTextSize] = {};    // after a compile: the failing object's info log, or "Compile OK"
};
