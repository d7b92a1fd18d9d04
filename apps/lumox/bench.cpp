// The bench subcommand: a scene file or a reference scene loaded, drawn and freed
// headless with every step timed, its frames interleaved with a bare-GL program drawing
// the same display lists where the scene allows one.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#include "bench/scenes/baregl.h"
#include "bench/scenes/benchscenes.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;
using namespace lumoxbench;

namespace lumoxcmd {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int WarmupFrames = 3;

const char* const BenchUsageText =
    "usage: lumox bench SCENE|s1|s2|s3|s4 [--frames N] [--size WxH] [--uncached]\n"
    "                  [--cache-root] [camera options of render]\n"
    "       lumox bench s1|s2|s3|s4 --write OUT.lumgl\n"
    "\n"
    "Loads the scene, draws a first frame, then N frames (default 30, 5 for s3) after\n"
    "3 warm-up frames, headless at 256x256 unless --size says otherwise, saves it to a\n"
    "temporary file and frees it, timing each step (glFinish before each clock read).\n"
    "Every object keeps a display list unless --uncached (none) or --cache-root (the\n"
    "root node alone). A flat scene of lights, materials and translated meshes is also\n"
    "drawn by a bare-GL program with the same display lists, one frame of each in turn;\n"
    "the ratio is the library's median frame over the bare one.\n"
    "\n"
    "The reference scenes:\n"
    "  s1  1000 lit spheres 32x16, each with its own material and translation\n"
    "  s2  one function surface of 1000 x 1000 vertices (built in memory; also times\n"
    "      smoothing its normals with welding)\n"
    "  s3  200 000 small objects in nested nodes, a file of about 50 MB\n"
    "  s4  20 000 boxes in a 20x20x50 grid, each with its own material and translation\n"
    "s1, s3 and s4 are written to a temporary file first and loaded from there;\n"
    "--write OUT.lumgl only writes the scene.\n"
    "For steady figures: LP_NUM_THREADS=0 GLIBC_TUNABLES=glibc.malloc.trim_threshold=1073741824\n";

struct TBenchOptions {
  std::string Scene;
  std::optional<TBenchScene> Reference;
  std::optional<int> Frames;
  int Width = 256, Height = 256;
  TBenchCache Cache = bcEveryObject;
  std::string Write;
  TArgs CameraArgs;
};

bool ParseCount(const std::string& Text, int& Value) {
  if (Text.empty() || Text.size() > 7 || Text.find_first_not_of("0123456789") != std::string::npos)
    return false;
  Value = std::stoi(Text);
  return true;
}

int ParseBenchArgs(const TArgs& Args, TBenchOptions& O) {
  for (size_t I = 0; I < Args.size(); ++I) {
    const std::string& A = Args[I];
    const std::string Name = A.substr(0, A.find('='));
    const bool Inline = Name.size() < A.size();
    auto Value = [&](std::string& V) {
      if (Inline) return V = A.substr(Name.size() + 1), true;
      if (I + 1 >= Args.size()) return false;
      V = Args[++I];
      return true;
    };
    std::string V;
    if (Name == "--frames") {
      int N = 0;
      if (!Value(V) || !ParseCount(V, N) || N < 1)
        return BadUsage("--frames needs a count, 1 or more");
      O.Frames = N;
    } else if (Name == "--size") {
      if (!Value(V) || !ParseSize(V, O.Width, O.Height) || O.Width > MaxImageSide ||
          O.Height > MaxImageSide)
        return BadUsage("--size needs WIDTHxHEIGHT, e.g. 256x256");
    } else if (A == "--uncached") {
      O.Cache = bcUncached;
    } else if (A == "--cache-root") {
      O.Cache = bcRootOnly;
    } else if (Name == "--write") {
      if (!Value(V) || V.empty()) return BadUsage("--write needs a file name");
      O.Write = V;
    } else if (A == "--fit") {
      O.CameraArgs.push_back(A);
    } else if (Name == "--camera-distance" || Name == "--fov" || Name == "--near" ||
               Name == "--far" || Name == "--camera-position" || Name == "--look-at") {
      O.CameraArgs.push_back(A);
      if (!Inline && I + 1 < Args.size()) O.CameraArgs.push_back(Args[++I]);
    } else if (!A.empty() && A[0] == '-') {
      return BadUsage("unknown option '" + A + "'");
    } else if (!O.Scene.empty()) {
      return BadUsage("bench takes one scene");
    } else {
      O.Scene = A;
      for (int S = bsS1; S <= bsS4; ++S)
        if (A == TBenchSceneStr[S]) O.Reference = static_cast<TBenchScene>(S);
    }
  }
  if (O.Scene.empty()) return BadUsage("bench needs a scene: a file, or s1, s2, s3 or s4");
  if (!O.Write.empty() && (!O.Reference || *O.Reference == bsS2))
    return BadUsage("--write takes s1, s3 or s4 (s2 is sampled by code a file cannot hold)");
  if (std::count(Args.begin(), Args.end(), "--uncached") &&
      std::count(Args.begin(), Args.end(), "--cache-root"))
    return BadUsage("--uncached and --cache-root exclude each other");
  return ApplyCameraOptions(O.CameraArgs, O.Width, O.Height, nullptr, nullptr);
}

double MsSince(Clock::time_point T0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - T0).count();
}

