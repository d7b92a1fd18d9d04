// The lumox command: renders scenes and the built-in demo to PNG files, converts scene
// files, and reports on the library and the headless GL context.
#include <cstdio>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#ifdef LUMOX_HAVE_VIEW
#include "apps/lumox/studiocmd.h"
#endif
#include "lumox/package/lumpackage.h"

namespace lumoxcmd {

namespace {

const char* const RenderOptions =
    "render options:\n"
    "  -o OUT                the image: .png, .bmp, .jpg or .jpeg\n"
    "  --size WxH            image size (default 400x250, at most 16384 a side)\n"
    "  --background RRGGBB   background colour (default 000000)\n"
    "  --camera-distance D   distance of the camera from the origin (default 2)\n"
    "  --fov DEG             vertical field of view (default 45)\n"
    "  --near N, --far F     clipping distances (default 0.1 and 10)\n"
    "  --fit                 frame the whole scene\n"
    "  --camera-position X,Y,Z, --look-at X,Y,Z\n"
    "                        look from a point at a point (Y up)\n"
    "  (without camera options, a camera element of the file is used)\n"
    "  --strict              fail on load warnings\n"
    "  --axes                show the axes cross\n"
    "  --no-headlight        leave out the light from the eye that a scene without\n"
    "                        lights of its own gets (lighting on, both faces lit)\n"
    "  --title TEXT          draw TEXT (UTF-8) at the top of the image\n";

}  // namespace

int Usage(bool Error) {
  std::fprintf(Error ? stderr : stdout,
               "usage: lumox <command> [options]\n"
               "\n"
               "  render [SCENE.lumgl] -o OUT.png [render options]\n"
               "              render a scene file (without SCENE: the demo) to an image;\n"
               "              on a terminal, without -o, to SCENE.png beside the scene\n"
               "  render APP.lumform -o OUT.png [render options]\n"
               "              render a form's first view at its size (--size for another)\n"
               "  demo -o OUT.png [render options]\n"
               "              render the built-in demo scene\n"
               "  info [SCENE.lumgl] [--list-scene] [--strict]\n"
               "              the library version, the headless GL context and, with SCENE,\n"
               "              its objects by class and its vertex and index totals;\n"
               "              --list-scene: the node tree with names and bounding boxes\n"
               "  convert IN OUT [--no-defaults] [--decimals N] [--param-newline]\n"
               "                [--strict] [--force]\n"
               "              load a scene file and save it again (a camera element too);\n"
               "              --force: write over IN even when the load had warnings;\n"
               "              OUT .obj, .stl, .gltf or .glb writes that model format;\n"
               "              OUT .lumform writes a form: a view with the file's camera\n"
               "              (or a default one) and the scene; IN .lumform gives the\n"
               "              form's scene with its view's camera, and says what of the\n"
               "              form the file cannot hold; the writing options apply to\n"
               "              LUMGL output only\n"
               "  check SCENE.lumgl\n"
               "              load a scene file and report its load warnings only\n"
               "              (exit status 1 when there are any)\n"
               "  classes [--attributes | --properties [CLASS]]\n"
               "              the registered component classes by palette page; with\n"
               "              --attributes: every render class's element, attributes and\n"
               "              child elements (the format reference of docs/format.md);\n"
               "              with --properties: each class's published properties, with\n"
               "              type and default, inherited ones first\n"
               "  bench SCENE|s1|s2|s3|s4 [--frames N] [--size WxH] [--uncached]\n"
               "        [--cache-root] [camera options]\n"
               "              time loading, frames, saving and freeing of a scene or a\n"
               "              reference scene headless, against bare GL where it can;\n"
               "              lumox bench --help says more\n"
#ifdef LUMOX_HAVE_VIEW
               "  view [SCENE.lumgl] [options]\n"
               "              show a scene (without SCENE: the demo) in a window;\n"
               "              lumox view --help lists the keys and options\n"
               "  view APP.lumform [options]\n"
               "              run a form: its view with its camera, controller and timers\n"
               "  studio [FILE.lumform | FILE.lumgl] [options]\n"
               "              edit a form or a scene: component tree, property editor,\n"
               "              undo, palette, save as form or scene; lumox studio --help\n"
#endif
               "  Scenes may also be model files (.obj, .stl, .ply, .gltf, .glb, .3ds, .dxf\n"
               "  and the other formats of the model importer). A model reads only files in\n"
               "  its own folder (textures, buffers, material libraries); every command takes\n"
               "  --resource-root DIR (again for more) to let it read DIR too. The importer\n"
               "  runs in a process of its own: a file that crashes it or makes it hang is\n"
               "  refused with exit status 1, and so is one whose reading takes more than\n"
               "  --import-memory MB (default 4096) of memory.\n"
               "  help [render], --help\n"
               "              this text, or the usage of render and demo\n"
               "  --version   the library version\n"
               "\n"
               "Load warnings (text of the file that was not taken as written) are printed\n"
               "on stderr; --strict makes them fail the command with exit status 1.\n"
               "\n%s",
               RenderOptions);
  return Error ? ExitUsage : 0;
}

int RenderUsage() {
  std::printf(
      "usage: lumox render [SCENE.lumgl | APP.lumform] -o OUT [render options]\n"
      "       lumox demo -o OUT [render options]\n"
      "\n"
      "Renders one frame of a scene file (without SCENE: the built-in demo) headless,\n"
      "to an image file of the format its extension names. A form draws its first\n"
      "view, at the view's size unless --size gives one, with its camera unless camera\n"
      "options are given.\n"
      "\n%s",
      RenderOptions);
  return 0;
}

int BadUsage(const std::string& Message) {
  std::fprintf(stderr, "lumox: %s\n(lumox --help shows the usage)\n", Message.c_str());
  return ExitUsage;
}

int Fail(const std::string& File, const std::string& Message) {
  if (File.empty() || Message.find(File) != std::string::npos)
    std::fprintf(stderr, "lumox: %s\n", Message.c_str());
  else
    std::fprintf(stderr, "lumox: %s: %s\n", File.c_str(), Message.c_str());
  return ExitFailure;
}

int RunClasses(const TArgs& Args) {
  if (Args.size() == 1 && Args[0] == "--attributes") {
    try {
      PrintClassAttributes();
    } catch (const std::exception& E) {
      return Fail("", E.what());
    }
    return 0;
  }
  if (!Args.empty() && Args[0] == "--properties" && Args.size() <= 2)
    return PrintClassProperties(Args.size() == 2 ? Args[1] : std::string());
  if (!Args.empty())
    return BadUsage("classes takes no arguments but --attributes or --properties [CLASS]");
  for (const auto& Page : lumox::GetPalettePages()) {
    std::printf("%s:\n", Page.Name.c_str());
    for (const auto& C : Page.Classes) std::printf("  %s\n", C.c_str());
  }
  return 0;
}

}  // namespace lumoxcmd

