// The transaction list: the transactions of the chosen accounts in the book's period as an
// outline of header rows (a day, or income, expenses and transfers), group rows (split,
// category, payee) and transaction rows, with totals that leave out uncleared transactions, a
// search filter, sorting by row properties, drag and drop between groups, "Make group",
// "Delete" and writing edited cells back. No drawing.
//
// Threads: the tree is built on the document's queue and handed over under a lock; commands
// may come from any one thread (the GUI's) and run their changes on the queue.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "collections/interfaces.h"
#include "document/document.h"
#include "lists/node.h"

namespace vemra::lists {

// One sort key: a row property ("date", "name", "comment", "category", "payee", "amount",
// "balance", "quantity", "price") and its direction.
struct SortKey {
  std::string key;
  bool ascending = true;
};

// The row for core node `core` with its children (Parent set), totals calculated. Use on the
// document's queue.
std::shared_ptr<Node> MakeRow(Book& book, const vemra::Node& core, Node* parent);
// Totals: a row with filtered children sums the Amount and Quantity of its cleared children
// (header, split and category rows count as cleared); a transaction row gets its Price.
void Calculate(Node& row);
// Filters `row`'s descendants: with an empty `text` all pass; otherwise a transaction passes
// when its Name contains `text` without regard to case, another row when any of its children
// passed. Totals follow.
void FilterNodes(Node& row, const std::wstring& text);
// Sorts the filtered children of `row` by `keys` (texts case-folded, then by code point;
// absent values first; stable), and their children the same way.
void SortChildren(Node& row, const std::vector<SortKey>& keys);
// The row with `id` (0 never matches): `row` itself or the first depth-first among filtered
// descendants; null when none.
Node* FindNodeByID(Node& row, uint64_t id);

class TransactionList {
 public:
  // A list over `document`, which must outlive it; empty until loadData. Grouped by date.
  explicit TransactionList(Document& document);

  void setAccounts(std::vector<uint64_t> accounts) { accounts_ = std::move(accounts); }
  void setCurrency(uint64_t currency) { currency_ = currency; }
  // 2 by date (rows under day headers, splits grouped), 3 by category, 5 by payee (under
  // kind headers).
  void setGroupBy(int group_by) {
    group_by_ = group_by;
    by_days_ = group_by == 2;
    tree_group_ = by_days_ ? GroupBy::Split : group_by;
  }
  int groupBy() const { return group_by_; }
  void setFilter(std::wstring filter) { filter_ = std::move(filter); }
  void setSort(std::vector<SortKey> keys) { sort_ = std::move(keys); }

  // The root of the rows of `book`'s period: under day headers (`by_days`) or kind headers,
  // grouped below them as `group_by` (GroupBy) says, in `currency`, for `accounts` (empty:
  // all). Use on the document's queue.
  static std::shared_ptr<Node> BuildRoot(Book& book, bool by_days, int group_by, uint64_t currency,
                                         const std::vector<uint64_t>& accounts);
  // Sorts the tree under `root` by `keys`: with day headers and "date" first, the headers too;
  // otherwise only what lies under the top-level rows.
  static void SortTree(Node& root, const std::vector<SortKey>& keys, bool by_days);

  // Rebuilds the tree on the document's queue (the book's period, the accounts, the currency,
  // the grouping), then filters and sorts it; `done` runs on the queue afterwards.
  void loadData(std::function<void()> done = {});
  void loadDataAndWait();
  // Filters and sorts the current tree again without reloading.
  void filterData();
  // Sorts: by date with day headers, the whole tree, headers included; otherwise the headers
  // keep their order and only their descendants are sorted.
  void sortData();
  // The invisible root; its FilteredNodes are the top-level rows. Thread-safe.
  std::shared_ptr<Node> root() const;

  // Whether a drop on `target` is taken: never on a transaction row or the transfer header.
  static bool validateDrop(const Node& target);
  // Moves the rows with `ids` onto `target` as the list's drop does (a split to another day,
  // a category under another, a transaction into a split, a category, a day, or from income
  // to expense and back) in one undo step "edit". False when refused.
  bool acceptDrop(const std::vector<uint64_t>& ids, const Node& target);
  // The rows a context-menu command applies to: the selected rows, or only the right-clicked
  // row (`clicked`, null for none) when it lies outside the selection.
  static std::vector<const Node*> MenuRows(const std::vector<const Node*>& selected,
                                           const Node* clicked);
  // Whether "Delete" applies: at least one of `rows` is a record row.
  static bool canDelete(const std::vector<const Node*>& rows);
  // Whether "Make group" applies to `selected`: two rows or more, every record row a
  // transaction that does not come from a schedule.
  static bool canMakeGroup(const std::vector<const Node*>& selected);
  // Makes a split of the transactions with `ids` that do not come from a schedule, named
  // "Split", from the first one's account, date and time. Returns the split's ID, 0 when
  // nothing was grouped.
  uint64_t makeGroup(const std::vector<uint64_t>& ids);
  // Deletes the transaction, category (children kept, moved up) and split rows among `rows`
  // in one undo step "delete"; other rows are ignored. False when there was nothing to delete.
  bool deleteRows(const std::vector<const Node*>& rows);
  // Writes an edited row back in one undo step "edit": a category's name and comment; a
  // split's date, time, cleared flag, name and comment; a transaction's category and payee
  // (a name without ID creates the category), date, time, cleared flag, name, comment,
  // quantity and amounts. Then the journal, and with `reload` the update-data notification
  // (both lists rebuild); otherwise with `recalculate` the totals are calculated again and the
  // update-accounts notification goes out (the account list refreshes its balances). False
  // when refused.
  bool editNode(const Node& row, bool recalculate = false, bool reload = true);

  // The grouping stored in the user's settings ("com.vemra.finance.mac.transactions.groupby"),
  // 2 when absent or not 2, 3 or 5; and storing it.
  static int StoredGroupBy();
  static bool StoreGroupBy(int group_by);

 private:
  void Finish();  // journal and notification after a change

  Document& document_;
  std::vector<uint64_t> accounts_;
  uint64_t currency_ = 0;
  int group_by_ = 2;
  bool by_days_ = true;
  int tree_group_ = 2;  // GroupBy::Split
  std::wstring filter_;
  std::vector<SortKey> sort_;
  mutable std::mutex mutex_;
  std::shared_ptr<Node> root_;
};

}  // namespace vemra::lists
