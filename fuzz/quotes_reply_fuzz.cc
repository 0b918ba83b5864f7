// Fuzzes the quotes reply reader: every rate read is finite, one per line holding a comma, and
// the lines handed back lie inside the input.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "import/quotes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  std::vector<std::string_view> lines;
  const std::vector<double> rates = vemra::import::ParseQuotesReply(body, &lines);
  if (rates.size() != lines.size()) std::abort();
  for (size_t k = 0; k < rates.size(); ++k) {
    if (!std::isfinite(rates[k])) std::abort();
    if (lines[k].data() < body.data() || lines[k].data() + lines[k].size() > body.data() + size ||
        lines[k].find(',') == std::string_view::npos ||
        lines[k].find('\n') != std::string_view::npos) {
      std::abort();
    }
  }
  return 0;
}
