// Model files in the command: loading OBJ, STL, PLY, glTF, 3DS, DXF and the other formats
// of the model importer into a scene (the importer in a child process), and writing
// scenes as OBJ, STL or glTF.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/import/lumdxfimport.h"
#include "lumox/import/lumimport.h"
#include "lumox/math/lumgl.h"

namespace lumoxcmd {

using namespace lumox;

namespace {

std::string Ext(const std::string& File) {
  std::string E = std::filesystem::path(File).extension().string();
  std::transform(E.begin(), E.end(), E.begin(), [](unsigned char c) { return std::tolower(c); });
  return E;
}

}  // namespace

bool IsModelPath(const std::string& File) {
  const std::string E = Ext(File);
  // LUMGL scenes are XML; the model importer would claim some XML dialects.
  if (E == ".lumgl" || E == ".xml" || E.empty()) return false;
  return E == ".dxf" || IsModelFile(File);
}

bool IsModelOutput(const std::string& File) { return IsExportFile(File); }

std::vector<std::string>& ResourceRoots() {
  static std::vector<std::string> Roots;
  return Roots;
}

uint32_t& ImportMemoryMB() {
  static uint32_t Limit = TLumImportOptions().MaxMemoryMB;
  return Limit;
}

void LoadModelInto(const std::string& File, TComponent* Owner, TLumNode* Root, TSceneLoad* Load) {
  auto Warn = [Load](const TLumLoadWarning& W) {
    if (Load) Load->Warnings.push_back(W);
  };
  if (Ext(File) == ".dxf") {
    auto* D = new TLumDXFImport(Owner);
    D->SetFileName(File);
    D->SetTarget(Root);
    // In a child process as models are: block inserts can expand past any memory.
    D->SetIsolated(true);
    D->SetMaxMemoryMB(ImportMemoryMB());
    D->Execute();
    if (D->UnknownCount() > 0) {
      std::string List;
      for (const auto& [Name, Count] : D->UnknownEntities())
        List += (List.empty() ? "" : ", ") + Name + " (" + std::to_string(Count) + ")";
      std::fprintf(stderr, "lumox: %s: skipped entities: %s\n", File.c_str(), List.c_str());
    }
    return;
  }
  TLumImportOptions Options;
  // Every import runs in a child process: whatever the reader does to a hostile file,
  // the command ends with a message.
  Options.Isolated = true;
  Options.MaxMemoryMB = ImportMemoryMB();
  Options.ResourceRoots = ResourceRoots();
  Options.OnWarning = Warn;
  // A bar on a terminal once a load has taken more than a second.
  const auto Start = std::chrono::steady_clock::now();
  int Shown = -1;
  if (::isatty(2))
    Options.OnProgress = [&](double Progress) {
      const int Percent = static_cast<int>(Progress * 100);
      if (Percent == Shown || std::chrono::steady_clock::now() - Start < std::chrono::seconds(1))
        return;
      Shown = Percent;
      std::fprintf(stderr, "\rloading %s [%s%s] %3d%%", File.c_str(),
                   std::string(Percent * 30 / 100, '#').c_str(),
                   std::string(30 - Percent * 30 / 100, ' ').c_str(), Percent);
      std::fflush(stderr);
    };
  TLumNode* Model = nullptr;
  try {
    Model = LoadModel(File, Owner, Options);
  } catch (...) {
    if (Shown >= 0) std::fprintf(stderr, "\n");
    throw;
  }
  if (Shown >= 0) std::fprintf(stderr, "\n");
  Root->Add(Model);
}

void SaveModelFile(TLumNode* Root, const std::string& File) {
  std::vector<std::string> Warnings;
  SaveModel(Root, File, false, &Warnings);
  for (const std::string& W : Warnings)
    std::fprintf(stderr, "lumox: %s: %s\n", File.c_str(), W.c_str());
}

}  // namespace lumoxcmd
