// Running the lumox command from a test: its exit status (or the signal that ended it),
// what it printed, and measures of the images it wrote.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "lumox/host/graphics.h"
#include "support/scenefile.h"

namespace lumox::test {

struct TCommandRun {
  int Status = -1;  // the exit status, or -1 when a signal ended the command
  int Signal = 0;   // the signal, or 0
  std::string Out, Err;
};

// Runs LUMOX_COMMAND with Args (quoted by the caller as a shell would need) in Dir, where
// its stdout and stderr are caught; Env is NAME=VALUE words put before it.
inline TCommandRun RunCommand(const TempDir& Dir, const std::string& Args,
                              const std::string& Env = "") {
  const std::string Out = Dir.File("command-out.txt"), Err = Dir.File("command-err.txt");
  const std::string Cmd = "cd '" + Dir.Path().string() + "' && " + Env + " exec '" + LUMOX_COMMAND +
                          "' " + Args + " >'" + Out + "' 2>'" + Err + "'";
  const int S = std::system(Cmd.c_str());
  TCommandRun R;
  // The shell reports a child ended by a signal as 128 + the signal.
  if (WIFEXITED(S) && WEXITSTATUS(S) > 128)
    R.Signal = WEXITSTATUS(S) - 128;
  else if (WIFSIGNALED(S))
    R.Signal = WTERMSIG(S);
  else if (WIFEXITED(S))
    R.Status = WEXITSTATUS(S);
  R.Out = ReadText(Out);
  R.Err = ReadText(Err);
  return R;
}

// The share of pixels that differ from the corner pixel (the background), 0..1.
inline double Coverage(const TBitmap& B) {
  const uint32_t Background = B.GetPixel(0, 0);
  int64_t N = 0;
  for (int Y = 0; Y < B.Height(); ++Y)
    for (int X = 0; X < B.Width(); ++X) N += B.GetPixel(X, Y) != Background;
  return B.Width() && B.Height() ? static_cast<double>(N) / (B.Width() * B.Height()) : 0.0;
}

// How many distinct colours the non-background pixels have: one for a flat silhouette,
// many for a shaded or textured object.
inline int Shades(const TBitmap& B) {
  const uint32_t Background = B.GetPixel(0, 0);
  std::vector<bool> Seen(1 << 24);
  int N = 0;
  for (int Y = 0; Y < B.Height(); ++Y)
    for (int X = 0; X < B.Width(); ++X) {
      const uint32_t P = B.GetPixel(X, Y) & 0xFFFFFF;
      if (P != Background && !Seen[P]) Seen[P] = true, ++N;
    }
  return N;
}

// The image file Name in Dir as the library reads it (empty when it cannot).
inline TBitmap ReadImage(const TempDir& Dir, const std::string& Name) {
  TBitmap B;
  B.LoadFromFile(Dir.File(Name));
  return B;
}

}  // namespace lumox::test
