// The render, demo, info and convert subcommands: option parsing, scene loading with
// progress, framing the whole scene, and the one headless frame.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/lumox/formapp.h"
#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumbounds.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/host/formfile.h"
#include "lumox/host/graphics.h"
#include "lumox/math/lumgl.h"
#include "lumox/package/lumpackage.h"
#include "lumox/scene/lumobj.h"
#include "lumox/scene/lumtex.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

bool ParseSize(const std::string& Text, int& W, int& H) {
  const size_t X = Text.find_first_of("xX");
  if (X == std::string::npos) return false;
  auto Int = [](const std::string& S, int& V) {
    if (S.empty() || S.size() > 9 || !std::all_of(S.begin(), S.end(), ::isdigit)) return false;
    V = std::stoi(S);
    return V > 0;
  };
  return Int(Text.substr(0, X), W) && Int(Text.substr(X + 1), H);
}

namespace {

constexpr double Pi = 3.14159265358979323846;

struct TRenderOptions {
  std::string Scene;
  std::string Out;
  int Width = 400;
  int Height = 250;
  bool HasSize = false;
  uint32_t Background = 0;  // $00BBGGRR
  bool HasBackground = false;
  std::optional<double> Distance, Fov, Near, Far;
  bool Fit = false;
  bool Axes = false;
  std::string Title;  // drawn at the top through the view's canvas
  bool Strict = false;
  bool Headlight = true;  // for scenes without lights of their own
  bool SayWhere = false;  // the output was chosen by the command: tell where it went
  std::optional<TLumMathVector> Position, Target;
  // No option of the command's camera: a camera of the file is used.
  bool CameraOptions() const { return Distance || Fov || Near || Far || Fit || Position || Target; }
};

bool ParseNumber(const std::string& Text, double& Value) {
  if (Text.empty()) return false;
  size_t Used = 0;
  try {
    Value = std::stod(Text, &Used);
  } catch (const std::exception&) {
    return false;
  }
  return Used == Text.size() && std::isfinite(Value);
}

bool ParseVector(const std::string& Text, TLumMathVector& V) {
  const size_t C1 = Text.find(','), C2 = C1 == std::string::npos ? C1 : Text.find(',', C1 + 1);
  if (C2 == std::string::npos) return false;
  return ParseNumber(Text.substr(0, C1), V.X) &&
         ParseNumber(Text.substr(C1 + 1, C2 - C1 - 1), V.Y) &&
         ParseNumber(Text.substr(C2 + 1), V.Z);
}

// Whether the output's extension names a format the image writer knows (PNG, BMP or
// JPEG), compared without regard to case.
bool KnownImageExtension(const std::string& File) {
  const size_t Dot = File.find_last_of("./");
  if (Dot == std::string::npos || File[Dot] != '.') return false;
  std::string Ext = File.substr(Dot + 1);
  for (char& C : Ext) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
  return Ext == "png" || Ext == "bmp" || Ext == "jpg" || Ext == "jpeg";
}

bool ParseColor(std::string Text, uint32_t& Color) {
  if (!Text.empty() && Text[0] == '#') Text.erase(0, 1);
  if (Text.size() != 6 || !std::all_of(Text.begin(), Text.end(), ::isxdigit)) return false;
  const uint32_t RGB = static_cast<uint32_t>(std::stoul(Text, nullptr, 16));
  Color = ((RGB >> 16) & 0xFF) | (RGB & 0xFF00) | ((RGB & 0xFF) << 16);
  return true;
}

// Without -o, on a terminal, a scene is rendered to SCENE.png beside it.
int DefaultOutput(TRenderOptions& O) {
  if (O.Scene.empty() || !::isatty(STDOUT_FILENO)) return BadUsage("missing -o OUT.png");
  const size_t Slash = O.Scene.find_last_of('/');
  const size_t Dot = O.Scene.find_last_of('.');
  O.Out = (Dot != std::string::npos && (Slash == std::string::npos || Dot > Slash + 1)
               ? O.Scene.substr(0, Dot)
               : O.Scene) +
          ".png";
  O.SayWhere = true;
  return 0;
}

// Splits "--name=value" and "--name value"; returns false (with a message) on errors.
// Without NeedOutput only the options are read (other subcommands take the camera ones).
int ParseRenderArgs(const TArgs& Args, bool Demo, TRenderOptions& O, bool NeedOutput = true) {
  for (size_t I = 0; I < Args.size(); ++I) {
    std::string A = Args[I], Value;
    bool Inline = false;
    if (A.rfind("--", 0) == 0 && A.find('=') != std::string::npos) {
      Value = A.substr(A.find('=') + 1);
      A = A.substr(0, A.find('='));
      Inline = true;
    }
    auto Next = [&](std::string& V) {
      if (Inline) {
        V = Value;
        return true;
      }
      if (I + 1 >= Args.size()) return false;
      V = Args[++I];
      return true;
    };
    auto Number = [&](std::optional<double>& Field, bool Positive) {
      std::string V;
      double D = 0;
      if (!Next(V)) return BadUsage(A + " needs a value");
      if (!ParseNumber(V, D) || (Positive && !(D > 0)))
        return BadUsage("bad value '" + V + "' for " + A);
      Field = D;
      return 0;
    };
    int Status = 0;
    if (A == "-o" || A == "--output") {
      if (!Next(O.Out) || O.Out.empty()) return BadUsage(A + " needs a file name");
    } else if (A == "--size") {
      std::string V;
      if (!Next(V) || !ParseSize(V, O.Width, O.Height))
        return BadUsage("--size needs WIDTHxHEIGHT, e.g. 800x600");
      O.HasSize = true;
      if (O.Width > MaxImageSide || O.Height > MaxImageSide)
        return BadUsage("--size " + V + " is too large: at most " + std::to_string(MaxImageSide) +
                        " pixels a side");
    } else if (A == "--background") {
      std::string V;
      if (!Next(V) || !ParseColor(V, O.Background))
        return BadUsage("--background needs a colour RRGGBB, e.g. 203040");
      O.HasBackground = true;
    } else if (A == "--camera-distance") {
      Status = Number(O.Distance, true);
    } else if (A == "--fov") {
      Status = Number(O.Fov, true);
      if (!Status && !(*O.Fov < 180)) return BadUsage("--fov must lie between 0 and 180");
    } else if (A == "--near") {
      Status = Number(O.Near, true);
    } else if (A == "--far") {
      Status = Number(O.Far, true);
    } else if (A == "--fit" && !Inline) {
      O.Fit = true;
    } else if (A == "--axes" && !Inline) {
      O.Axes = true;
    } else if (A == "--no-headlight" && !Inline) {
      O.Headlight = false;
    } else if (A == "--title") {
      if (!Next(O.Title)) return BadUsage("--title needs a text");
    } else if (A == "--strict" && !Inline) {
      O.Strict = true;
    } else if (A == "--camera-position" || A == "--look-at") {
      std::string V;
      TLumMathVector P{};
      if (!Next(V) || !ParseVector(V, P)) return BadUsage(A + " needs X,Y,Z, e.g. 0,1,3");
      (A == "--look-at" ? O.Target : O.Position) = P;
    } else if (!A.empty() && A[0] == '-') {
      return BadUsage("unknown option '" + Args[I] + "'");
    } else if (Demo) {
      return BadUsage("demo takes no scene file");
    } else if (!O.Scene.empty()) {
      return BadUsage("more than one scene file");
    } else {
      O.Scene = A;
    }
    if (Status) return Status;
  }
  if ((O.Position || O.Target) && (O.Fit || O.Distance))
    return BadUsage("--camera-position and --look-at do not go with --fit or --camera-distance");
  if (!NeedOutput) return 0;
  if (O.Out.empty())
    if (const int Status = DefaultOutput(O)) return Status;
  if (!KnownImageExtension(O.Out))
    return BadUsage("-o " + O.Out +
                    ": name the image format by its extension: .png, .bmp, .jpg or .jpeg");
  return 0;
}

}  // namespace

