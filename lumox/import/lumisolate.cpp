// Reading a model or a drawing in a child process: the child runs the reader under limits
// of memory and time and writes the result as a scene file (textures and meshes beside it)
// into a private folder; the parent reads it back, or says in words how the child ended.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/import/lumimportparts.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumtex.h"

// Set by a sanitizer or fuzzer runtime when the program has one (weak: absent otherwise).
extern "C" void __sanitizer_set_death_callback(void (*)(void)) __attribute__((weak));

namespace lumox::importparts {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// What the child tells the parent, one record each: a type byte, a 4-byte length and
// the text (a progress fraction as decimal text).
enum TRecord : char {
  rcProgress = 'P',
  rcWarning = 'W',
  rcError = 'E',     // the reader's own refusal, in its words
  rcHandBack = 'H',  // what the reader made cannot be written back
  rcNote = 'N',      // something the caller's reader wants the parent to have
  rcMemory = 'M',
  rcDone = 'D'
};

// The child's half of the pipe.
class TChannel {
 public:
  explicit TChannel(int Fd) : FFd(Fd) {}
  void Send(TRecord Type, const std::string& Text) const {
    const uint32_t N = static_cast<uint32_t>(Text.size());
    std::string Bytes(1, Type);
    Bytes.append(reinterpret_cast<const char*>(&N), 4);
    Bytes += Text;
    for (size_t Done = 0; Done < Bytes.size();) {
      const ssize_t W = ::write(FFd, Bytes.data() + Done, Bytes.size() - Done);
      if (W < 0 && errno == EINTR) continue;
      if (W <= 0) return;  // the parent has gone
      Done += static_cast<size_t>(W);
    }
  }

