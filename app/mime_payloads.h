// The lists' drag payloads wrapped in QMimeData: one 16-byte payload per dragged value under the
// list's pasteboard type, so that drops between documents are refused and a drop from outside
// carries nothing the list takes.
#pragma once

#include <QMimeData>
#include <cstdint>
#include <vector>

namespace kestrum {

// The payloads of `values` (in order, each once) for the document with `token` under `type`;
// null when `values` is empty. The caller owns the result (Qt's drag takes it).
QMimeData* MakePayloads(const char* type, const std::vector<uint64_t>& values, uint64_t token);
// The values `data` carries under `type` for the document with `token`; false (with `values`
// as it was) when there is no such data, it is not whole payloads, or any payload is another
// document's.
bool ReadPayloads(const QMimeData* data, const char* type, uint64_t token,
                  std::vector<uint64_t>& values);

}  // namespace kestrum
