// What the scene targets share: the input as a scene file in a private folder.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace lumox::fuzz {

// A folder of this process's own, made once, for the scene and its side files.
inline const std::filesystem::path& WorkDir() {
  static const std::filesystem::path Dir = [] {
    auto D = std::filesystem::temp_directory_path() / ("lumox_fuzz_" + std::to_string(::getpid()));
    std::filesystem::create_directories(D);
    return D;
  }();
  return Dir;
}

inline std::string WriteInput(const uint8_t* Data, size_t Size, const char* Name) {
  const std::string File = (WorkDir() / Name).string();
  std::ofstream(File, std::ios::binary)
      .write(reinterpret_cast<const char*>(Data), static_cast<std::streamsize>(Size));
  return File;
}

}  // namespace lumox::fuzz
