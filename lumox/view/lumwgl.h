// The GL context layer: the interface every backend implements (make current,
// release, is-current, swap, drawable size, off-screen contexts that share lists)
// and the EGL backend, which renders headless into pbuffers.
#pragma once

#include <memory>
#include <string>

#include "lumox/host/classes.h"
#include "lumox/scene/lumrenderstate.h"

namespace lumox {

// What a context's default framebuffer holds.
struct TLumPixelFormat {
  int ColorBits = 0;  // red + green + blue
  int AlphaBits = 0;
  int DepthBits = 0;
  int StencilBits = 0;
  bool DoubleBuffer = false;
};

class TLumGLContext {
 public:
  TLumGLContext() = default;
  TLumGLContext(const TLumGLContext&) = delete;
  TLumGLContext& operator=(const TLumGLContext&) = delete;
  virtual ~TLumGLContext() = default;

  // Makes the context current on the calling thread; false when that fails.
  virtual bool MakeCurrent() = 0;
  // Leaves the calling thread with no current context.
  virtual void Release() = 0;
  virtual bool IsCurrent() const = 0;
  virtual void SwapBuffers() = 0;
  virtual int Width() const = 0;
  virtual int Height() const = 0;
  // Gives the drawable a new size; display lists and textures survive.
  virtual bool Resize(int W, int H) = 0;
  // A new off-screen context of W x H that shares display lists and textures with
  // this one (and so with every context of the process). Throws Exception on failure.
  virtual std::unique_ptr<TLumGLContext> CreateOffscreen(int W, int H) = 0;
  // Asks the toolkit for a repaint; an off-screen context has nothing to repaint.
  virtual void RequestRepaint() {}
  // Builds the context anew for a framebuffer with or without a back buffer (a
  // drawable's format is chosen once) and returns the replacement; whoever supplied
  // the context does it, so a toolkit rebuilds its own. nullptr keeps this context.
  virtual std::unique_ptr<TLumGLContext> Recreate(bool DoubleBuffer) {
    (void)DoubleBuffer;
    return nullptr;
  }
  virtual TLumPixelFormat PixelFormat() const = 0;
  // What the components rendered in this context take its GL state to be.
  TLumRenderState& RenderState() { return FRenderState; }

 private:
  TLumRenderState FRenderState;
};

// A headless context with a W x H pbuffer: RGBA8, depth of 24 bits or more, a
// stencil bit. Every context shares lists with the process's first context (the
// share root, kept alive for the life of the process). Tries the surfaceless Mesa
// platform, then the EGL device platform, then the default display. Throws
// Exception("Call to OpenGL function wglCreateContext() failed.") when no context
// can be made; when no EGL display exists, the message also says what is missing.
std::unique_ptr<TLumGLContext> CreateEGLContext(int Width, int Height);

// Makes the share root current when no context is current on the calling thread, so
// that shared display lists and textures can be deleted outside a frame. False when a
// context already was current or the root cannot be made current.
bool MakeShareRootCurrent();
// Releases the share root after MakeShareRootCurrent returned true.
void ReleaseShareRoot();

// Which EGL platform the backend uses ("surfaceless", "device" or "default"), the
// EGL vendor and version; empty before the first context or when EGL is unusable.
std::string EGLPlatformName();

}  // namespace lumox