int main(int argc, char** argv) {
  using namespace lumoxcmd;
  if (argc < 2) return Usage(true);
  const std::string Cmd = argv[1];
  TArgs Args;
  // --resource-root DIR and --import-memory MB go with every command that reads models.
  for (int I = 2; I < argc; ++I) {
    const std::string A = argv[I];
    if (A == "--resource-root" && I + 1 < argc)
      ResourceRoots().push_back(argv[++I]);
    else if (A.rfind("--resource-root=", 0) == 0)
      ResourceRoots().push_back(A.substr(16));
    else if (A == "--resource-root")
      return BadUsage("--resource-root needs a folder");
    else if (A == "--import-memory" || A.rfind("--import-memory=", 0) == 0) {
      const std::string V = A.size() > 15 ? A.substr(16) : I + 1 < argc ? argv[++I] : "";
      if (V.empty() || V.size() > 7 || V.find_first_not_of("0123456789") != std::string::npos ||
          std::stoul(V) == 0)
        return BadUsage("--import-memory needs a size in MB, 1 or more");
      ImportMemoryMB() = static_cast<uint32_t>(std::stoul(V));
    } else
      Args.push_back(A);
  }
  if (Cmd == "--version") {
    std::printf("%s\n", lumox::LumoxVersion());
    return 0;
  }
  if (Cmd == "help" && !Args.empty() && (Args[0] == "render" || Args[0] == "demo"))
    return RenderUsage();
  if (Cmd == "--help" || Cmd == "-h" || Cmd == "help") return Usage(false);
  if (Cmd == "render") return RunRender(Args, false);
  if (Cmd == "demo") return RunRender(Args, true);
  if (Cmd == "info") return RunInfo(Args);
  if (Cmd == "convert") return RunConvert(Args);
  if (Cmd == "classes") return RunClasses(Args);
  if (Cmd == "check") return RunCheck(Args);
  if (Cmd == "bench") return RunBench(Args);
#ifdef LUMOX_HAVE_VIEW
  if (Cmd == "view") return RunView(Args);
  if (Cmd == "studio") return RunStudio(Args);
#endif
  return BadUsage("unknown command '" + Cmd + "'");
}
