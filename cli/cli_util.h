// What every kestrum-cli command shares: parsing its words, usage and failure messages, JSON
// output, date and amount text, and saving. Internal to the cli library.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/record_json.h"
#include "core/database/database.h"
#include "core/records/dates.h"

namespace vemra::cli {

// The words of a command line split into positional arguments and options.
struct Parsed {
  std::vector<std::string> positional;
  // Every value an option was given, in command-line order; flags have one empty value.
  std::map<std::string, std::vector<std::string>> options;
  // Every option with its value, in command-line order.
  std::vector<std::pair<std::string, std::string>> sequence;

  bool Has(const std::string& name) const { return options.count(name) != 0; }
  // The last value of `name`, or null when it was not given.
  const std::string* Last(const std::string& name) const;
};

// Splits `args`. `valued` names the options that take a value ("--seed 5" or "--seed=5"),
// `flags` those that take none. Returns false and sets `problem` for an unknown option, a
// missing value or a value given to a flag. Words after "--" are positional.
bool Parse(const Args& args, const std::vector<std::string_view>& valued,
           const std::vector<std::string_view>& flags, Parsed& p, std::string& problem);

bool IsHelp(std::string_view arg);
// True when `--help` or `-h` is among `args`.
bool WantsHelp(const Args& args);
// Prints `usage` to `out`; returns 0.
int Help(std::ostream& out, std::string_view usage);
// Prints the problem (when not empty) and `usage` to `err`; returns kExitUsage.
int Usage(std::ostream& err, std::string_view usage, std::string_view problem);
// Prints "kestrum-cli: WHAT: <message of code>" to `err`; returns kExitFailed.
int Fail(std::ostream& err, const std::string& what, int code);
// Prints "kestrum-cli: MESSAGE" to `err`; returns kExitFailed.
int Refuse(std::ostream& err, const std::string& message);

// Parses a whole decimal number without sign.
bool ParseCount(const std::string& text, uint64_t& value);
// Parses a plain decimal number without sign or exponent ("12", "12.5", ".5"); `decimals` gets
// the count of digits after the point.
bool ParseNumber(const std::string& text, double& value, int* decimals = nullptr);
// Parses YYYY-MM-DD (a real calendar date, years 1..9999).
bool ParseDate(const std::string& text, ADate& date);
std::string FormatDate(ADate d);
// `v` with `decimals` places (at most 9), no grouping.
std::string FormatAmount(double v, int decimals);

// Writes a JSON value on one line (invalid UTF-8 replaced, never thrown).
void WriteJson(std::ostream& out, const Json& j);
// WriteJson and a line end.
void WriteJsonLine(std::ostream& out, const Json& j);

// Writes "[\n", the elements one per line separated by ",\n", and "]".
class JsonArrayWriter {
 public:
  explicit JsonArrayWriter(std::ostream& out) : out_(out) { out_ << "[\n"; }
  void Add(const Json& j);
  void Close() { out_ << "]"; }

 private:
  std::ostream& out_;
  bool first_ = true;
};

// Saves `db` to `path` atomically; returns the exit status (the failure reported to `err`).
int SaveTo(DataBase& db, const std::string& path, std::ostream& err);

}  // namespace vemra::cli
