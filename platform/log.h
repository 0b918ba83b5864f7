// Diagnostic log lines ("open failed: -1", "saved: 0", "readFromData"). They go to standard
// output unless the program sends them elsewhere: to standard error, to the rotating log file
// under the state folder, or nowhere.
#pragma once

#include <cstdio>
#include <string>

namespace vemra::platform {

// Writes `text` followed by `code` in decimal and a line break to the log output, flushed.
// Safe to call from any thread.
void LogCode(const char* text, int code);

// Writes `line` and a line break to the log output, flushed. Safe to call from any thread.
void LogLine(const std::string& line);

// Sends log lines to `out` (stdout by default); null turns them off. Returns the previous
// stream (null when they went to a log file or nowhere). Call it before other threads log.
std::FILE* SetLogOutput(std::FILE* out);

// Sends log lines to `folder`/kestrum.log, created (with the folder) at the first line; when
// the file passes 1 MiB it becomes kestrum.log.1 (replacing the older one) and a new file
// starts. Lines that cannot be written are dropped. Call it before other threads log.
void SetLogFolder(const std::string& folder);

}  // namespace vemra::platform
