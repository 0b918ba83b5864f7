// Diagnostic log lines ("open failed: -1", "saved: 0"). They go to standard output unless a
// program that uses standard output for its own data sends them elsewhere or turns them off.
#pragma once

#include <cstdio>

namespace vemra::platform {

// Writes `text` followed by `code` in decimal and a line break to the log output, flushed.
// Safe to call from any thread.
void LogCode(const char* text, int code);

// Sends log lines to `out` (stdout by default); null turns them off. Returns the previous
// output. Call it before other threads log.
std::FILE* SetLogOutput(std::FILE* out);

}  // namespace vemra::platform
