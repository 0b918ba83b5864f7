// kestrum-cli: the command-line tool over the Kestrum engine.
#include <clocale>
#include <iostream>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "document/document.h"
#include "platform/log.h"
#include "platform/paths.h"

int main(int argc, char** argv) {
  // Standard output carries the commands' data (JSON among it), and every failure is reported
  // on standard error with its message, so the engine's diagnostic lines go to the log file
  // (or to standard error with --verbose).
  vemra::platform::SetLogFolder(vemra::platform::StateRoot());
  // Names are compared without letter case in every script, not only in ASCII.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  vemra::cli::KeepBooksUntilExit();
  vemra::Document::KeepDatabasesUntilExit();
  std::vector<std::string> args(argv + 1, argv + argc);
  int status = vemra::cli::Run(args, std::cout, std::cerr);
  std::cout.flush();
  return std::cout.fail() && status == vemra::cli::kExitOK ? vemra::cli::kExitFailed : status;
}
