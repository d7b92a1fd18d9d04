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
};

// Reads a model file into a new node owned by AOwner: the file's node hierarchy as
// TLumNodes with their transformations, each node's meshes in one TLum3dObj. Textures
// (embedded or beside the file) become TLumTextures owned by the returned node. Throws
// Exception naming the file and the importer's reason when the file cannot be read.
TLumNode* LoadModel(const std::string& FileName, TComponent* AOwner,
                    const TLumImportOptions& Options = {});

// Whether the importer reads files of this name's extension.
bool IsModelFile(const std::string& FileName);

// Writes the meshes under Root (TLum3dObj parts and every built TLumPrimitiveObj) to a
// model file whose format follows the extension: ".obj", ".stl" (binary), ".gltf" or
// ".glb". With ApplyTransformations the node and object transformations are multiplied
// into the vertices and one flat list of meshes is written; else each node becomes a node
// of the file with its transformation. The file is written beside the target and renamed
// into place; throws Exception naming the file on failure, leaving any old file intact.
void SaveModel(TLumNode* Root, const std::string& FileName, bool ApplyTransformations = true);

// Whether SaveModel writes files of this name's extension.
bool IsExportFile(const std::string& FileName);

}  // namespace lumox
