// Headers checked before the importer reads a file: PLY and OFF counts the file cannot
// hold, glTF nodes nested too deep or in a cycle; honest files of each kind pass.
#include <gtest/gtest.h>

#include <string>

#include "lumox/import/lumimport.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

// What loading the file in Dir of that name and text says; "" when it loads.
std::string Refusal(const test::TempDir& Dir, const std::string& Name, const std::string& Text) {
  test::WriteText(Dir.File(Name), Text);
  TComponent Owner(nullptr);
  const std::string M = test::Thrown([&] { LoadModel(Dir.File(Name), &Owner); });
  return M == "(nothing thrown)" ? "" : M;
}

const std::string Vertex3 =
    "element vertex 3\nproperty float x\nproperty float y\nproperty float z\n";
const std::string Triangle = "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";

TEST(ModelPreCheckTest, PlyAndOffCountsBeyondTheFileSizeAreRefused) {
  const test::TempDir Dir;
  const std::string Face = "element face 1\nproperty list uchar int vertex_indices\nend_header\n";
  EXPECT_EQ(Refusal(Dir, "ok.ply", "ply\nformat ascii 1.0\n" + Vertex3 + Face + Triangle), "");
  EXPECT_EQ(Refusal(Dir, "ok.off", "OFF\n3 1 0\n" + Triangle), "");
  const std::string Ply = "ply\nformat binary_little_endian 1.0\n";
  const std::string Cases[][3] = {
      // A billion faces in a few hundred bytes: refused at once with the count.
      {"liar.ply",
       Ply + Vertex3 + "element face 1000000000\nproperty list uchar int vertex_indices\n" +
           "end_header\n" + std::string(60, '\0'),
       "declares 1000000000 face elements, more than the"},
      // Counts that overflow any product, as text.
      {"huge.ply",
       "ply\nformat ascii 1.0\nelement vertex 18446744073709551615\nproperty float x\n"
       "end_header\n0\n",
       "declares 18446744073709551615 vertex elements"},
      // An element without properties: its count alone must still fit the file.
      {"bare.ply", Ply + "element vertex 1000000000000000000\nend_header\n",
       "declares 1000000000000000000 vertex elements"},
      // "end_header" only inside a word: the importer would search for it without end.
      {"hang.ply",
       test::ReadText(std::string(LUMOX_TEST_DATA) +
                      "/fuzz-model/ply_end_header_inside_a_word_hangs.ply"),
       "its header has no end_header line"},
      {"liar.off", "OFF\n# a comment\n3 2000000000 0\n" + Triangle,
       "declares 3 vertices and 2000000000 faces, more than its"}};
  std::string M;
  for (const auto& [Name, Text, Said] : Cases) {
    M = Refusal(Dir, Name, Text);
    EXPECT_NE(M.find(Said), std::string::npos) << M;
  }
  EXPECT_EQ(M.rfind("Cannot read the model file \"" + Dir.File("liar.off") + "\": ", 0), 0u);
}

// A glTF file of N nodes, each the child of the one before (node 0 on top), the last
// one pointing back at the first when Cycle.
std::string Chain(int N, bool Cycle = false) {
  std::string S = R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[)";
  for (int I = 0; I < N; ++I) {
    if (I) S += ',';
    S += I + 1 < N ? "{\"children\":[" + std::to_string(I + 1) + "]}"
                   : (Cycle ? "{\"children\":[0]}" : "{}");
  }
  return S + "]}";
}

// A GLB file of one JSON chunk, Json, whose header gives the chunk JsonBytes bytes.
std::string Glb(uint32_t JsonBytes, const std::string& Json) {
  auto U32 = [](uint32_t V) { return std::string(reinterpret_cast<const char*>(&V), 4); };
  return std::string("glTF") + U32(2) + U32(uint32_t(20 + Json.size())) + U32(JsonBytes) + "JSON" +
         Json;
}

TEST(ModelPreCheckTest, GltfNodesNestedTooDeepOrInACycleAreRefused) {
  const test::TempDir Dir;
  // 20 000 levels overflow the importer's stack; refused before it starts.
  std::string M = Refusal(Dir, "deep.gltf", Chain(20000));
  EXPECT_NE(M.find("nodes are nested more than 4096 levels deep"), std::string::npos) << M;
  M = Refusal(Dir, "cycle.gltf", Chain(3, true));
  EXPECT_NE(M.find("node 0 is among its own children"), std::string::npos) << M;
  // 1000 levels of nodes without meshes pass the check: what the importer says of an
  // empty scene is its own.
  M = Refusal(Dir, "ok.gltf", Chain(1000));
  EXPECT_EQ(M.find("nested"), std::string::npos) << M;
  // A binary file is checked by its JSON chunk.
  const std::string Json = Chain(20000);
  M = Refusal(Dir, "deep.glb", Glb(uint32_t(Json.size()), Json));
  EXPECT_NE(M.find("nested more than"), std::string::npos) << M;
  // A 20-byte header claiming 4 GB of JSON is refused by the file's size, before any
  // of it is allocated.
  M = Refusal(Dir, "liar.glb", Glb(0xFFFFFFFFu, ""));
  EXPECT_EQ(M, "Cannot read the model file \"" + Dir.File("liar.glb") +
                   "\": its GLB header claims 4294967295 bytes of JSON but the file holds 20 "
                   "bytes.")
      << M;
}

}  // namespace
}  // namespace lumox