double MB(uintmax_t Bytes) { return static_cast<double>(Bytes) / 1e6; }

// The peak resident set of this process so far (VmHWM), in KB.
long PeakResidentKB() {
  FILE* F = std::fopen("/proc/self/status", "r");
  long KB = 0;
  char Text[256];
  while (F && std::fgets(Text, sizeof Text, F))
    if (std::sscanf(Text, "VmHWM: %ld", &KB) == 1) break;
  if (F) std::fclose(F);
  return KB;
}

// Processor time of the calling thread (llvmpipe draws on it with LP_NUM_THREADS=0), in
// ms: beside the clock's, it holds on a machine shared with other work.
double ThreadCpuMs() {
  timespec T{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &T);
  return static_cast<double>(T.tv_sec) * 1e3 + static_cast<double>(T.tv_nsec) / 1e6;
}

// Minor page faults of the process so far: the first touch of fresh memory.
long MinorFaults() {
  rusage U{};
  getrusage(RUSAGE_SELF, &U);
  return U.ru_minflt;
}

// Builds a reference scene and saves it, with its camera, to File.
void WriteReference(TBenchScene Scene, const std::string& File) {
  TComponent Owner(nullptr);
  auto* Root = new TLumNode(&Owner);
  auto* Camera = new TLumPerspectiveCamera(&Owner);
  BuildScene(Scene, &Owner, Root, Camera);
  TLumExchange Ex(&Owner);
  Ex.SetFileName(File);
  Ex.SetFileDescription(SceneDescription(Scene));
  // S3 is the file-size scene: without default values it is about 50 MB (140 with them).
  Ex.SetNoDefaultValues(Scene == bsS3);
  SaveWithCamera(&Ex, Root, Camera);
}

// Writes the reference scene in a child process, so that the memory the building takes
// is not counted for the scene loaded afterwards (nor its freeing timed).
void WriteInChild(TBenchScene Scene, const std::string& File) {
  std::fflush(nullptr);
  const pid_t Pid = ::fork();
  if (Pid < 0) throw Exception("cannot start a process to write the scene");
  if (Pid == 0) {
    int Status = 0;
    try {
      WriteReference(Scene, File);
    } catch (const std::exception& E) {
      std::fprintf(stderr, "lumox: %s\n", E.what());
      Status = 1;
    }
    std::fflush(nullptr);
    // The scene is left to the end of the process: freeing it is measured elsewhere.
    std::_Exit(Status);
  }
  int Status = 0;
  if (::waitpid(Pid, &Status, 0) != Pid || !WIFEXITED(Status) || WEXITSTATUS(Status) != 0)
    throw Exception("the reference scene could not be written to " + File);
}

// A temporary directory removed when the run ends, however it ends.
struct TTempDir {
  fs::path Path;
  TTempDir() {
    std::string Pattern = (fs::temp_directory_path() / "lumox-bench-XXXXXX").string();
    if (!::mkdtemp(Pattern.data())) throw Exception("cannot make a temporary directory");
    Path = Pattern;
  }
  ~TTempDir() {
    std::error_code Ec;
    fs::remove_all(Path, Ec);
  }
};

// The scene's components, freed on the way out when the run stops early.
struct TSceneOwner {
  TComponent* Owner = new TComponent(nullptr);
  ~TSceneOwner() { delete Owner; }
};

// One line of the report, written at once so that a long run shows its progress.
__attribute__((format(printf, 1, 2))) void Line(const char* Format, ...) {
  va_list Values;
  va_start(Values, Format);
  std::vprintf(Format, Values);
  va_end(Values);
  std::printf("\n");
  std::fflush(stdout);
}

