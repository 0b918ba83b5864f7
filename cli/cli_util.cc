#include "cli/cli_util.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace vemra::cli {

const std::string* Parsed::Last(const std::string& name) const {
  auto it = options.find(name);
  return it == options.end() || it->second.empty() ? nullptr : &it->second.back();
}

bool Parse(const Args& args, const std::vector<std::string_view>& valued,
           const std::vector<std::string_view>& flags, Parsed& p, std::string& problem) {
  bool options_end = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (options_end || a.size() < 2 || a[0] != '-') {
      p.positional.push_back(a);
      continue;
    }
    if (a == "--") {
      options_end = true;
      continue;
    }
    std::string name = a;
    std::string value;
    bool has_value = false;
    if (size_t eq = a.find('='); a.rfind("--", 0) == 0 && eq != std::string::npos) {
      name = a.substr(0, eq);
      value = a.substr(eq + 1);
      has_value = true;
    }
    if (std::find(flags.begin(), flags.end(), name) != flags.end()) {
      if (has_value) {
        problem = "option '" + name + "' takes no value";
        return false;
      }
      p.options[name].emplace_back();
      p.sequence.emplace_back(name, "");
      continue;
    }
    if (std::find(valued.begin(), valued.end(), name) == valued.end()) {
      problem = "unknown option '" + name + "'";
      return false;
    }
    if (!has_value) {
      if (i + 1 >= args.size()) {
        problem = "option '" + name + "' needs a value";
        return false;
      }
      value = args[++i];
    }
    p.options[name].push_back(value);
    p.sequence.emplace_back(name, value);
  }
  return true;
}

bool IsHelp(std::string_view arg) {
  return arg == "--help" || arg == "-h";
}

bool WantsHelp(const Args& args) {
  return std::any_of(args.begin(), args.end(), [](const std::string& a) { return IsHelp(a); });
}

int Help(std::ostream& out, std::string_view usage) {
  out << usage;
  return kExitOK;
}

int Usage(std::ostream& err, std::string_view usage, std::string_view problem) {
  if (!problem.empty()) err << "kestrum-cli: " << problem << "\n\n";
  err << usage;
  return kExitUsage;
}

int Fail(std::ostream& err, const std::string& what, int code) {
  err << "kestrum-cli: " << what << ": " << ResultMessage(code) << "\n";
  return kExitFailed;
}

int Refuse(std::ostream& err, const std::string& message) {
  err << "kestrum-cli: " << message << "\n";
  return kExitFailed;
}

bool ParseCount(const std::string& text, uint64_t& value) {
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return !text.empty() && ec == std::errc() && ptr == end;
}

bool ParseNumber(const std::string& text, double& value, int* decimals) {
  size_t point = text.find('.');
  size_t digits = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == point) continue;
    if (text[i] < '0' || text[i] > '9') return false;
    ++digits;
  }
  if (digits == 0 || text.size() > 40) return false;
  auto [ptr, ec] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (ec != std::errc() || ptr != text.data() + text.size()) return false;
  if (decimals != nullptr) {
    *decimals = point == std::string::npos ? 0 : static_cast<int>(text.size() - point - 1);
  }
  return true;
}

bool ParseDate(const std::string& text, ADate& date) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  uint64_t y = 0, m = 0, d = 0;
  if (!ParseCount(text.substr(0, 4), y) || !ParseCount(text.substr(5, 2), m) ||
      !ParseCount(text.substr(8, 2), d)) {
    return false;
  }
  if (y < 1 || m < 1 || m > 12 || d < 1) return false;
  const auto year = static_cast<int32_t>(y), month = static_cast<int32_t>(m - 1);
  if (d > static_cast<uint64_t>(DaysInMonth(year, month))) return false;
  date = MakeADate(year, month, static_cast<int32_t>(d));
  return true;
}

std::string FormatDate(ADate d) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d", YearOf(d), MonthOf(d) + 1, DayOf(d));
  return buf;
}

std::string FormatAmount(double v, int decimals) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", std::clamp(decimals, 0, 9), v);
  return buf;
}

void WriteJson(std::ostream& out, const Json& j) {
  out << j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void WriteJsonLine(std::ostream& out, const Json& j) {
  WriteJson(out, j);
  out << "\n";
}

void JsonArrayWriter::Add(const Json& j) {
  if (!first_) out_ << ",\n";
  first_ = false;
  WriteJson(out_, j);
}

int SaveTo(DataBase& db, const std::string& path, std::ostream& err) {
  errno = 0;
  int code = db.SaveFile(path);
  int error = errno;
  if (code == kResultOK) return kExitOK;
  // A failed write names the system's reason ("No space left on device").
  if (code == kResultCantOpen && error != 0) return Refuse(err, path + ": " + std::strerror(error));
  return Fail(err, path, code);
}

}  // namespace vemra::cli