bool FitCamera(TLumPerspectiveCamera* Camera, TLumRender* Root, int Width, int Height,
               std::optional<double> Distance, bool RoomToMove) {
  const TLumBounds Box = LumWorldBounds(Root);
  if (Box.Empty()) return false;
  // From the front, unless the scene is flat across the view (a drawing in the Y-Z
  // plane, a ground in X-Z): then from the side it faces.
  const TLumMathVector Centre = Box.Centre();
  const double EX = Box.Max.X - Box.Min.X, EY = Box.Max.Y - Box.Min.Y, EZ = Box.Max.Z - Box.Min.Z;
  TLumMathVector Axis{0, 0, 1};
  if (EY < 0.1 * std::max(EX, EZ) && EY <= EX)
    Axis = {0, 1, 0};
  else if (EX < 0.1 * std::max(EY, EZ))
    Axis = {1, 0, 0};
  auto Eye = [&](double D) {
    return TLumMathVector{Centre.X + Axis.X * D, Centre.Y + Axis.Y * D, Centre.Z + Axis.Z * D};
  };
  LookAt(Camera, Eye(1), Centre);
  // Close enough that the scene fills the view, with a margin of 5 % a side.
  const double TanY = std::tan(Camera->ViewAngle() * Pi / 360) / 1.05;
  const double TanX = TanY * Width / Height;
  const double Size = std::max(Box.Diagonal(), 1e-6);
  double D =
      LumFitDistance(Root, Camera->Transformation()->Rotation()->GetMatrix(), Centre, TanX, TanY);
  if (!(D > Size * 1e-3)) D = Size;  // a point, or the eye inside the scene
  D = Distance.value_or(D);
  LookAt(Camera, Eye(D), Centre);
  // The clipping planes just around the scene, or far enough apart to walk about in it.
  const double Depth = Axis.X * EX + Axis.Y * EY + Axis.Z * EZ;
  const double Front = D - Depth / 2, Back = D + Depth / 2;
  const double Far = RoomToMove ? Back + 2 * Size : Back + 0.05 * Size;
  Camera->SetViewFar(static_cast<float>(Far));
  Camera->SetViewNear(
      static_cast<float>(RoomToMove ? Far / 2000 : std::max(Front - 0.05 * Size, Back / 1000)));
  return true;
}