int Bench(const TBenchOptions& O) {
  const std::optional<TBenchScene> Ref = O.Reference;
  const bool InMemory = Ref && *Ref == bsS2;
  TTempDir Temp;
  std::string File = O.Scene;
  if (Ref && !InMemory) {
    File = (Temp.Path / (O.Scene + ".lumgl")).string();
    WriteInChild(*Ref, File);
  }

  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(O.Width, O.Height);
  View->HandleNeeded();
  View->SetCurrent(true);
  const std::string Renderer =
      std::string(reinterpret_cast<const char*>(glGetString(GL_RENDERER))) + ", OpenGL " +
      reinterpret_cast<const char*>(glGetString(GL_VERSION));
  View->SetCurrent(false);
  Line("scene: %s (%s)", O.Scene.c_str(), Ref ? SceneDescription(*Ref) : "file");
  Line("renderer: %s", Renderer.c_str());
  Line("size: %dx%d", O.Width, O.Height);
  Line("caching: %s", TBenchCacheStr[O.Cache]);

  const long KB0 = ResidentKB();
  // The writer of a reference scene is a child too: only a larger one is counted.
  rusage Writer{};
  ::getrusage(RUSAGE_CHILDREN, &Writer);
  const long ChildKB0 = Writer.ru_maxrss;
  TSceneOwner Scene;
  auto* Root = new TLumNode(Scene.Owner);
  TSceneLoad Load;
  TLumPerspectiveCamera* SceneCamera = nullptr;
  if (InMemory) {
    SceneCamera = new TLumPerspectiveCamera(Scene.Owner);
    const auto T0 = Clock::now();
    BuildScene(*Ref, Scene.Owner, Root, SceneCamera);
    Line("build ms: %.1f (in memory)", MsSince(T0));
  } else {
    const long Faults0 = MinorFaults();
    const auto T0 = Clock::now();
    LoadScene(File, Scene.Owner, Root, &Load);  // says why a file cannot be read
    const double Ms = MsSince(T0);
    const long Faults = MinorFaults() - Faults0;
    const uintmax_t Size = fs::file_size(File);
    Line("file MB: %.2f", MB(Size));
    // Only counted: a scene file's own warnings are check's to list.
    if (!Load.Warnings.empty())
      Line("load warnings: %zu (lumox check lists them)", Load.Warnings.size());
    Line("load ms: %.1f (%.1f MB/s)", Ms, MB(Size) / (Ms / 1000));
    Line("load page faults: %ld", Faults);
  }
  // The surface's mesh, then its smooth normals with welding: the median of three.
  if (InMemory)
    for (int I = 0; I < Root->GetCount(); ++I)
      if (auto* F = dynamic_cast<TLumFuncObj*>(Root->GetItems(I))) {
        auto T0 = Clock::now();
        F->Init();
        Line("mesh build ms: %.1f", MsSince(T0));
        std::vector<double> Ms;
        for (int K = 0; K < 3; ++K) {
          T0 = Clock::now();
          F->CalcNormals();
          Ms.push_back(MsSince(T0));
        }
        const double Med = Median(Ms);
        Line("calcnormals ms: %.1f (%.2f M vertices/s with welding)", Med,
             F->Points()->Count() / (Med / 1000) / 1e6);
      }

  SetCaching(Root, O.Cache);
  // Without camera options the scene's own camera is used, as render does.
  TLumCamera* OwnCamera = InMemory ? SceneCamera : Load.Camera;
  if (OwnCamera && O.CameraArgs.empty()) {
    View->SetCamera(OwnCamera);
  } else {
    auto* Camera = new TLumPerspectiveCamera(&Form);
    View->SetCamera(Camera);
    if (int Status = ApplyCameraOptions(O.CameraArgs, O.Width, O.Height, Root, Camera))
      return Status;
  }
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };

  // The first frame builds the meshes; they are built just before it, to tell the two
  // costs apart.
  const auto Build0 = Clock::now();
  BuildMeshes(Root);
  const double BuildMs = MsSince(Build0);
  const double FrameCpu0 = ThreadCpuMs();
  const double FrameMs = TimedPaint(View);
  const double FrameCpuMs = ThreadCpuMs() - FrameCpu0;
  Line("first frame ms: %.1f (mesh building %.1f, then the frame %.1f; its processor time %.1f)",
       BuildMs + FrameMs, BuildMs, FrameMs, FrameCpuMs);
  const TSceneCounts C = CountScene(Root);
  const long KB = ResidentKB() - KB0;
  Line("items: %lld (%lld meshes, %lld nodes)", static_cast<long long>(C.Items),
       static_cast<long long>(C.Objects), static_cast<long long>(C.Nodes));
  Line("vertices: %lld", static_cast<long long>(C.Vertices));
  Line("triangles: %lld", static_cast<long long>(C.Triangles));
  if (!C.Bounds.Empty())
    Line("bounds: (%g, %g, %g) .. (%g, %g, %g)", C.Bounds.Min.X, C.Bounds.Min.Y, C.Bounds.Min.Z,
         C.Bounds.Max.X, C.Bounds.Max.Y, C.Bounds.Max.Z);
  Line("resident KB per item: %.2f (%ld KB in all)",
       C.Items ? static_cast<double>(KB) / static_cast<double>(C.Items) : 0.0, KB);
  // The largest child (a model's reader) ended before the frame; this process's own peak
  // may come later, so their sum bounds the peak of the two together.
  rusage Children{};
  ::getrusage(RUSAGE_CHILDREN, &Children);
  const double Own = static_cast<double>(PeakResidentKB()) / 1000,
               Child = Children.ru_maxrss > ChildKB0 ? Children.ru_maxrss / 1000.0 : 0.0;
  Line("peak resident MB: %.1f (this process %.1f, a model reader's child %.1f)", Own + Child, Own,
       Child);

  std::string Why;
  std::unique_ptr<TBareScene> Bare;
  if (BareSceneSupports(Root, Why)) {
    View->SetCurrent(true);
    glFinish();
    const auto T0 = Clock::now();
    Bare = std::make_unique<TBareScene>(Root);
    glFinish();
    // What compiling the same lists costs a bare program, against the first frame's.
    Line("bare compile ms: %.1f (%zu lists)", MsSince(T0), Bare->Lists());
    View->SetCurrent(false);
  } else {
    // No bare frame for this scene, but its lists can still be compiled bare.
    View->SetCurrent(true);
    glFinish();
    const double Cpu0 = ThreadCpuMs();
    const auto T0 = Clock::now();
    const size_t Lists = CompileBareLists(Root);
    Line("bare compile ms: %.1f (%zu lists, compiled only; processor time %.1f)", MsSince(T0),
         Lists, ThreadCpuMs() - Cpu0);
    View->SetCurrent(false);
  }
  const int Frames = O.Frames.value_or(Ref && *Ref == bsS3 ? 5 : 30);
  const TInterleavedTimes T = RunInterleaved(View, Root, Bare.get(), WarmupFrames, Frames);
  if (Bare) {
    View->SetCurrent(true);
    Bare.reset();
    View->SetCurrent(false);
  }
  Line("frames: %d (after %d warm-up frames)", Frames, WarmupFrames);
  Line("median ms: %.2f", Median(T.Scene));
  Line("mean ms: %.2f", Mean(T.Scene));
  if (!T.Bare.empty()) {
    Line("bare median ms: %.2f", Median(T.Bare));
    Line("bare mean ms: %.2f", Mean(T.Bare));
    Line("ratio: %.3f (median over bare median, interleaved)", Median(T.Scene) / Median(T.Bare));
  } else {
    Line("bare: none (%s)", Why.c_str());
  }

  if (!InMemory) {
    TLumExchange* Ex = new TLumExchange(Scene.Owner);
    const std::string Out = (Temp.Path / "saved.lumgl").string();
    Ex->SetFileName(Out);
    const long Faults0 = MinorFaults();
    const auto T0 = Clock::now();
    Ex->SavetoFile(Root);
    const double Ms = MsSince(T0);
    const long Faults = MinorFaults() - Faults0;
    Line("save ms: %.1f (%.1f MB/s)", Ms, MB(fs::file_size(Out)) / (Ms / 1000));
    Line("save page faults: %ld", Faults);
  }
  // Freed the way a program frees a scene: its owner goes, with the view still there.
  const auto T0 = Clock::now();
  delete Scene.Owner;
  Scene.Owner = nullptr;
  Line("free ms: %.1f", MsSince(T0));
  return 0;
}

}  // namespace

int RunBench(const TArgs& Args) {
  if (std::find(Args.begin(), Args.end(), "--help") != Args.end()) {
    std::fputs(BenchUsageText, stdout);
    return 0;
  }
  TBenchOptions O;
  if (int Status = ParseBenchArgs(Args, O)) return Status;
  try {
    if (!O.Write.empty()) {
      WriteReference(*O.Reference, O.Write);
      return 0;
    }
    return Bench(O);
  } catch (const std::exception& E) {
    return Fail(O.Reference ? "" : O.Scene, E.what());
  }
}

}  // namespace lumoxcmd
