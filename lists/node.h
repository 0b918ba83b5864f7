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
  // Account list: the balance went into a total unconverted, for want of any exchange rate
  // (an account's into its group's or the default currency; a total holding such a one).
  bool NoRate = false;

  // --- Transaction list rows ---
  std::vector<std::shared_ptr<Node>> FilteredNodes;  // children passing the filter, in order
  std::shared_ptr<TTransaction> Transaction;
  std::shared_ptr<TSplit> Split;
  std::shared_ptr<TCategory> Category;
  ADate Date;         // date headers, transactions and splits
  uint32_t Time = 0;  // transactions and splits: time of day in ms
  bool Cleared = true;
  uint64_t CategoryID = 0;
  std::wstring CategoryName;
  uint32_t CategoryIcon = 0;
  uint64_t PayeeID = 0;
  std::wstring PayeeName;
  uint32_t PayeeIcon = 0;
  std::wstring WithdrawAccountName, TargetAccountName;
  uint32_t WithdrawAccountIcon = 0, TargetAccountIcon = 0;
  double WithdrawAmount = 0, TargetAmount = 0, Quantity = 0;
  double Amount = 0;  // transactions: in the list currency; rows with children: the total
  double Tax = 0, Price = 0;
};

using Rows = std::vector<std::shared_ptr<Node>>;

}  // namespace vemra::lists
