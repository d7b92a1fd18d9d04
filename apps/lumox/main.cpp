// The lumox command: information about the library and the headless GL context.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "lumox/math/lumgl.h"
#include "lumox/package/lumversion.h"
#include "lumox/view/lumwgl.h"

namespace {

int Usage(FILE* Out, int Status) {
  std::fprintf(Out,
               "usage: lumox <command>\n"
               "  info        library version and the GL vendor, renderer and version of a\n"
               "              headless context\n"
               "  --version   the library version\n");
  return Status;
}

const char* GLText(GLenum Name) {
  const GLubyte* S = glGetString(Name);
  return S ? reinterpret_cast<const char*>(S) : "(unknown)";
}

int Info() {
  std::printf("Lumox %s\n", LUMOX_VERSION_STRING);
  try {
    auto Ctx = lumox::CreateEGLContext(16, 16);
    if (!Ctx->MakeCurrent()) {
      std::fprintf(stderr, "lumox: the headless context cannot be made current\n");
      return 1;
    }
    std::printf("EGL platform: %s\n", lumox::EGLPlatformName().c_str());
    std::printf("GL vendor:    %s\n", GLText(GL_VENDOR));
    std::printf("GL renderer:  %s\n", GLText(GL_RENDERER));
    std::printf("GL version:   %s\n", GLText(GL_VERSION));
    Ctx->Release();
  } catch (const std::exception& E) {
    std::fprintf(stderr, "lumox: %s\n", E.what());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return Usage(stderr, 2);
  const std::string Cmd = argv[1];
  if (Cmd == "--version") {
    std::printf("%s\n", LUMOX_VERSION_STRING);
    return 0;
  }
  if (Cmd == "--help" || Cmd == "-h") return Usage(stdout, 0);
  if (Cmd == "info") return Info();
  std::fprintf(stderr, "lumox: unknown command '%s'\n", Cmd.c_str());
  return Usage(stderr, 2);
}