 private:
  int FFd;
};

// Field Field (0: mapped, 1: resident) of /proc/PID/statm, in bytes.
uint64_t StatmBytes(const std::string& Pid, int Field) {
  FILE* F = std::fopen(("/proc/" + Pid + "/statm").c_str(), "r");
  unsigned long long Pages[2] = {0, 0};
  if (F) {
    if (std::fscanf(F, "%llu %llu", &Pages[0], &Pages[1]) != 2) Pages[0] = Pages[1] = 0;
    std::fclose(F);
  }
  return Pages[Field] * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// Whether the process runs under a sanitizer, which cannot live under an address-space
// limit (its shadow memory and reports need room): the parent then watches the child's
// resident memory alone.
bool Sanitized() { return __sanitizer_set_death_callback != nullptr; }

// The words of a reader (the importer's, the drawing's) that ran out of memory.
constexpr const char* OutOfMemory = "there is not enough memory to";

// --- the meshes handed back --------------------------------------------------------------

// The parts' vertex blocks and index lists go back beside the scene file in a compact form
// of their own, read straight into the parts' arrays: as scene-file text they were several
// times larger, and reading them back took longer than the import. The file is checked as
// any file from outside is: the child has read a file from anywhere.
//
// Layout (little-endian, as written by the same build): "LUMMESH1", the number of parts;
// per part its vertex count, the arrays it has (bit 0 normals, 1 texture coordinates,
// 2 colours), which of positions, normals and texture coordinates are stored as singles
// (the same bits; else as doubles), the arrays, then the number of index lists and per
// list its primitive type, visibility (one byte), count and indices.
constexpr char MeshMagic[8] = {'L', 'U', 'M', 'M', 'E', 'S', 'H', '1'};
enum : uint8_t { mbNormals = 1, mbTexture = 2, mbColors = 4 };

// The parts of the 3D objects under Root, in the order LumWalkItems reaches them: the
// child writes and the parent reads them in this order. References are passed over, so
// that no part is written twice (the second time emptied by the first).
std::vector<TLum3dPart*> TreeParts(TLumNode* Root) {
  std::vector<TLum3dPart*> Parts;
  LumWalkItems(Root, [&](TLumNode* Node, int Index, TLumRender* Item) {
    if (Node->IsIndirect(Index)) return false;
    if (auto* Obj = dynamic_cast<TLum3dObj*>(Item))
      for (int32_t i = 0; i < Obj->PartCount(); ++i) Parts.push_back(Obj->Part(i));
    return true;
  });
  return Parts;
}

// Whether every value is a single exactly (as every value an importer gives is); a value
// beyond a single's range is not (and is not cast, which would be undefined).
bool AllSingles(const double* V, size_t N) {
  for (size_t i = 0; i < N; ++i) {
    const double X = V[i];
    if (X != X || std::isinf(X)) continue;
    if (std::fabs(X) > FLT_MAX || static_cast<double>(static_cast<float>(X)) != X) return false;
  }
  return true;
}

class TMeshOut {
 public:
  explicit TMeshOut(const std::string& File) : FFile(File), F(std::fopen(File.c_str(), "wb")) {
    if (!F) Fail();
  }
  ~TMeshOut() {
    if (F) std::fclose(F);
  }
  void Put(const void* Data, size_t Bytes) {
    if (Bytes > 0 && std::fwrite(Data, 1, Bytes, F) != Bytes) Fail();
  }
  template <typename T>
  void Put(T Value) {
    Put(&Value, sizeof Value);
  }
  // Doubles as singles when Single, through a small buffer.
  void PutValues(const double* V, size_t N, bool Single) {
    if (!Single) return Put(V, N * sizeof(double));
    float Buffer[4096];
    for (size_t i = 0; i < N;) {
      const size_t K = std::min(N - i, std::size(Buffer));
      for (size_t k = 0; k < K; ++k) Buffer[k] = static_cast<float>(V[i + k]);
      Put(Buffer, K * sizeof(float));
      i += K;
    }
  }
  void Close() {
    const int R = std::fclose(F);
    F = nullptr;
    if (R != 0) Fail();
  }

 private:
  [[noreturn]] void Fail() const {
    throw Exception("the meshes cannot be written to \"" + FFile + "\": " + std::strerror(errno));
  }
  std::string FFile;
  FILE* F;
};

// Writes the parts' arrays and empties the parts, so that the scene file holds no copy.
void WriteMeshes(TLumNode* Root, const std::string& File) {
  TMeshOut Out(File);
  const std::vector<TLum3dPart*> Parts = TreeParts(Root);
  Out.Put(MeshMagic, sizeof MeshMagic);
  Out.Put(static_cast<uint32_t>(Parts.size()));
  for (TLum3dPart* Part : Parts) {
    const TLumPrimitivePoints* P = Part->Points();
    const auto N = static_cast<size_t>(P->Count());
    const double *V = P->Vertices(), *Nr = P->Normals(), *T = P->TexCoords();
    const float* C = P->Colors();
    const uint8_t Has = (Nr ? mbNormals : 0) | (T ? mbTexture : 0) | (C ? mbColors : 0);
    const bool SV = AllSingles(V, N * 3), SN = Nr && AllSingles(Nr, N * 3),
               ST = T && AllSingles(T, N * 3);
    Out.Put(static_cast<uint32_t>(N));
    Out.Put(Has);
    Out.Put(static_cast<uint8_t>((SV ? 8 : 0) | (SN ? mbNormals : 0) | (ST ? mbTexture : 0)));
    if (N > 0) Out.PutValues(V, N * 3, SV);
    if (Nr) Out.PutValues(Nr, N * 3, SN);
    if (T) Out.PutValues(T, N * 3, ST);
    if (C) Out.Put(C, N * 4 * sizeof(float));
    Out.Put(static_cast<uint32_t>(Part->GetPrimitiveCount()));
    for (int32_t l = 0; l < Part->GetPrimitiveCount(); ++l) {
      const TLumPrimitiveArray* A = Part->GetPrimitive(l);
      Out.Put(A->PrimitiveType());
      Out.Put(static_cast<uint8_t>(A->Visible()));
      Out.Put(static_cast<uint32_t>(A->Count()));
      Out.Put(A->IndexData(), static_cast<size_t>(A->Count()) * 4);
    }
    // Emptied with its arrays' set kept: whether it is textured is read from that set.
    Part->Points()->SetCount(0);
    Part->ClearPrimitives();
  }
  Out.Close();
}

class TMeshIn {
 public:
  explicit TMeshIn(const std::string& File) : F(std::fopen(File.c_str(), "rb")) {
    struct stat St {};
    if (!F || fstat(fileno(F), &St) != 0) throw Exception("the meshes are missing");
    FLeft = static_cast<uint64_t>(St.st_size);
  }
  ~TMeshIn() {
    if (F) std::fclose(F);
  }
  void Get(void* Data, size_t Bytes) {
    if (Bytes > FLeft || std::fread(Data, 1, Bytes, F) != Bytes)
      throw Exception("the meshes end early");
    FLeft -= Bytes;
  }
  template <typename T>
  T Get() {
    T Value;
    Get(&Value, sizeof Value);
    return Value;
  }
  // Count values of Size bytes each must still be there: checked before anything the
  // count sizes is allocated.
  void Need(uint64_t Count, uint64_t Size) const {
    if (Count > FLeft / Size) throw Exception("the meshes promise more than they hold");
  }
  void GetValues(double* V, size_t N, bool Single) {
    if (!Single) return Get(V, N * sizeof(double));
    float Buffer[4096];
    for (size_t i = 0; i < N;) {
      const size_t K = std::min(N - i, std::size(Buffer));
      Get(Buffer, K * sizeof(float));
      for (size_t k = 0; k < K; ++k) V[i + k] = Buffer[k];
      i += K;
    }
  }
  uint64_t Left() const { return FLeft; }

 private:
  FILE* F;
  uint64_t FLeft = 0;
};

// Fills the parts of the scene read back; throws Exception saying what is wrong.
void ReadMeshes(TLumNode* Root, const std::string& File) {
  TMeshIn In(File);
  char Magic[sizeof MeshMagic];
  In.Get(Magic, sizeof Magic);
  if (std::memcmp(Magic, MeshMagic, sizeof Magic) != 0)
    throw Exception("the meshes are not in the expected form");
  const std::vector<TLum3dPart*> Parts = TreeParts(Root);
  if (In.Get<uint32_t>() != Parts.size()) throw Exception("the meshes are not those of the scene");
  for (TLum3dPart* Part : Parts) {
    const auto N = In.Get<uint32_t>();
    const auto Has = In.Get<uint8_t>(), Single = In.Get<uint8_t>();
    if ((Has & ~7) != 0 || (Single & ~(8 | mbNormals | mbTexture)) != 0 ||
        (Single & ~(Has | 8) & 3) != 0 || N > static_cast<uint64_t>(INT32_MAX))
      throw Exception("the meshes are not in the expected form");
    auto Bytes = [Single](uint8_t Bit) { return uint64_t{(Single & Bit) ? 12u : 24u}; };
    const uint64_t PerVertex = Bytes(8) + ((Has & mbNormals) ? Bytes(mbNormals) : 0) +
                               ((Has & mbTexture) ? Bytes(mbTexture) : 0) +
                               ((Has & mbColors) ? 16 : 0);
    In.Need(N, PerVertex);
    TLumArrays A{daVertex};
    if (Has & mbNormals) A.Include(daNormal);
    if (Has & mbTexture) A.Include(daTexture);
    if (Has & mbColors) A.Include(daColor);
    Part->ResizeVertexData(static_cast<int32_t>(N), A);  // throws past the object's bound
    TLumPrimitivePoints* P = Part->Points();
    if (N > 0) In.GetValues(P->Vertices(), size_t{N} * 3, Single & 8);
    if (Has & mbNormals) In.GetValues(P->Normals(), size_t{N} * 3, Single & mbNormals);
    if (Has & mbTexture) In.GetValues(P->TexCoords(), size_t{N} * 3, Single & mbTexture);
    if (Has & mbColors) In.Get(P->Colors(), size_t{N} * 4 * sizeof(float));
    const auto Lists = In.Get<uint32_t>();
    In.Need(Lists, 9);
    for (uint32_t l = 0; l < Lists; ++l) {
      const auto Type = In.Get<int32_t>();
      const auto Visible = In.Get<uint8_t>();
      const auto Count = In.Get<uint32_t>();
      if (Type < GL_POINTS || Type > GL_POLYGON || Visible > 1 ||
          Count > static_cast<uint32_t>(INT32_MAX))
        throw Exception("the meshes are not in the expected form");
      In.Need(Count, 4);
      TLumPrimitiveArray* L = Part->GetPrimitive(Part->AddPrimitiveArray(Type));
      L->SetCount(static_cast<int32_t>(Count));
      In.Get(L->IndexData(), size_t{Count} * 4);
      const uint32_t* I = L->IndexData();
      if (Count > 0 && *std::max_element(I, I + Count) >= N)
        throw Exception("an index of the meshes names no vertex");
      L->SetVisible(Visible != 0);
    }
    Part->Changed();
  }
  if (In.Left() != 0) throw Exception("the meshes hold more than the scene");
}

[[noreturn]] void RunChild(const TIsolatedReader& Read, const TLumImportOptions& Options,
                           const std::string& Scene, const std::string& Meshes, int Fd,
                           pid_t Parent) {
  // Gone with the parent, and no core file of a reader's crash.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != Parent) std::_Exit(1);
  // A crash ends the child by its signal, whatever handlers the parent set up (a crash
  // reporter's, a sanitizer's): the parent tells what happened from it.
  for (int Signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
    ::signal(Signal, SIG_DFL);
  // Nor does a fuzzer's death handler take the child's end for the parent's own find.
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(nullptr);
  const rlimit NoCore{0, 0};
  ::setrlimit(RLIMIT_CORE, &NoCore);
  // Growth is bounded, not the total: the process starts with what the parent mapped.
  if (!Sanitized()) {
    const rlim_t Memory =
        StatmBytes("self", 0) + static_cast<rlim_t>(Options.MaxMemoryMB) * 1024 * 1024;
    const rlimit As{Memory, Memory};
    ::setrlimit(RLIMIT_AS, &As);
  }
  const rlim_t Seconds = static_cast<rlim_t>(std::ceil(Options.TimeLimit)) + 1;
  const rlimit Cpu{Seconds, Seconds + 1};
  ::setrlimit(RLIMIT_CPU, &Cpu);
  const TChannel Out(Fd);
  TLumImportOptions Here = Options;
  Here.Isolated = false;
  if (Options.OnProgress)
    Here.OnProgress = [&Out](double P) { Out.Send(rcProgress, std::to_string(P)); };
  Here.OnWarning = [&Out](const TLumLoadWarning& W) { Out.Send(rcWarning, W.Text); };
  const auto Note = [&Out](const std::string& Text) { Out.Send(rcNote, Text); };
  // The scene is left to the end of the process: nothing else needs it freed.
  auto* Owner = new TComponent(nullptr);
  TLumNode* Root = nullptr;
  try {
    Root = Read(Owner, Here, Note);
  } catch (const std::bad_alloc&) {
    Out.Send(rcMemory, "");
    std::_Exit(3);
  } catch (const std::exception& E) {
    const std::string What = E.what();
    Out.Send(What.find(OutOfMemory) != std::string::npos ? rcMemory : rcError, What);
    std::_Exit(1);
  }
  try {
    WriteMeshes(Root, Meshes);
    TLumExchange Ex(Owner);
    Ex.SetFileName(Scene);
    Ex.SavetoFile(Root);
    Out.Send(rcDone, "");
    std::_Exit(0);
  } catch (const std::bad_alloc&) {
    Out.Send(rcMemory, "");
    std::_Exit(3);
  } catch (const std::exception& E) {
    Out.Send(rcHandBack, E.what());
    std::_Exit(1);
  }
}

// A private folder, removed with what is in it when the import ends.
struct TPrivateDir {
  fs::path Path;
  TPrivateDir() {
    std::string Pattern = (fs::temp_directory_path() / "lumox-import-XXXXXX").string();
    if (!::mkdtemp(Pattern.data()))
      throw Exception(
          "Cannot make a folder for the model reader: " + std::string(std::strerror(errno)) + ".");
    Path = Pattern;
  }
  ~TPrivateDir() {
    std::error_code Ec;
    fs::remove_all(Path, Ec);
  }
};

std::string SignalName(int Signal) {
  const char* Name = sigabbrev_np(Signal);
  return "signal " + std::to_string(Signal) + (Name ? std::string(", SIG") + Name : "");
}

}  // namespace

std::string FileError(const std::string& Kind, const std::string& FileName, std::string Reason) {
  while (!Reason.empty() && (Reason.back() == '.' || Reason.back() == ' ' || Reason.back() == '\n'))
    Reason.pop_back();
  return "Cannot read the " + Kind + " file \"" + FileName + "\": " + Reason + ".";
}

TLumNode* ReadIsolated(const std::string& FileName, const std::string& Kind, TComponent* Owner,
                       const TLumImportOptions& Options, const TIsolatedReader& Read,
                       const std::function<void(const std::string&)>& OnNote) {
  // A NaN or unbounded limit would make the child's processor limit undefined.
  if (!(Options.TimeLimit > 0.0 && Options.TimeLimit <= 1e9))
    throw Exception(
        FileError(Kind, FileName, "the time limit must be a number of seconds above 0"));
  if (Options.MaxMemoryMB == 0)
    throw Exception(FileError(Kind, FileName, "the memory limit must be at least 1 MB"));
  const TPrivateDir Dir;
  const std::string Scene = (Dir.Path / "model.lumgl").string();
  const std::string Meshes = (Dir.Path / "meshes.bin").string();
  int Pipe[2];
  if (::pipe2(Pipe, O_CLOEXEC) != 0)
    throw Exception(FileError(Kind, FileName, "no process could be started to read it"));
  std::fflush(nullptr);
  // Asked before the fork: the child inherits the answer and refuses, as a warning, the
  // textures this process would refuse on reading its scene back, without a GL context.
  MaxTextureSide();
  const pid_t Parent = ::getpid();
  // The child starts with the parent's pages: its growth beyond them is what counts.
  const uint64_t Resident = StatmBytes("self", 1);
  const pid_t Pid = ::fork();
  if (Pid < 0) {
    ::close(Pipe[0]);
    ::close(Pipe[1]);
    throw Exception(FileError(Kind, FileName, "no process could be started to read it"));
  }
  if (Pid == 0) {
    ::close(Pipe[0]);
    RunChild(Read, Options, Scene, Meshes, Pipe[1], Parent);
  }
  ::close(Pipe[1]);

  // Records until the child closes its end, or until its time is up.
  std::string Buffer, Error, HandBack;
  bool Done = false, Memory = false, TimedOut = false;
  const auto Deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(std::max(Options.TimeLimit, 0.0)));
  for (;;) {
    const auto Left =
        std::chrono::duration_cast<std::chrono::milliseconds>(Deadline - Clock::now());
    if (Left.count() <= 0) {
      TimedOut = true;
      break;
    }
    pollfd P{Pipe[0], POLLIN, 0};
    const int Ready = ::poll(&P, 1, static_cast<int>(std::min<int64_t>(Left.count(), 100)));
    if (Ready < 0 && errno != EINTR) break;
    // Resident memory is watched as well as limited: what the address-space limit does
    // not cover (a sanitizer's process) is stopped here.
    if (StatmBytes(std::to_string(Pid), 1) >
        Resident + uint64_t{Options.MaxMemoryMB} * 1024 * 1024) {
      Memory = true;
      ::kill(Pid, SIGKILL);
      break;
    }
    if (Ready <= 0) continue;
    char Chunk[65536];
    const ssize_t N = ::read(Pipe[0], Chunk, sizeof Chunk);
    if (N < 0 && errno == EINTR) continue;
    if (N <= 0) break;  // the child has ended
    Buffer.append(Chunk, static_cast<size_t>(N));
    while (Buffer.size() >= 5) {
      uint32_t Length = 0;
      std::memcpy(&Length, Buffer.data() + 1, 4);
      if (Buffer.size() < 5 + size_t{Length}) break;
      const char Type = Buffer[0];
      const std::string Text = Buffer.substr(5, Length);
      Buffer.erase(0, 5 + size_t{Length});
      if (Type == rcProgress && Options.OnProgress) Options.OnProgress(std::atof(Text.c_str()));
      if (Type == rcWarning && Options.OnWarning)
        Options.OnWarning({lwMissingFile, FileName, 0, "", Text});
      if (Type == rcError) Error = Text;
      if (Type == rcHandBack) HandBack = Text;
      if (Type == rcNote && OnNote) OnNote(Text);
      if (Type == rcMemory) Memory = true;
      if (Type == rcDone) Done = true;
    }
  }
  ::close(Pipe[0]);
  if (TimedOut) ::kill(Pid, SIGKILL);
  int Status = 0;
  while (::waitpid(Pid, &Status, 0) < 0 && errno == EINTR) {
  }
  const bool Signalled = WIFSIGNALED(Status);
  const int Signal = Signalled ? WTERMSIG(Status) : 0;
  auto Say = [&](const std::string& Why) { throw Exception(FileError(Kind, FileName, Why)); };
  const std::string Reader = "the " + Kind + " reader";
  const std::string Limit = std::to_string(Options.MaxMemoryMB) + " MB";
  char Seconds[32];
  std::snprintf(Seconds, sizeof Seconds, "%g", Options.TimeLimit);
  if (TimedOut || Signal == SIGXCPU)
    Say(Reader + " took longer than " + std::string(Seconds) + " s and was stopped");
  if (Memory) Say(Reader + " used more than " + Limit + " of memory and was stopped");
  // The reader's own refusal, in its words; anything else the child could not do, said
  // of the file.
  if (!Error.empty()) throw Exception(Error);
  if (!HandBack.empty()) Say("what it holds cannot be handed back (" + HandBack + ")");
  if (Signal == SIGKILL)
    Say(Reader + " was killed (" + SignalName(Signal) +
        "), perhaps for using more memory "
        "than the system could give");
  if (Signal == SIGABRT) Say(Reader + " aborted (" + SignalName(Signal) + ")");
  if (Signalled) Say(Reader + " crashed (" + SignalName(Signal) + ")");
  if (!Done || WEXITSTATUS(Status) != 0)
    Say(Reader + " failed (it ended with status " + std::to_string(WEXITSTATUS(Status)) + ")");

  // The child's scene, read back; its texture side files and meshes lie beside it.
  auto Root = std::make_unique<TLumNode>(Owner);
  TLumExchange Ex(nullptr);
  Ex.SetFileName(Scene);
  try {
    Ex.LoadfromFile(Root.get());
    ReadMeshes(Root.get(), Meshes);
  } catch (const std::bad_alloc&) {
    Say("there is not enough memory to read what " + Reader + " handed back");
  } catch (const std::exception& E) {
    Say("what " + Reader + " handed back cannot be read (" + E.what() + ")");
  }
  if (Options.OnWarning)
    for (TLumLoadWarning W : Ex.Warnings()) {
      W.FileName = FileName;
      Options.OnWarning(W);
    }
  return Root.release();
}

TLumNode* ImportIsolated(const std::string& FileName, TComponent* Owner,
                         const TLumImportOptions& Options, const TLumFileAccess& Access) {
  return ReadIsolated(FileName, "model", Owner, Options,
                      [&](TComponent* ChildOwner, const TLumImportOptions& Here, const auto&) {
                        return ImportHere(FileName, ChildOwner, Here, Access, true);
                      });
}

}  // namespace lumox::importparts