namespace {

void SetupCamera(TLumPerspectiveCamera* Camera, TLumRender* Root, const TRenderOptions& O) {
  if (O.Fov) Camera->SetViewAngle(static_cast<float>(*O.Fov));
  if (O.Position || O.Target) {
    const TLumMathVector Eye = O.Position.value_or(TLumMathVector{0, 0, 2});
    const TLumMathVector At = O.Target.value_or(TLumMathVector{0, 0, 0});
    LookAt(Camera, Eye, At);
    const double Distance = std::hypot(At.X - Eye.X, At.Y - Eye.Y, At.Z - Eye.Z);
    Camera->SetViewFar(static_cast<float>(std::max(10.0, 3 * Distance)));
  }
  if (O.Fit && FitCamera(Camera, Root, O.Width, O.Height, O.Distance, false)) {
  } else if (O.Distance) {
    Camera->Transformation()->Translation()->SetZ(static_cast<float>(-*O.Distance));
  }
  if (O.Near) Camera->SetViewNear(static_cast<float>(*O.Near));
  if (O.Far) Camera->SetViewFar(static_cast<float>(*O.Far));
}

}  // namespace

// --- loading ----------------------------------------------------------------------------

std::string LoadScene(const std::string& File, TComponent* Owner, TLumNode* Root,
                      TSceneLoad* Load) {
  struct stat St {};
  if (::stat(File.c_str(), &St) == 0 && S_ISDIR(St.st_mode))
    throw Exception("\"" + File + "\" is a directory, not a scene file");
  if (::stat(File.c_str(), &St) != 0)
    throw Exception("Cannot open file \"" + File + "\": no such file");
  if (!S_ISREG(St.st_mode))
    throw Exception("Cannot open file \"" + File +
                    "\": it is a device, pipe or socket, not a file");
  if (IsModelPath(File)) return LoadModelInto(File, Owner, Root, Load), std::string();
  // Freed however the load ends; its owner only holds it meanwhile.
  const std::unique_ptr<TLumExchange> Ex(new TLumExchange(Owner));
  Ex->SetFileName(File);
  if (Load) ReadFileCamera(Ex.get(), Owner, Root, &Load->Camera);
  const bool Bar = ::isatty(2) && St.st_size >= 1024 * 1024;
  int Shown = -1;
  if (Bar)
    Ex->OnSProgress = [&Shown, &File](double Progress) {
      const int Percent = static_cast<int>(std::clamp(Progress, 0.0, 1.0) * 100);
      if (Percent == Shown) return;
      Shown = Percent;
      const int Filled = Percent * 30 / 100;
      std::fprintf(stderr, "\rloading %s [%s%s] %3d%%", File.c_str(),
                   std::string(Filled, '#').c_str(), std::string(30 - Filled, ' ').c_str(),
                   Percent);
      std::fflush(stderr);
    };
  try {
    Ex->LoadfromFile(Root);
  } catch (...) {
    if (Bar) std::fprintf(stderr, "\n");
    throw;
  }
  if (Bar) {
    if (Shown < 100) Ex->OnSProgress(1.0);
    std::fprintf(stderr, "\n");
  }
  // The reader takes any text and the library loads nothing from a file without
  // "Objects", with a warning; the command judges the same way, and refuses such a file.
  if (!Ex->SawObjects())
    throw Exception("\"" + File +
                    "\" is not a LUMGL scene file (no \"Objects\" element: nothing was loaded)");
  if (Load) Load->Warnings = Ex->Warnings(), Load->Notes = Ex->Notes();
  return Ex->FileDescription();
}

