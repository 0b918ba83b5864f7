#include "platform/log.h"

#include <atomic>

namespace vemra::platform {
namespace {

std::atomic<std::FILE*> g_out{nullptr};
std::atomic<bool> g_set{false};

}  // namespace

void LogCode(const char* text, int code) {
  std::FILE* out = g_set ? g_out.load() : stdout;
  if (out == nullptr) return;
  std::fprintf(out, "%s%d\n", text, code);
  std::fflush(out);
}

std::FILE* SetLogOutput(std::FILE* out) {
  std::FILE* previous = g_set ? g_out.load() : stdout;
  g_out = out;
  g_set = true;
  return previous;
}

}  // namespace vemra::platform
