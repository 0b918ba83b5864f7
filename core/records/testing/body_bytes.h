// Helpers for record tests: hand-written hex vectors and the stored body of a record.
#pragma once

#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "core/records/base_entry.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/testing/stream_bytes.h"

namespace vemra::testing {

// Parses hex digits, ignoring spaces, line breaks and '|' separators: Hex("01 00 | ff").
inline Bytes Hex(const std::string& text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) continue;
    int v = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::tolower(c) - 'a' + 10;
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<uint8_t>(high * 16 + v));
      high = -1;
    }
  }
  return out;
}

// The bytes SaveData writes for `entry`.
inline Bytes SavedBody(TBaseEntry& entry) {
  OutputStream out;
  entry.SaveData(out);
  return out.MemoryData();
}

// The bytes SaveHeader writes for `entry`.
inline Bytes SavedHeader(TBaseEntry& entry) {
  OutputStream out;
  entry.SaveHeader(out);
  return out.MemoryData();
}

// Runs LoadData of `entry` over `body` read as layout `version`; returns its result.
inline bool LoadBody(TBaseEntry& entry, const Bytes& body, uint32_t version) {
  OutputStream out;
  if (!body.empty()) out.Write(body.data(), body.size());
  InputStream in;
  in.AttachMemory(out);
  return entry.LoadData(in, version);
}

}  // namespace vemra::testing