int ApplyCameraOptions(const TArgs& Args, int Width, int Height, TLumNode* Root,
                       TLumPerspectiveCamera* Camera) {
  TRenderOptions O;
  if (int Status = ParseRenderArgs(Args, true, O, false)) return Status;
  O.Width = Width;
  O.Height = Height;
  if (Camera) SetupCamera(Camera, Root, O);
  return 0;
}

namespace {

// Builds the meshes and checks the texture sizes under Roots before the frame, so that one
// over a limit is reported by name rather than as a frame that could not be rendered;
// then draws View's frame (with the title) and writes it to O.Out.
int DrawAndSave(TLumView* View, const std::vector<TLumRender*>& Roots, const TRenderOptions& O,
                const std::string& Name) {
  auto Prepare = [](TLumRender* Item) {
    if (auto* Mesh = dynamic_cast<TLumPrimitiveObj*>(Item))
      if (!Mesh->Initialized()) Mesh->Init();
    if (auto* Tex = dynamic_cast<TLumTexture*>(Item)) Tex->CheckMaxSize();
  };
  // A node referred to is walked where it is held.
  for (TLumRender* Root : Roots) {
    Prepare(Root);
    if (auto* N = dynamic_cast<TLumNode*>(Root))
      LumWalkItems(N, [&](TLumNode* Node, int I, TLumRender* Item) {
        if (Node->IsIndirect(I) && dynamic_cast<TLumNode*>(Item)) return false;
        Prepare(Item);
        return true;
      });
  }
  if (!O.Title.empty())
    View->OnRender = [Draw = View->OnRender, &O](TLumView* V) {
      if (Draw) Draw(V);
      TLumCanvas* C = V->Canvas();
      C->Font()->SetSize(std::max(8, O.Height / 22));
      C->TextOut((O.Width - C->TextWidth(O.Title)) / 2, O.Height / 40, O.Title);
    };
  TBitmap Image(O.Width, O.Height);
  if (!View->GetImage(&Image)) return Fail(Name, "no image could be rendered");
  try {
    Image.SaveToFile(O.Out);
  } catch (const std::exception& E) {
    return Fail(O.Out, E.what());
  }
  if (O.SayWhere) std::printf("wrote %s\n", O.Out.c_str());
  return 0;
}

// A form draws its first view as `lumox view` shows it; the options change what they
// name: the size, the background, the axes, the camera (the view's own when it is a
// perspective one), the headlight.
int RenderForm(TRenderOptions& O) {
  TComponent Form(nullptr);
  try {
    LoadComponentForm(&Form, O.Scene);
  } catch (const std::exception& E) {
    return Fail(O.Scene, E.what());
  }
  TLumFormApp Run(&Form);
  // The scene goes before the views it tells of its changes (a form may list them first).
  struct TFree {
    TComponent* Form;
    ~TFree() { LumFreeScene(Form); }
  } Free{&Form};
  try {
    const TFormShow Show = ShowForm(Run, O.Headlight);
    TLumView* View = Show.View;
    if (O.HasSize) View->SetBounds(O.Width, O.Height);
    O.Width = View->Width();
    O.Height = View->Height();
    if (O.Width < 1 || O.Height < 1 || O.Width > MaxImageSide || O.Height > MaxImageSide)
      return Fail(O.Scene, "the view's size " + std::to_string(O.Width) + "x" +
                               std::to_string(O.Height) + " cannot be rendered (1 to " +
                               std::to_string(MaxImageSide) +
                               " pixels a side; --size sets another)");
    try {
      View->HandleNeeded();  // a context that cannot be made says why
    } catch (const std::exception& E) {
      return Fail("", E.what());
    }
    if (O.HasBackground) View->SetBackgroundColor(O.Background);
    if (O.Axes) View->Coordinates()->SetVisible(true);
    if (O.CameraOptions()) {
      // As for a scene file: the options place a camera of their own, so that a form and
      // the scene converted from it render alike.
      auto* Camera = new TLumPerspectiveCamera(Show.Helpers);
      View->SetCamera(Camera);
      SetupCamera(Camera, Show.Scene, O);
    }
    return DrawAndSave(View, Run.Roots(), O, O.Scene);
  } catch (const std::exception& E) {
    return Fail(O.Scene, E.what());
  }
}

}  // namespace

