// OpenGL 1.1 and GLU for the whole library. Loading the library masks every
// floating-point exception, so divisions by zero give infinities, never traps.
#pragma once

#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES 1
#endif
#include <GL/gl.h>
#include <GL/glu.h>

namespace lumox {

// Masks all floating-point exceptions of the calling thread. Runs once when the
// library is loaded; call it again on threads created later that use the library.
void LumglMaskFPUExceptions();

}  // namespace lumox
