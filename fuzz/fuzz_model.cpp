// libFuzzer target: a model file read through the isolated import, as the lumox command
// reads one. The first byte picks the format (its file extension), the rest is the file.
// Whatever the reader does in its child process, this process gets a node or an
// Exception that says why in words; anything else is a find.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzzscene.h"
#include "lumox/lumox.h"

using namespace lumox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  static const char* const Extensions[] = {".obj", ".stl", ".ply", ".gltf", ".glb",
                                           ".3ds", ".dae", ".off", ".fbx"};
  if (Size < 1) return 0;
  const std::string Ext = Extensions[Data[0] % (sizeof Extensions / sizeof *Extensions)];
  const std::string In = fuzz::WriteInput(Data + 1, Size - 1, ("in" + Ext).c_str());
  TComponent Form(nullptr);
  TLumImportOptions Options;
  Options.Isolated = true;
  Options.TimeLimit = 10;
  Options.MaxMemoryMB = 1024;
  try {
    LoadModel(In, &Form, Options);
  } catch (const Exception& E) {
    const std::string M = E.what();
    // The reason without the names it quotes: a file the model names may hold any text.
    std::string Words;
    bool Quoted = false;
    for (char C : M) {
      if (C == '"')
        Quoted = !Quoted;
      else if (!Quoted)
        Words += C;
    }
    // Every refusal names the file and gives a reason in words, ended once.
    if (M.rfind("Cannot read the model file \"" + In + "\": ", 0) != 0 || M.size() < 2 ||
        Words.find("bad_alloc") != std::string::npos || M.compare(M.size() - 2, 2, "..") == 0) {
      std::fprintf(stderr, "a refusal that does not say why: %s\n", M.c_str());
      std::abort();
    }
  }
  return 0;
}
