// Creation and release of a decompressor instance's GL objects.
#include "gl_decompressor_resources.h"

GLDecompressorResources* NewGLDecompressorResources() {
    // Value-initialisation zero-fills the whole record before the members' constructors run,
    // so even fields the constructors leave alone (the extension entry points) start null.
    return new GLDecompressorResources();
}

void GLDecompressorResources::FreeResources() {
    if (context.ActivateContext()) {
        GLExtensions& ext = context.extensions;
        blockTexture.DeleteTexture();
        planeTexture.DeleteTexture();
        framebuffer.FreeResources(ext);
        for (GLSLProgram& program : programs)
            program.ReleaseGLResources(ext);
    }
    context.DeleteContext();
}
