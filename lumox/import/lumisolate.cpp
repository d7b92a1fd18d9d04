// Importing a model in a child process: the child runs the importer under limits of
// memory and time and writes the result as a scene file (textures beside it) into a
// private folder; the parent reads it back, or says in words how the child ended.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/import/lumimportparts.h"
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
  rcError = 'E',
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

// The text the child reports for a reader that ran out of memory.
constexpr const char* OutOfMemory = "there is not enough memory to read it";

[[noreturn]] void RunChild(const std::string& FileName, const TLumImportOptions& Options,
                           const TLumFileAccess& Access, const std::string& Scene, int Fd,
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
  int Status = 0;
  try {
    TComponent Owner(nullptr);
    TLumNode* Root = ImportHere(FileName, &Owner, Here, Access);
    TLumExchange Ex(&Owner);
    Ex.SetFileName(Scene);
    Ex.SavetoFile(Root);
    Out.Send(rcDone, "");
    // The scene is left to the end of the process: nothing else needs it freed.
    std::_Exit(0);
  } catch (const std::bad_alloc&) {
    Out.Send(rcMemory, "");
    Status = 3;
  } catch (const std::exception& E) {
    const std::string What = E.what();
    if (What.find(OutOfMemory) != std::string::npos)
      Out.Send(rcMemory, "");
    else
      Out.Send(rcError, What);
    Status = 1;
  }
  std::_Exit(Status);
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

TLumNode* ImportIsolated(const std::string& FileName, TComponent* Owner,
                         const TLumImportOptions& Options, const TLumFileAccess& Access) {
  const TPrivateDir Dir;
  const std::string Scene = (Dir.Path / "model.lumgl").string();
  int Pipe[2];
  if (::pipe2(Pipe, O_CLOEXEC) != 0)
    throw Exception(ModelError(FileName, "no process could be started to read it"));
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
    throw Exception(ModelError(FileName, "no process could be started to read it"));
  }
  if (Pid == 0) {
    ::close(Pipe[0]);
    RunChild(FileName, Options, Access, Scene, Pipe[1], Parent);
  }
  ::close(Pipe[1]);

  // Records until the child closes its end, or until its time is up.
  std::string Buffer, Error;
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
  auto Say = [&](const std::string& Why) { throw Exception(ModelError(FileName, Why)); };
  const std::string Limit = std::to_string(Options.MaxMemoryMB) + " MB";
  char Seconds[32];
  std::snprintf(Seconds, sizeof Seconds, "%g", Options.TimeLimit);
  if (TimedOut || Signal == SIGXCPU)
    Say("the model reader took longer than " + std::string(Seconds) + " s and was stopped");
  if (Memory) Say("the model reader used more than " + Limit + " of memory and was stopped");
  // The reader's own refusal, in words; anything else the child could not do, said of
  // the model.
  if (Error.rfind("Cannot read the model file", 0) == 0) throw Exception(Error);
  if (!Error.empty()) Say("what it holds cannot be handed back (" + Error + ")");
  if (Signal == SIGKILL)
    Say("the model reader was killed (" + SignalName(Signal) +
        "), perhaps for using more memory "
        "than the system could give");
  if (Signal == SIGABRT) Say("the model reader aborted (" + SignalName(Signal) + ")");
  if (Signalled) Say("the model reader crashed (" + SignalName(Signal) + ")");
  if (!Done || WEXITSTATUS(Status) != 0)
    Say("the model reader failed (it ended with status " + std::to_string(WEXITSTATUS(Status)) +
        ")");

  // The child's scene, read back; its texture side files lie beside it.
  auto Root = std::make_unique<TLumNode>(Owner);
  TLumExchange Ex(nullptr);
  Ex.SetFileName(Scene);
  try {
    Ex.LoadfromFile(Root.get());
  } catch (const std::exception& E) {
    Say(std::string("what the model reader handed back cannot be read (") + E.what() + ")");
  }
  if (Options.OnWarning)
    for (TLumLoadWarning W : Ex.Warnings()) {
      W.FileName = FileName;
      Options.OnWarning(W);
    }
  return Root.release();
}

}  // namespace lumox::importparts
