// The account list (the sidebar): the overall balance, the ungrouped accounts and each group
// with its accounts, each with its balance; what a selection shows; deleting rows; reordering
// and regrouping by drag and drop. No drawing.
//
// Threads: rows are built on the document's queue and handed over under a lock; the other
// calls may come from any one thread (the GUI's) and submit their changes to the queue.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "document/document.h"
#include "lists/node.h"

namespace vemra::lists {

class AccountList {
 public:
  // A list over `document`, which must outlive it; empty until loadData.
  explicit AccountList(Document& document);

  // The rows of `book`: the overall row (the balances of the account rows in the default
  // currency), then each top-level row of GetAccountsTree followed, for a group, by its
  // accounts (the closed ones only while the book shows them). A group's balance is its
  // accounts' balances in the group's currency (the default currency when it has none). A
  // balance without any exchange rate into a total's currency goes in unconverted and marks
  // both rows NoRate. Use on the document's queue.
  static Rows BuildRows(Book& book);

  // Rebuilds the rows on the document's queue; `done`, when given, runs there afterwards.
  void loadData(std::function<void()> done = {});
  // Rebuilds the rows and waits for them.
  void loadDataAndWait();
  // The rows as last loaded, the overall row first. Thread-safe.
  Rows rows() const;

  struct Selection {
    std::vector<uint64_t> accounts;  // empty: every account (unless `nothing`)
    uint64_t currency = 0;
    bool nothing = false;     // only empty groups were selected: no transactions at all
    bool can_delete = false;  // exactly one row, not the overall row
  };
  // What selecting the rows at `indexes` (in any order) shows: the accounts of the account
  // rows and of the groups' account rows, in row order; their currency when exactly one
  // account is collected (an account's own, or the group's for a group row), else the default
  // currency.
  Selection select(const std::vector<size_t>& indexes) const;

  // The confirmation an account row's deletion asks for ("Delete account "Cash"?"); empty for
  // other rows, which are deleted (a group) or ignored without asking.
  std::string deleteQuestion(size_t index) const;
  // Deletes the row at `index` in an undo step "delete": an account with its transactions, or
  // a group record alone (its accounts move to the top level). Then the update notification
  // and the journal. Returns false (with the reason in `why`) for another row or a refusal.
  bool deleteRow(size_t index, std::string* why = nullptr);

  enum class Drop { On, Above };
  // Whether dropping the rows at `dragged` on or above the row at `target` (rows().size():
  // past the last row) is a move the list takes.
  bool validateDrop(const std::vector<size_t>& dragged, size_t target, Drop how) const;
  // Takes the drop in an undo step "edit": the dragged rows get sort orders that put them,
  // together and in row order, before the target (or last), and a dragged account joins the
  // group of where it landed. Then the update notification and the journal. Returns false when
  // validateDrop refuses.
  bool acceptDrop(const std::vector<size_t>& dragged, size_t target, Drop how);

 private:
  Document& document_;
  mutable std::mutex mutex_;
  Rows rows_;
};

}  // namespace vemra::lists