int RunRender(const TArgs& Args, bool Demo) {
  if (std::find(Args.begin(), Args.end(), "--help") != Args.end()) return RenderUsage();
  TRenderOptions O;
  if (int Status = ParseRenderArgs(Args, Demo, O)) return Status;
  if (O.Scene.empty()) Demo = true;
  if (!Demo && IsFormPath(O.Scene)) return RenderForm(O);
  const std::string Name = Demo ? "the demo scene" : O.Scene;
  try {
    TComponent Form(nullptr);
    auto* Root = new TLumNode(&Form);
    TSceneLoad Load;
    if (Demo)
      LoadDemoScene(&Form, Root);
    else
      LoadScene(O.Scene, &Form, Root, &Load);
    PrintWarnings(Load);
    if (O.Strict && !Load.Warnings.empty()) return StrictStatus(O.Scene, Load.Warnings);
    auto* View = new TLumView(&Form);
    View->SetBounds(O.Width, O.Height);
    try {
      View->HandleNeeded();  // a context that cannot be made says why
    } catch (const std::exception& E) {
      return Fail("", E.what());
    }
    auto* Camera = new TLumPerspectiveCamera(&Form);
    if (Demo) {
      // The demo is framed by its own camera: a little above the floor, looking down.
      View->SetBackgroundColor(0x281810);
      View->Coordinates()->SetVisible(true);
      View->Coordinates()->SetLength(0.6f);
      Camera->Transformation()->SetOrder(toTraRotSca);
      Camera->Transformation()->Rotation()->SetX(22);
      Camera->Transformation()->Translation()->SetValues(0, -0.15f, -6.6f);
      Camera->SetViewAngle(40);
      Camera->SetViewNear(1);
      Camera->SetViewFar(30);
    }
    if (O.HasBackground) View->SetBackgroundColor(O.Background);
    if (O.Axes) View->Coordinates()->SetVisible(true);
    if (Load.Camera && !O.CameraOptions()) {
      View->SetCamera(Load.Camera);
    } else {
      View->SetCamera(Camera);
      SetupCamera(Camera, Root, O);
    }
    std::shared_ptr<THeadlight> Light;
    if (O.Headlight && !HasLights(Root)) Light = std::make_shared<THeadlight>(&Form, Root);
    View->OnRender = [Root, Light](TLumView* V) {
      if (Light) Light->Render(V);
      Root->Render(V);
    };
    return DrawAndSave(View, {Root}, O, Name);
  } catch (const std::exception& E) {
    return Fail(Demo ? "" : O.Scene, E.what());
  }
}

