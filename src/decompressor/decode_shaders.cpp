// The DXT decode programs and their uniforms.
#include "decode_shaders.h"

#include "decompressor/dxt24_gpu_shader.h"

// One line each: statements separated by runs of spaces, no newline anywhere.
const char kKELOneTextureShaderSource[] = "      uniform sampler2D TEX0;"
                                          "       uniform vec2 minST0;"
                                          "       uniform vec2 maxST0;"
                                          "             void main()"
                                          "       {"
                                          "         vec2 st0 = clamp(gl_TexCoord[0].st, minST0, maxST0);"
                                          "         vec4 t"
                                          "  = texture2D(TEX0, st0);"
                                          "         gl_FragColor = t.argb;"
                                          "       }";

const char kKELTwoTextureShaderSource[] = "      uniform sampler2D TEX0;"
                                          "       uniform sampler2D TEX1;"
                                          "       uniform vec2 minST0;"
                                          "       uniform vec2 maxST0;"
                                          "       uniform vec2 minST1;"
                                          "       uniform vec2 maxST1;"
                                          "       uniform float edgeLow;"
                                          "       uniform float edgeHigh;"
                                          "             void main()"
                                          "       {"
                                          "         vec2 st0 = clamp(gl_TexCoord[0].st, minST0, maxST0);"
                                          "         vec2 st1 = clamp(gl_TexCoord[1].st, minST1, maxST1);"
                                          "         vec4 t"
                                          "  = texture2D(TEX0, st0);"
                                          "         vec4 qt = texture2D(TEX1, st1);"
                                          "         float e = smoothstep(edgeLow,edgeHigh,qt.a);"
                                          "         gl_FragColor.gba = mix(qt.rgb,t.rgb,e);"
                                          "         gl_FragColor.r = t.a;"
                                          "       }";

namespace {

// Builds the slot's program unless both of its objects exist. A failed compile still leaves
// both objects, so the slot then counts as built; the failure shows only in its log.
GLSLProgram& BuiltProgram(GLSLProgram& program, const char* source, GLExtensions& ext) {
    if (program.program == 0 || program.shader == 0) {
        program.CreateGLResources(ext);
        program.Init(source, ext);
    }
    return program;
}

void SetInt(GLExtensions& ext, unsigned program, const char* name, int value) {
    const int location = ext.glGetUniformLocationARB(program, name);
    if (location >= 0) ext.glUniform1iARB(location, value);
}

void SetFloat(GLExtensions& ext, unsigned program, const char* name, double value) {
    const int location = ext.glGetUniformLocationARB(program, name);
    if (location >= 0) ext.glUniform1fARB(location, static_cast<float>(value));
}

void SetVec2(GLExtensions& ext, unsigned program, const char* name, double x, double y) {
    const int location = ext.glGetUniformLocationARB(program, name);
    if (location >= 0) ext.glUniform2fARB(location, static_cast<float>(x), static_cast<float>(y));
}

// minST/maxST: from the centre of the first texel to the centre of the last filled texel,
// so sampling never reaches the unfilled part of a power-of-two texture.
void SetClampRange(GLExtensions& ext, unsigned program, const char* minName, const char* maxName,
                   const GLTexture& texture) {
    const double w = texture.sourceWidth, h = texture.sourceHeight;
    const double W = texture.textureWidth, H = texture.textureHeight;
    SetVec2(ext, program, minName, 0.5 / W, 0.5 / H);
    SetVec2(ext, program, maxName, (w - 0.5) / W, (h - 0.5) / H);
}

} // namespace

void ApplyKELShader(GLDecompressorResources* resources, GLExtensions& ext, double edgeHigh,
                    bool withSecondPlane) {
    if (!ext.ARB_shader_objects) return; // no program can be built in this context
    GLSLProgram& program =
        withSecondPlane
            ? BuiltProgram(resources->programs[kTwoTextureProgram], kKELTwoTextureShaderSource, ext)
            : BuiltProgram(resources->programs[kOneTextureProgram], kKELOneTextureShaderSource, ext);
    ext.glUseProgramObjectARB(program.program);

    const unsigned p = program.program;
    SetInt(ext, p, "TEX0", 0);
    SetInt(ext, p, "TEX1", 1);
    SetFloat(ext, p, "edgeLow", 0.0);
    SetFloat(ext, p, "edgeHigh", edgeHigh);
    SetClampRange(ext, p, "minST0", "maxST0", resources->blockTexture);
    SetClampRange(ext, p, "minST1", "maxST1", resources->planeTexture);
}

void ApplyDXT24Shader(GLDecompressorResources* resources, GLExtensions& gl, bool hasAlpha) {
    if (!gl.ARB_shader_objects) return;
    GLSLProgram& program =
        hasAlpha ? BuiltProgram(resources->programs[kDXT24AlphaProgram], kDXT24AlphaShaderSource, gl)
                 : BuiltProgram(resources->programs[kDXT24Program], kDXT24ShaderSource, gl);
    gl.glUseProgramObjectARB(program.program);
    SetInt(gl, program.program, "TEX0", 0);
    SetClampRange(gl, program.program, "minST0", "maxST0", resources->blockTexture);
}
