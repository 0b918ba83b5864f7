// The five collections through which everything above the database reads and changes records:
// currencies, accounts and account groups, categories and payees, transactions (with their
// scheduled variant) and splits. A database makes one object of each (DataBase::Currencies()
// and the rest) and owns it.
//
// Common rules: operations never throw and report no messages. Refusals come back as 0 or
// false, absent records as default-constructed records (ID 0). Records handed out are copies;
// trees hold shared copies. "Read-only" and "hidden" are per-user marks: they restrict every
// user except the record's owner, and only while some user is logged in; the database's own
// ReadOnly flag makes everything read-only. None of this is thread-safe: the owner of the
// database serialises every call (one document, one work queue).
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <string>

#include "collections/node.h"
#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/schedule.h"
#include "core/records/split.h"
#include "core/records/tagged_entry.h"
#include "core/records/transaction.h"

namespace vemra {

// Fixed roots of the category forest. IDs 1..100 are never records; a top-level category names
// its root in RootID.
constexpr uint64_t kCategorySubRootA = 2;  // top-level categories under kCategoryRoot may name it
constexpr uint64_t kCategorySubRootB = 3;  // likewise
constexpr uint64_t kCategoryRoot = 4;      // the category tree (a transaction's CategoryID)
constexpr uint64_t kPayeeRoot = 7;         // the payee tree (a transaction's PayeeID)
constexpr uint64_t kLastFixedRoot = 100;

// Walks up a parent chain give up after this many steps, so a cyclic chain cannot hang them.
constexpr int kMaxParentSteps = 100000;

class ICurrencies {
 public:
  virtual ~ICurrencies() = default;
  // Stores a copy of `c` as a new record. Returns the new ID, 0 when the database is read-only.
  virtual uint64_t AddCurrency(const TCurrency& c) = 0;
  // Replaces the record with c's ID. Returns the ID, 0 when refused.
  virtual uint64_t UpdateCurrency(const TCurrency& c) = 0;
  // The currency with its texts; a default record when absent.
  virtual TCurrency GetCurrency(uint64_t id) = 0;
  // Deletes the currency (nothing that refers to it changes). False when refused or absent.
  virtual bool DeleteCurrency(uint64_t id) = 0;
  // The enabled currencies, with texts, in display order: by name, ignoring letter case.
  virtual std::list<TCurrency> GetEnabledCurrencies() = 0;
  // Every currency, enabled ones first, then by name as above.
  virtual std::list<TCurrency> GetAllCurrencies() = 0;
  // The working default currency while it exists, else the first enabled currency in display
  // order, else the first currency; 0 when there is none.
  virtual uint64_t GetDefaultCurrencyID() = 0;
  // The currency's name; empty when absent.
  virtual std::wstring GetCurrencyName(uint64_t id) = 0;
  // The price of one unit of `from` in `to`: 1.0 for equal IDs or an unknown pair.
  virtual double GetExchangeRate(uint64_t from, uint64_t to) = 0;
  // Makes `rate` (one `from` in `to`) the pair's only rate record, dated today, and rebuilds the
  // rate index. False for equal IDs or a rate <= 0 (nothing changes).
  virtual bool SetExchangeRate(uint64_t from, uint64_t to, double rate) = 0;
};

// Why a change was refused.
struct TRefusal {
  enum Kind {
    kNone,
    kReadOnly,           // the database, or the record itself, may not be changed
    kAbsent,             // there is no such record
    kDependentReadOnly,  // a record that depends on it may not be changed (RecordID)
  } Reason = kNone;
  uint64_t RecordID = 0;
};

class IAccounts {
 public:
  virtual ~IAccounts() = default;
  // Stores a copy of `a` as a new record. Returns the new ID, 0 when `a` is read-only.
  virtual uint64_t AddAccount(const TAccount& a) = 0;
  // Replaces the account with a's ID. Returns the ID, 0 when the stored or the new version is
  // read-only or the database refuses.
  virtual uint64_t UpdateAccount(const TAccount& a) = 0;
  // The account with its texts and sort order; a default record when absent.
  virtual TAccount GetAccount(uint64_t id) = 0;
  // Deletes the account. Expenses and incomes of it alone are deleted; transfers keep their
  // other side, the deleted side set to 0, and are stored again. All or nothing: when the
  // account or any transaction that names it may not be changed, nothing changes, false is
  // returned and `why` (when given) says what stood in the way.
  virtual bool DeleteAccount(uint64_t id, TRefusal* why = nullptr) = 0;
  // Ungrouped accounts, then the groups with their accounts, both in list order; each account's
  // Balance is its opening balance plus its cleared transactions up to today.
  virtual NodeList GetAccountsTree() = 0;
  // The account's currency; 0 when absent.
  virtual uint64_t GetCurrencyID(uint64_t id) = 0;
  // The current rate from the first account's currency into the second's (1.0 when equal).
  virtual double GetExchangeRate(uint64_t first, uint64_t second) = 0;
  // The preferred account while it exists, else the lowest account ID; 0 when none.
  virtual uint64_t GetDefaultAccountID() = 0;
  virtual bool IsReadOnly(uint64_t id) = 0;
  virtual bool IsReadOnly(const TAccount& a) = 0;
  virtual bool IsGroupReadOnly(const TAccGroup& g) = 0;
  virtual bool IsHidden(uint64_t id) = 0;
  virtual bool IsHidden(const TAccount& a) = 0;
  virtual bool IsGroupHidden(const TAccGroup& g) = 0;
};

class ICategories {
 public:
  virtual ~ICategories() = default;
  // Stores a copy of `c` as a new record. Returns the new ID, 0 when `c` is read-only.
  virtual uint64_t AddCategory(const TCategory& c) = 0;
  // Replaces the category with c's ID. Returns the ID, 0 when refused.
  virtual uint64_t UpdateCategory(const TCategory& c) = 0;
  // The category with its texts and sort order; a default record when absent.
  virtual TCategory GetCategory(uint64_t id) = 0;
  // Deletes the category. Its visible children move up to its parent, or are deleted the same
  // way (deepest first) with `delete_children`; every record that named it names its parent
  // instead (0 when the parent is a fixed root). False when refused or absent.
  virtual bool DeleteCategory(uint64_t id, bool delete_children) = 0;
  // Adds a category named `name` under `parent`. 0 for an empty name or a read-only parent.
  virtual uint64_t CreateCategory(const std::wstring& name, uint64_t parent) = 0;
  // The ancestor of `id` (or `id` itself) that is a direct child of `stop`; with a fixed root
  // as `stop`, the top-level ancestor. 0 when `id` is `stop` or no category, or after a cycle.
  virtual uint64_t GetTopCategoryID(uint64_t id, uint64_t stop) = 0;
  // Whether `id` lies in the branch under `root` (categories under sub-roots 2 and 3 lie under
  // root 4). False after a cycle.
  virtual bool IsInBranch(uint64_t root, uint64_t id) = 0;
  // Whether any category, hidden ones included, has `id` as parent.
  virtual bool HasChildren(uint64_t id) = 0;
  // Every visible category below `id`, at any depth, in ascending ID order.
  virtual std::list<std::shared_ptr<TCategory>> GetDescendants(uint64_t id) = 0;
  // The visible categories under `root` as a tree; children in ascending ID order.
  virtual NodeList GetCategoriesTree(uint64_t root) = 0;
  virtual bool IsReadOnly(uint64_t id) = 0;
  virtual bool IsReadOnly(const TCategories& c) = 0;
  virtual bool IsReadOnly(const TCategory& c) = 0;
  virtual bool IsHidden(uint64_t id) = 0;
  virtual bool IsHidden(const TCategories& c) = 0;
  virtual bool IsHidden(const TCategory& c) = 0;
};

// Kind of a transaction: 0 expense (withdraw side only), 1 income (no withdraw account),
// 2 transfer (both accounts).
int32_t TransactionKind(const TTransaction& t);

// One known description, for autocompletion.
struct TDescription {
  int32_t Kind = 0;  // TransactionKind
  uint64_t TransactionID = 0;
  std::wstring Description;
  std::wstring CategoryName;
  int64_t Reserved1 = 0;    // always 0
  int64_t Reserved2 = 0;    // always 0
  uint64_t CategoryID = 0;  // the category the description was filed under
};

// Second-level grouping of GetTransactionsTree.
namespace GroupBy {
constexpr int None = 0;
constexpr int Split = 2;
constexpr int Category = 3;
constexpr int Family = 4;
constexpr int Payee = 5;
constexpr int Project = 6;
}  // namespace GroupBy

class ITransactions {
 public:
  virtual ~ITransactions() = default;
  // Stores a copy of `t` as a new transaction, or as a new scheduled transaction when
  // schedule.ScheduleType is not 0. Returns the new ID, 0 when `t` is read-only.
  virtual uint64_t AddTransaction(const TTransaction& t, const TSchedule& schedule) = 0;
  // Replaces the transaction (or scheduled transaction) with t's ID; a split it belongs to
  // takes its date and time. A scheduled transaction stays scheduled: with `schedule` of type
  // 0 it keeps its stored schedule. A plain transaction given a schedule becomes a scheduled
  // transaction with a new ID (the plain record is deleted). Returns the ID of the stored
  // record, 0 when refused.
  virtual uint64_t UpdateTransaction(const TTransaction& t, const TSchedule& schedule) = 0;
  // The transaction with its texts; a scheduled transaction with that ID as its occurrence
  // copy (ScheduleID names it, IsGhostSchedule is its Ghost); a default record when neither
  // exists.
  virtual TTransaction GetTransaction(uint64_t id) = 0;
  // Deletes the transaction, or the scheduled transaction with that ID. False when refused or
  // absent. Its split stays.
  virtual bool DeleteTransaction(uint64_t id) = 0;
  // The transactions of the database's Period in `currency`, for `accounts` (empty: all),
  // under headers by day (`by_days`) or by kind (income, expense, transfer), grouped below
  // them as `group_by` says (GroupBy). Transaction nodes hold copies with Amount and Balance.
  virtual NodeList GetTransactionsTree(bool by_days, int group_by, uint64_t currency,
                                       const std::set<uint64_t>& accounts) = 0;
  // The descriptions of the visible transactions: by category ID, kind and description, each
  // naming the latest transaction that used it.
  virtual std::list<TDescription> GetDescriptions() = 0;
  virtual bool IsReadOnly(uint64_t id) = 0;
  virtual bool IsReadOnly(const TTransaction& t) = 0;
  virtual bool IsHidden(uint64_t id) = 0;
  virtual bool IsHidden(const TTransaction& t) = 0;
  // The schedule stored under `id` (a scheduled transaction's ID, or the ScheduleID of its
  // occurrence copy); a schedule of type 0 when no scheduled transaction has that ID.
  virtual TSchedule GetSchedule(uint64_t id) = 0;
};

class ISplits {
 public:
  virtual ~ISplits() = default;
  // Stores a copy of `s` (the split record only) as a new record. Returns the new ID, 0 when
  // `s` is read-only.
  virtual uint64_t AddSplit(const TSplit& s) = 0;
  // Stores the split: with s.Transactions its parts are replaced by them (a part copied without
  // its texts and tags keeps those it has stored), without them only the split record changes;
  // then every part takes the split's date, time and cleared state (flag B). Returns the
  // split's ID, 0 when refused.
  virtual uint64_t UpdateSplit(const TSplit& s) = 0;
  // The split with its texts (Transactions empty); a default record when absent.
  virtual TSplit GetSplit(uint64_t id) = 0;
  // The part transactions of split `id`, without texts, in ID order.
  virtual std::list<TTransaction> GetSplitTransactions(uint64_t id) = 0;
  // Deletes every part, then the split record; the parts go also when the split record is
  // missing. Stops at the first refused part, keeping the split (false). False when there was
  // nothing to delete.
  virtual bool DeleteSplit(uint64_t id) = 0;
  virtual bool IsReadOnly(uint64_t id) = 0;
  virtual bool IsReadOnly(const TSplit& s) = 0;
  virtual bool IsHidden(uint64_t id) = 0;
  virtual bool IsHidden(const TSplit& s) = 0;
};

}  // namespace vemra