int RunInfo(const TArgs& Args) {
  std::string Scene;
  bool Strict = false, ListScene = false;
  for (const auto& A : Args) {
    if (A == "--strict") {
      Strict = true;
      continue;
    }
    if (A == "--list-scene") {
      ListScene = true;
      continue;
    }
    if (!A.empty() && A[0] == '-') return BadUsage("unknown option '" + A + "'");
    if (!Scene.empty()) return BadUsage("info takes one scene file at most");
    Scene = A;
  }
  if (ListScene && Scene.empty()) return BadUsage("--list-scene needs a scene file");
  TSceneLoad Load;
  try {
    TComponent Form(nullptr);
    TLumNode* Root = nullptr;
    if (!Scene.empty()) {
      Root = new TLumNode(&Form);
      LoadScene(Scene, &Form, Root, &Load);
      PrintWarnings(Load);
    }
    auto* View = new TLumView(&Form);
    std::fputs(LumDiagnosticsReport(View, Root).c_str(), stdout);
    if (ListScene) PrintSceneTree(Root);
  } catch (const std::exception& E) {
    return Fail(Scene, E.what());
  }
  return Strict ? StrictStatus(Scene, Load.Warnings) : 0;
}

// A conversion whose input loaded with warnings writes less than the input holds: say
// so, and write over the input itself only with --force.
int CheckLoss(const std::string& In, const std::string& Out,
              const std::vector<TLumLoadWarning>& Warnings, bool Force) {
  if (Warnings.empty()) return 0;
  std::error_code Ec;
  const bool Same = std::filesystem::equivalent(In, Out, Ec);
  std::fprintf(stderr, "lumox: %s will not hold everything %s holds (see the warnings)\n",
               Out.c_str(), In.c_str());
  if (Same && !Force)
    return Fail(In, "not written over its own input, which would lose it (--force to do so)");
  return 0;
}

void SaveScene(TLumNode* Root, TLumCamera* Camera, const std::string& File, const TSceneWrite& W) {
  if (IsModelOutput(File)) return SaveModelFile(Root, File);
  TLumExchange Out(nullptr);
  Out.SetFileName(File);
  Out.SetNoDefaultValues(W.NoDefaults);
  Out.SetParamNewLine(W.ParamNewLine);
  Out.SetDecimals(W.Decimals);
  if (W.Description) Out.SetFileDescription(*W.Description);
  SaveWithCamera(&Out, Root, Camera);
}

