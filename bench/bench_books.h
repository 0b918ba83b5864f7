// Generated books for the benchmarks, made once and kept as files between runs.
#pragma once

#include <cstdint>
#include <string>

namespace vemra::bench {

// Returns the path of a generated book of `transactions` transactions (seed 1), writing it
// first when it is missing. Books live in $KESTRUM_BENCH_DIR, or /tmp/kestrum-bench.
std::string BookPath(uint64_t transactions);

// The peak resident memory of this process so far, in bytes (VmHWM), or 0 when unknown.
uint64_t PeakResidentBytes();
// The resident memory of this process now, in bytes (VmRSS), or 0 when unknown.
uint64_t ResidentBytes();

}  // namespace vemra::bench
