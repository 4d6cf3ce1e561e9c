// Name lookup of GL functions in the GL library this process has loaded. Lives with the rest of
// the EGL code in gl_context_egl.cpp.
#pragma once

// Address of the GL function `name`, or null when the GL library does not define that name.
void* LookUpGLFunction(const char* name);
