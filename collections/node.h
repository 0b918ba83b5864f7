// vemra::Node: the tree node in which the collections hand accounts, categories and the
// transactions of a period to the views. A node holds shared copies of records, never pointers
// into the database's tables, so a tree stays valid after the database changes. Nodes are always
// held by std::shared_ptr. Not thread-safe; a finished tree may be read from any one thread.
#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/dates.h"
#include "core/records/split.h"
#include "core/records/transaction.h"

namespace vemra {

// Node types. Headers are negative, record nodes positive.
namespace NodeType {
constexpr int32_t DateHeader = -1;      // one day of the transaction tree
constexpr int32_t ExpenseHeader = -2;   // the expenses of the transaction tree
constexpr int32_t IncomeHeader = -3;    // the incomes
constexpr int32_t TransferHeader = -4;  // the transfers
constexpr int32_t Transaction = 1;
constexpr int32_t Split = 2;
constexpr int32_t Category = 3;
constexpr int32_t Account = 7;
constexpr int32_t Group = 8;
}  // namespace NodeType

struct Node {
  // A node of `type` dated today, with a zero balance, no record and no children.
  explicit Node(int32_t type) : Type(type), Date(TodayADate()) {}

  int32_t Type;
  bool HasParent = false;  // attached under another node of the same tree
  ADate Date;              // the day of a DateHeader
  double Balance = 0;      // running balance of transaction and split nodes
  std::shared_ptr<TTransaction> Transaction;
  std::shared_ptr<TSplit> Split;
  std::shared_ptr<TCategory> Category;
  std::shared_ptr<TAccount> Account;
  std::shared_ptr<TAccGroup> Group;
  std::list<std::shared_ptr<Node>> Children;  // in display order
};

using NodeList = std::list<std::shared_ptr<Node>>;

}  // namespace vemra
