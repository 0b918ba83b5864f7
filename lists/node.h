// lists::Node: one row of a list model (the account list now, the transaction list next). It
// holds shared copies of records, never pointers into the database, so rows stay valid after
// the database changes; the parent owns its children. Not thread-safe; a finished set of rows
// may be read from any one thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "collections/node.h"

namespace vemra::lists {

// The overall-balance row of the account list.
constexpr int32_t kOverallRow = 0;

struct Node {
  int32_t Type = 0;  // vemra::NodeType values, kOverallRow for the overall row
  uint64_t ID = 0;   // the record's ID; 0 for headers and the overall row
  Node* Parent = nullptr;
  std::vector<std::shared_ptr<Node>> AllNodes;  // children, in core-tree order
  std::shared_ptr<TAccount> Account;
  std::shared_ptr<TAccGroup> Group;
  std::wstring Name;
  std::wstring Comment;
  double Balance = 0;  // account rows: its own currency; group rows: the group's currency
  // The currency Balance is in (the default currency for the overall row).
  uint64_t CurrencyID = 0;
};

using Rows = std::vector<std::shared_ptr<Node>>;

}  // namespace vemra::lists
