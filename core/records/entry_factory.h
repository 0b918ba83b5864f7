// The record factory: one empty object of the class for each record type code.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "core/records/base_entry.h"

namespace vemra {

// Returns a new, default-constructed record of the class for `type` (10, 100-111, 200-203), or
// null for 0, deletion markers (1) and every unknown code. The caller owns the result.
std::unique_ptr<TBaseEntry> CreateEntry(uint32_t type);

// Returns the table (0-6) that holds records of `type`, or 0 for a code with no class.
uint32_t TableOfType(uint32_t type);

// Returns the name of the type code ("etAccount"), or an empty view for an unknown code.
std::string_view TypeName(uint32_t type);

}  // namespace vemra
