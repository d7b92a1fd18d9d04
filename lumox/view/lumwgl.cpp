// The EGL backend of the GL context layer: one display per process, a hidden share
// root context, and pbuffer-backed contexts that all share lists with the root.
#include "lumox/view/lumwgl.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstring>
#include <mutex>

namespace lumox {

namespace {

const char* const kCreateFailed = "Call to OpenGL function wglCreateContext() failed.";

bool HasExtension(const char* List, const char* Name) {
  if (!List) return false;
  const size_t N = std::strlen(Name);
  for (const char* P = List; (P = std::strstr(P, Name)) != nullptr; P += N)
    if ((P == List || P[-1] == ' ') && (P[N] == ' ' || P[N] == '\0')) return true;
  return false;
}

struct TEGLState {
  EGLDisplay Display = EGL_NO_DISPLAY;
  EGLConfig Config = nullptr;
  EGLContext Root = EGL_NO_CONTEXT;
  EGLSurface RootSurface = EGL_NO_SURFACE;
  std::string Platform;
  std::string Error;  // why no display could be used
};

TEGLState& State() {
  static TEGLState S;
  return S;
}

bool TryInitialize(EGLDisplay D) {
  if (D == EGL_NO_DISPLAY) return false;
  EGLint Major = 0, Minor = 0;
  if (!eglInitialize(D, &Major, &Minor)) return false;
  if (!eglBindAPI(EGL_OPENGL_API)) {
    eglTerminate(D);
    return false;
  }
  return true;
}

EGLDisplay OpenDisplay(std::string& Platform) {
  const char* ClientExt = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  auto GetPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
      eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (GetPlatformDisplay && HasExtension(ClientExt, "EGL_MESA_platform_surfaceless")) {
    EGLDisplay D = GetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (TryInitialize(D)) {
      Platform = "surfaceless";
      return D;
    }
  }
  auto QueryDevices =
      reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
  if (GetPlatformDisplay && QueryDevices && HasExtension(ClientExt, "EGL_EXT_platform_device")) {
    EGLDeviceEXT Devices[16];
    EGLint Count = 0;
    if (QueryDevices(16, Devices, &Count))
      for (EGLint I = 0; I < Count; ++I) {
        EGLDisplay D = GetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, Devices[I], nullptr);
        if (TryInitialize(D)) {
          Platform = "device";
          return D;
        }
      }
  }
  EGLDisplay D = eglGetDisplay(EGL_DEFAULT_DISPLAY);
  if (TryInitialize(D)) {
    Platform = "default";
    return D;
  }
  return EGL_NO_DISPLAY;
}

// RGBA8 with a depth buffer of 24 bits or more and a stencil bit, for pbuffers.
// (The 8-bit palette formats of older window systems do not exist on this platform.)
EGLConfig ChooseConfig(EGLDisplay D) {
  const EGLint Attribs[] = {EGL_SURFACE_TYPE,
                            EGL_PBUFFER_BIT,
                            EGL_RENDERABLE_TYPE,
                            EGL_OPENGL_BIT,
                            EGL_RED_SIZE,
                            8,
                            EGL_GREEN_SIZE,
                            8,
                            EGL_BLUE_SIZE,
                            8,
                            EGL_ALPHA_SIZE,
                            8,
                            EGL_DEPTH_SIZE,
                            24,
                            EGL_STENCIL_SIZE,
                            1,
                            EGL_NONE};
  EGLConfig Config = nullptr;
  EGLint N = 0;
  if (!eglChooseConfig(D, Attribs, &Config, 1, &N) || N < 1) return nullptr;
  return Config;
}

EGLSurface MakePbuffer(EGLDisplay D, EGLConfig C, int W, int H) {
  const EGLint Attribs[] = {EGL_WIDTH, W < 1 ? 1 : W, EGL_HEIGHT, H < 1 ? 1 : H, EGL_NONE};
  return eglCreatePbufferSurface(D, C, Attribs);
}

// Opens the display and makes the share root once per process. The root is a hidden
// context of its own rather than the first view's: it lives as long as the process,
// so display lists and textures outlive any view, and a view made after the first
// one is gone still shares with everything made before it.
TEGLState& Ready() {
  static std::once_flag Once;
  std::call_once(Once, [] {
    TEGLState& S = State();
    S.Display = OpenDisplay(S.Platform);
    if (S.Display == EGL_NO_DISPLAY) {
      S.Error =
          " No EGL display is available: install libegl1, libegl-mesa0 and libgl1-mesa-dri "
          "(Mesa's llvmpipe renders without a GPU).";
      return;
    }
    S.Config = ChooseConfig(S.Display);
    if (!S.Config) {
      S.Error = " No EGL configuration with RGBA8, depth 24 and stencil for OpenGL pbuffers.";
      return;
    }
    S.Root = eglCreateContext(S.Display, S.Config, EGL_NO_CONTEXT, nullptr);
    if (S.Root == EGL_NO_CONTEXT) {
      S.Error = " eglCreateContext failed for the share root.";
      return;
    }
    S.RootSurface = MakePbuffer(S.Display, S.Config, 1, 1);
  });
  return State();
}

class TEGLContext : public TLumGLContext {
 public:
  TEGLContext(EGLDisplay D, EGLConfig C, EGLContext Ctx, EGLSurface Surf, int W, int H)
      : FDisplay(D), FConfig(C), FContext(Ctx), FSurface(Surf), FWidth(W), FHeight(H) {}
  ~TEGLContext() override {
    if (IsCurrent()) Release();
    if (FSurface != EGL_NO_SURFACE) eglDestroySurface(FDisplay, FSurface);
    eglDestroyContext(FDisplay, FContext);
  }
  bool MakeCurrent() override {
    return eglMakeCurrent(FDisplay, FSurface, FSurface, FContext) == EGL_TRUE;
  }
  void Release() override {
    eglMakeCurrent(FDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  }
  bool IsCurrent() const override { return eglGetCurrentContext() == FContext; }
  void SwapBuffers() override { eglSwapBuffers(FDisplay, FSurface); }
  int Width() const override { return FWidth; }
  int Height() const override { return FHeight; }
  bool Resize(int W, int H) override {
    if (W == FWidth && H == FHeight) return true;
    EGLSurface S = MakePbuffer(FDisplay, FConfig, W, H);
    if (S == EGL_NO_SURFACE) return false;
    const bool WasCurrent = IsCurrent();
    if (WasCurrent) Release();
    eglDestroySurface(FDisplay, FSurface);
    FSurface = S;
    FWidth = W;
    FHeight = H;
    if (WasCurrent) MakeCurrent();
    return true;
  }
  std::unique_ptr<TLumGLContext> CreateOffscreen(int W, int H) override {
    return CreateEGLContext(W, H);
  }
  // Pbuffers have no back buffer either way; the new context gets a fresh drawable.
  std::unique_ptr<TLumGLContext> Recreate(bool) override {
    return CreateEGLContext(FWidth, FHeight);
  }
  TLumPixelFormat PixelFormat() const override {
    TLumPixelFormat F;
    EGLint R = 0, G = 0, B = 0, A = 0, Dp = 0, St = 0;
    eglGetConfigAttrib(FDisplay, FConfig, EGL_RED_SIZE, &R);
    eglGetConfigAttrib(FDisplay, FConfig, EGL_GREEN_SIZE, &G);
    eglGetConfigAttrib(FDisplay, FConfig, EGL_BLUE_SIZE, &B);
    eglGetConfigAttrib(FDisplay, FConfig, EGL_ALPHA_SIZE, &A);
    eglGetConfigAttrib(FDisplay, FConfig, EGL_DEPTH_SIZE, &Dp);
    eglGetConfigAttrib(FDisplay, FConfig, EGL_STENCIL_SIZE, &St);
    F.ColorBits = R + G + B;
    F.AlphaBits = A;
    F.DepthBits = Dp;
    F.StencilBits = St;
    F.DoubleBuffer = false;  // pbuffers are single-buffered
    return F;
  }

 private:
  EGLDisplay FDisplay;
  EGLConfig FConfig;
  EGLContext FContext;
  EGLSurface FSurface;
  int FWidth, FHeight;
};

}  // namespace

std::unique_ptr<TLumGLContext> CreateEGLContext(int Width, int Height) {
  TEGLState& S = Ready();
  if (S.Root == EGL_NO_CONTEXT) throw Exception(std::string(kCreateFailed) + S.Error);
  EGLContext Ctx = eglCreateContext(S.Display, S.Config, S.Root, nullptr);
  if (Ctx == EGL_NO_CONTEXT) throw Exception(kCreateFailed);
  EGLSurface Surf = MakePbuffer(S.Display, S.Config, Width, Height);
  if (Surf == EGL_NO_SURFACE) {
    eglDestroyContext(S.Display, Ctx);
    throw Exception(kCreateFailed);
  }
  return std::make_unique<TEGLContext>(S.Display, S.Config, Ctx, Surf, Width < 1 ? 1 : Width,
                                       Height < 1 ? 1 : Height);
}

bool MakeShareRootCurrent() {
  if (eglGetCurrentContext() != EGL_NO_CONTEXT) return false;
  // No root yet means no shared object was ever made: nothing needs a context.
  const TEGLState& S = State();
  if (S.Root == EGL_NO_CONTEXT) return false;
  return eglMakeCurrent(S.Display, S.RootSurface, S.RootSurface, S.Root) == EGL_TRUE;
}

void ReleaseShareRoot() {
  eglMakeCurrent(State().Display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

std::string EGLPlatformName() {
  TEGLState& S = State();
  return S.Platform;
}

}  // namespace lumox
