// The typed byte payloads the lists put on the pasteboard when a row is dragged: the row's
// value (a record ID, or an account-list row index) as a little-endian u64, followed by the
// dragging document's instance token, so that a drop from another document is refused. The
// app wraps them in QMimeData under the type names below.
#pragma once

#include <cstdint>
#include <vector>

namespace vemra::lists {

inline constexpr char kTransactionsPasteboardType[] =
    "com.vemra.finance.mac.transactions.pasteboard";
inline constexpr char kAccountsPasteboardType[] = "com.vemra.finance.mac.accounts.pasteboard";

// 16 bytes: `value` then `token`, both little-endian.
std::vector<uint8_t> PasteboardPayload(uint64_t value, uint64_t token);
// The value of a payload made by the document with `token`; false for any other document, a
// payload of another size or none.
bool ReadPasteboardPayload(const std::vector<uint8_t>& payload, uint64_t token, uint64_t& value);

}  // namespace vemra::lists
