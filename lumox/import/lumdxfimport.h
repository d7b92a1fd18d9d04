// TLumDXFImport: reads the drawing entities of a DXF file, ASCII or binary, into a
// TLum3dObj added to a target node, one part per layer.
//
// Read: 3DFACE (two triangles, or one when the last corners agree), POLYLINE polyface
// meshes (triangles) and polygon meshes (the M x N grid as triangles), LINE (a GL_LINES
// list per layer), LWPOLYLINE and 2D/3D POLYLINE (line strips, loops when closed),
// CIRCLE and ARC (line strips of up to 64 segments per full turn), and INSERT of blocks
// (scaled, rotated about Z and moved; blocks may insert blocks). Coordinates are taken
// as world coordinates: extrusion directions (object coordinate systems) and polyline
// bulges are not applied. Other entities are counted by name in UnknownEntities and
// skipped. A file that is not a sequence of group-code pairs, or that ends before its
// EOF marker, gives an Exception naming the file and the line (the byte of a binary
// file). Numbers must be finite; arcs make at most one turn whatever their angles; and
// what the entities with their block inserts expand to is counted before anything is
// made and refused beyond MaxMeshCount vertices. Faces get normals from their winding.
//
// Colours: the AutoCAD colour index (DXFColor) of the entity, or of its layer when the
// entity says BYLAYER (256) or when ColorMode is dcByLayer; BYBLOCK (0) takes the
// inserting entity's colour.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lumox/geometry/lum3dobj.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

enum TLumDXFColorMode : uint8_t { dcByEntity, dcByLayer };

// The colour of an AutoCAD colour index as a TLumColor value (red in the low byte).
// 1-7 are red, yellow, green, cyan, blue, magenta and white; 8 and 9 dark and light
// grey; 10-249 are 24 hues 15 degrees apart, ten shades each (even: full saturation,
// odd: half; the value falling 1, 0.8, 0.6, 0.5, 0.3 by pairs); 250-255 greys from
// dark to white. Indices outside 1..255 give white.
uint32_t DXFColor(int Index);

class TLumDXFImport : public TComponent {
 public:
  explicit TLumDXFImport(TComponent* AOwner) : TComponent(AOwner) {}
  ~TLumDXFImport() override;
  const char* ClassName() const override { return "TLumDXFImport"; }

  const std::string& FileName() const { return FFileName; }
  void SetFileName(const std::string& Value) { FFileName = Value; }
  // The node the imported object is added to (referenced, cleared when it dies).
  TLumNode* Target() const { return FTarget; }
  void SetTarget(TLumNode* Value);
  // Layers to read; empty reads them all.
  const std::vector<std::string>& Layers() const { return FLayers; }
  void SetLayers(const std::vector<std::string>& Value) { FLayers = Value; }
  TLumDXFColorMode ColorMode() const { return FColorMode; }
  void SetColorMode(TLumDXFColorMode Value) { FColorMode = Value; }
  // With Isolated, Execute reads the drawing in a child process, as model import does
  // (TLumImportOptions::Isolated): a reader that crashes, grows by more than MaxMemoryMB
  // or runs past TimeLimit seconds ends in an Exception saying so, and this process is
  // left as it was.
  bool Isolated() const { return FIsolated; }
  void SetIsolated(bool Value) { FIsolated = Value; }
  uint32_t MaxMemoryMB() const { return FMaxMemoryMB; }
  void SetMaxMemoryMB(uint32_t Value) { FMaxMemoryMB = Value; }
  double TimeLimit() const { return FTimeLimit; }
  void SetTimeLimit(double Value) { FTimeLimit = Value; }

  // Reads the file into a new TLum3dObj owned by the target's owner (or by this
  // component without a target) and added to the target; returns it. Throws Exception
  // for a file that cannot be read, the target then unchanged.
  TLum3dObj* Execute();
  // Entities of the last Execute that were skipped, by name, and their total.
  const std::map<std::string, int>& UnknownEntities() const { return FUnknown; }
  int UnknownCount() const;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  std::string FFileName;
  TLumNode* FTarget = nullptr;
  std::vector<std::string> FLayers;
  TLumDXFColorMode FColorMode = dcByEntity;
  bool FIsolated = false;
  uint32_t FMaxMemoryMB = 4096;
  double FTimeLimit = 300.0;
  std::map<std::string, int> FUnknown;
  // Execute's reading, in this process.
  TLum3dObj* ReadHere(TComponent* Owner);
};

}  // namespace lumox
