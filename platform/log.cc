#include "platform/log.h"

#include <mutex>

#include "platform/paths.h"

namespace vemra::platform {
namespace {

constexpr long kRotateBytes = 1 << 20;

std::mutex g_mutex;
std::FILE* g_out = stdout;
std::string g_folder;         // the log file's folder while lines go to a file
std::FILE* g_file = nullptr;  // that file, opened at the first line

// The stream for the next line; called with g_mutex held.
std::FILE* Output() {
  if (g_folder.empty()) return g_out;
  if (g_file != nullptr && std::ftell(g_file) >= kRotateBytes) {
    std::fclose(g_file);
    g_file = nullptr;
    std::rename((g_folder + "/kestrum.log").c_str(), (g_folder + "/kestrum.log.1").c_str());
  }
  if (g_file == nullptr && MakeFolders(g_folder)) {
    g_file = std::fopen((g_folder + "/kestrum.log").c_str(), "a");
  }
  return g_file;
}

}  // namespace

void LogLine(const std::string& line) {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::FILE* out = Output();
  if (out == nullptr) return;
  std::fprintf(out, "%s\n", line.c_str());
  std::fflush(out);
}

void LogCode(const char* text, int code) {
  LogLine(text + std::to_string(code));
}

std::FILE* SetLogOutput(std::FILE* out) {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::FILE* previous = g_folder.empty() ? g_out : nullptr;
  if (g_file != nullptr) std::fclose(g_file);
  g_file = nullptr;
  g_folder.clear();
  g_out = out;
  return previous;
}

void SetLogFolder(const std::string& folder) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_file != nullptr) std::fclose(g_file);
  g_file = nullptr;
  g_folder = folder;
}

}  // namespace vemra::platform