int RunConvert(const TArgs& Args) {
  std::vector<std::string> Files, Options;
  bool Strict = false, Force = false;
  TSceneWrite W;
  for (size_t I = 0; I < Args.size(); ++I) {
    const std::string& A = Args[I];
    if (!A.empty() && A[0] == '-') Options.push_back(A);
    if (A == "--no-defaults") {
      W.NoDefaults = true;
    } else if (A == "--param-newline") {
      W.ParamNewLine = true;
    } else if (A == "--strict") {
      Strict = true;
    } else if (A == "--force") {
      Force = true;
    } else if (A == "--decimals") {
      double D = 0;
      if (I + 1 >= Args.size() || !ParseNumber(Args[I + 1], D) || D < 0 || D > 17 ||
          D != std::floor(D))
        return BadUsage("--decimals needs a whole number from 0 to 17");
      W.Decimals = static_cast<int32_t>(D);
      ++I;
    } else if (!A.empty() && A[0] == '-') {
      return BadUsage("unknown option '" + A + "'");
    } else {
      Files.push_back(A);
    }
  }
  if (Files.size() != 2) return BadUsage("convert needs IN and OUT");
  if (Files[0].empty() || Files[1].empty()) return BadUsage("convert needs non-empty file names");
  const std::string &In = Files[0], &Out = Files[1];
  // The writer's settings shape scene files only, and a form is read strictly anyway:
  // an option that does nothing here is said, not silently dropped.
  for (const std::string& O : Options) {
    const bool Writer = O == "--no-defaults" || O == "--param-newline" || O == "--decimals";
    if (Writer && IsFormPath(Out))
      std::fprintf(stderr, "lumox: %s does not apply to a form file (%s): ignored\n", O.c_str(),
                   Out.c_str());
    else if ((O == "--strict" || O == "--force") && IsFormPath(In))
      std::fprintf(stderr, "lumox: %s does not apply to reading a form (%s): ignored\n", O.c_str(),
                   In.c_str());
  }
  TComponent Form(nullptr);
  TLumNode* Root = nullptr;
  TLumCamera* Camera = nullptr;
  try {
    if (IsFormPath(In)) {
      // A form gives its scene and its first view's camera.
      LoadComponentForm(&Form, In);
      if (IsFormPath(Out)) {
        try {
          SaveComponentForm(&Form, Out);
        } catch (const std::exception& E) {
          return Fail(Out, E.what());
        }
        return 0;
      }
      TLumFormApp Run(&Form);
      if (TLumView* View = Run.FirstView()) Camera = View->Camera();
      Root = SceneOfForm(Run, new TComponent(&Form));
      const bool ModelOut = IsModelOutput(Out);
      if (!ModelOut) CheckSceneFileHoldsEachNameOnce(Root);
      std::string Lost;
      for (const std::string& L : FormOnlyThings(Run, Root, ModelOut))
        Lost += (Lost.empty() ? "" : "; ") + L;
      if (!Lost.empty())
        std::fprintf(stderr, "lumox: %s will not hold everything %s holds: %s\n", Out.c_str(),
                     In.c_str(), Lost.c_str());
    } else {
      Root = new TLumNode(&Form);
      TSceneLoad Load;
      W.Description = LoadScene(In, &Form, Root, &Load);
      PrintWarnings(Load);
      if (Strict && !Load.Warnings.empty()) return StrictStatus(In, Load.Warnings);
      if (int Status = CheckLoss(In, Out, Load.Warnings, Force)) return Status;
      Camera = Load.Camera;
    }
  } catch (const std::exception& E) {
    return Fail(In, E.what());
  }
  try {
    if (IsFormPath(Out))
      SceneToForm(&Form, Camera, Out);
    else
      SaveScene(Root, Camera, Out, W);
  } catch (const std::exception& E) {
    return Fail(Out, E.what());
  }
  return 0;
}

}  // namespace lumoxcmd
