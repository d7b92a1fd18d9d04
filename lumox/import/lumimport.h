// Model files in and out through the Asset Importer library: a file becomes a tree of
// TLumNodes holding TLum3dObj containers (one part per mesh, each with its material and
// texture), and a tree of nodes goes back out as OBJ, STL or glTF 2.0.
//
// Coordinates. Vertex data is taken as the file stores it; a file's node matrices become
// node transformations. Each matrix is split into translation, rotation and scale (in
// that order of application to the current matrix, i.e. M = T * R * S) with the rotation
// as X, then Y, then Z angles; a matrix with shear cannot be expressed that way and is
// approximated by its nearest translation/rotation/scale. Units are not converted unless
// Scale says so. The library's own frame is OpenGL's (Y up, the camera looking along -Z),
// which glTF, OBJ and PLY usually share; files drawn with Z up (3DS, many STL files, DXF)
// are turned upright with UpAxis = uaZUpToYUp, and uaYUpToZUp does the reverse for
// scenes built Z up. Both conversions and the scale sit on the returned root node, so the
// meshes stay as in the file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lum3dobj.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

enum TLumUpAxis : uint8_t { uaKeep, uaZUpToYUp, uaYUpToZUp };

struct TLumImportOptions {
  TLumUpAxis UpAxis = uaKeep;
  // Multiplies all coordinates (e.g. 0.001 for a file in millimetres, read as metres).
  double Scale = 1.0;
  // Normals computed from the faces where the file gives none.
  bool GenerateNormals = true;
  // Told the share read so far (0..1) while the importer works, when set.
  std::function<void(double)> OnProgress;
  // Told of what the file names but cannot give (a texture missing, unreadable or
  // outside the allowed folders: the part is drawn without it); the load goes on.
  TLumLoadWarningEvent OnWarning;

  // Files from anywhere. The model reads only regular files under its own folder (links
  // resolved), each of at most MaxFileSize bytes; ResourceRoots adds folders (textures
  // kept beside a folder of models). Special files (/dev, /proc) are always refused.
  std::vector<std::string> ResourceRoots;
  uint64_t MaxFileSize = uint64_t{1} << 30;
  // Imports in a child process, which hands the result back as a scene file with the
  // meshes' arrays beside it (read straight into the parts, exactly): a crash,
  // an abort or a hang of the reader, or memory growing by more than MaxMemoryMB, then
  // becomes an Exception saying so, and the calling process is left as it was. The child
  // is killed after TimeLimit seconds.
  bool Isolated = false;
  uint32_t MaxMemoryMB = 4096;
  double TimeLimit = 300.0;
};

// Reads a model file into a new node owned by AOwner: the file's node hierarchy as
// TLumNodes with their transformations, each node's meshes in one TLum3dObj. Textures
// (embedded or beside the file) become TLumTextures owned by the returned node. Throws
// Exception naming the file and saying why in words when the file cannot be read; a
// header that promises more than the file can hold (PLY and OFF counts, glTF nodes
// nested too deep) is refused before the importer sees it.
TLumNode* LoadModel(const std::string& FileName, TComponent* AOwner,
                    const TLumImportOptions& Options = {});

// Whether the importer reads files of this name's extension.
bool IsModelFile(const std::string& FileName);

// Writes the meshes under Root (TLum3dObj parts and every built TLumPrimitiveObj) to a
// model file whose format follows the extension: ".obj", ".stl" (binary), ".gltf" or
// ".glb". With ApplyTransformations the node and object transformations are multiplied
// into the vertices and one flat list of meshes is written; else each node becomes a node
// of the file with its transformation. Materials and textures go along: an object's
// own, or those rendered before it in the tree. Textures become PNG images: beside an
// OBJ file (named by its materials' map_Kd) or a .gltf file, inside a .glb file. What
// the format cannot hold (STL's materials and textures, a texture's transformation) is
// left out and said in Warnings, when given. The files are written beside the target and
// renamed into place; throws Exception naming the file on failure, leaving old files intact.
void SaveModel(TLumNode* Root, const std::string& FileName, bool ApplyTransformations = true,
               std::vector<std::string>* Warnings = nullptr);

// Whether SaveModel writes files of this name's extension.
bool IsExportFile(const std::string& FileName);

}  // namespace lumox
