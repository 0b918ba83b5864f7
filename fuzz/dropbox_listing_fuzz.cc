// Fuzzes the reader of Dropbox listing pages: any bytes either fail with an empty listing or
// give entries whose names, sent back in a Dropbox-API-Arg header, come out as plain ASCII.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sync/dropbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const nlohmann::json reply = nlohmann::json::parse(text, nullptr, false);
  vemra::sync::Listing listing;
  listing.entries.push_back({"stale", "", true, 0});
  const vemra::sync::Status s = vemra::sync::ReadListing(reply, listing);
  if (!s.ok() && (!listing.entries.empty() || listing.has_more || !listing.cursor.empty())) {
    std::abort();
  }
  for (const vemra::sync::Entry& e : listing.entries) {
    if (!e.is_file && (!e.rev.empty() || e.size != 0)) std::abort();
    const std::string arg = vemra::sync::ApiArg({{"path", "/Home.sync/" + e.name}});
    for (unsigned char c : arg) {
      if (c >= 0x7F || c < 0x20) std::abort();
    }
  }
  return 0;
}
