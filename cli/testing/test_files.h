// Helpers of the command tests: in-process runs, and scratch files in a fresh folder per test,
// removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace vemra::cli::testing {

// What one in-process run of kestrum-cli gave.
struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline Outcome Cli(const Args& args) {
  std::ostringstream out, err;
  int status = Run(args, out, err);
  return {status, out.str(), err.str()};
}

class ScratchDir {
 public:
  ScratchDir()
      : dir_(std::filesystem::temp_directory_path() /
             ("kestrum-cli-" + std::to_string(::getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    // Caches, settings and logs of the commands stay inside the scratch folder.
    ::setenv("XDG_CACHE_HOME", (dir_ / "xdg-cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (dir_ / "xdg-config").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (dir_ / "xdg-state").c_str(), 1);
    // New books take the English template whatever the machine's language.
    ::setenv("LANGUAGE", "en", 1);
  }
  ~ScratchDir() { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

 private:
  std::filesystem::path dir_;
};

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

}  // namespace vemra::cli::testing
