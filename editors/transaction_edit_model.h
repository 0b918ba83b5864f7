// The transaction editor's logic: one expense, income or transfer (perhaps scheduled) as a
// working copy with the state of its controls, the coupling of its amount fields through
// quantity, price and exchange rate, change detection, validation, the popover's closing rules
// and saving. No drawing; the Qt dialog and kestrum-cli both drive it.
//
// Threads: call it from one thread; it reads and writes the book on the document's queue and
// waits for it, so it must not be used on the queue itself. The amount coupling shares one
// process-wide edit-order list (see TTransaction).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/records/account.h"
#include "core/records/schedule.h"
#include "core/records/transaction.h"
#include "document/document.h"

namespace vemra::editors {

// Values the caller sets for a new transaction (or a copy) before it opens.
struct TransactionPresets {
  std::optional<uint64_t> accountID;  // the withdraw account
  uint64_t CategoryID = 0, FamilyID = 0, PayeeID = 0, ProjectID = 0, LoanID = 0, SplitID = 0;
  std::optional<ADate> date;
  std::optional<int> status;  // the cleared state
  bool readOnly = false, hidden = false;
  std::optional<uint64_t> owner;  // the database's current user when not given
};

class TransactionEditModel {
 public:
  // The segments of the type control.
  enum Type { kExpense = 0, kIncome = 1, kTransfer = 2 };
  // Amounts, quantities and balances must stay below this in size to be saved: every stored
  // amount is then exact to the cent.
  static constexpr double kAmountLimit = 1e13;

  using Presets = TransactionPresets;

  // A category or payee choice: an existing entry (ID not 0), or text typed that names none
  // (ID 0), made at save as a path of names under the tree's root ("Food/Groceries").
  struct Choice {
    uint64_t ID = 0;
    std::wstring Name;
    uint32_t ImageIndex = 0;
  };

  // Opens transaction `transaction_id` of `document` (a scheduled transaction, or the ID of
  // one of its occurrences shown as ghosts, opens the scheduled transaction and its schedule);
  // 0, or an ID that names nothing, opens a new one. With `copy` the transaction is the
  // template of a new one: ID 0, no schedule, dated and cleared as a new one. `document` must
  // outlive the model.
  TransactionEditModel(Document& document, uint64_t transaction_id, bool copy = false,
                       const Presets& presets = {});

  // Called after every action that changes what the controls show.
  std::function<void()> onChange;

  // ---- actions ----
  // The type segment (kExpense, kIncome, kTransfer).
  void setTransactionType(int type);
  // The quantity-and-price toggle.
  void showAmountDetails(bool on);
  // The account menus: the visible accounts, fetched on the document's queue.
  std::vector<TAccount> accounts();
  // Choosing an account from a menu; false when `account_id` names no account. For a transfer
  // the exchange rate becomes the accounts' current rate, as if typed.
  bool selectWithdrawAccount(uint64_t account_id);
  bool selectTargetAccount(uint64_t account_id);
  void swapAccounts();
  // Text typed into an amount field, parsed with `decimal_separator` (see DoubleFromString).
  // Typing the value the field holds changes nothing; returns whether something changed.
  bool withdrawAmountTyped(const std::string& text, const std::string& decimal_separator);
  bool targetAmountTyped(const std::string& text, const std::string& decimal_separator);
  bool quantityTyped(const std::string& text, const std::string& decimal_separator);
  bool priceTyped(const std::string& text, const std::string& decimal_separator);
  bool exRateTyped(const std::string& text, const std::string& decimal_separator);
  void setStar(bool on) { star_ = on; }
  void setCleared(bool on) { cleared_ = on; }
  void setName(const std::wstring& name) { name_ = name; }
  void setComment(const std::wstring& comment) { comment_ = comment; }
  // The date control's date; while scheduled, the schedule's start follows it.
  void setDate(ADate date);
  // The date control's time of day in milliseconds.
  void setTime(uint32_t ms) { time_ = ms; }
  // An existing category or payee chosen (0 clears the choice).
  void selectCategory(uint64_t id);
  void selectPayee(uint64_t id);
  // Text typed into the category or payee field that matches no entry; created at save.
  void setCategoryText(const std::wstring& text);
  void setPayeeText(const std::wstring& text);
  // A description suggestion chosen: its text and its category.
  void descriptionSuggested(const std::wstring& name, uint64_t category_id);
  // The schedule menu: 0 "Not set", 1 "Daily", 2 "Weekly", 3 "Monthly". A new transaction's
  // schedule starts on the date control's date and is pre-filled from it. False, changing
  // nothing, when the menu is disabled (an existing transaction that is not scheduled).
  bool setScheduleItem(int item);
  // The schedule editor's complete value; the date control moves to its start.
  void scheduleUpdated(const TSchedule& schedule);

  // ---- state ----
  int transactionType() const { return type_; }
  bool isNew() const { return transaction_id_ == 0; }
  // The edited entry is a scheduled transaction (its date is the schedule's start).
  bool isTemplate() const { return schedule_.ScheduleType != 0; }
  // The schedule menu item the schedule shows (2, 3, 4 -> 1, 2, 3; anything else 0).
  int scheduleItem() const;
  bool isScheduleMenuEnabled() const { return isNew() || scheduled_record_; }
  // Whether a view is shown: "withdrawAccount", "withdrawAmount", "targetAccount",
  // "targetAmount", "exRate", "quantity", "price", "details", "schedule".
  bool isShown(const std::string& view) const;
  // "Template" or "Transaction".
  std::string title() const { return isTemplate() ? "Template" : "Transaction"; }
  const TTransaction& transaction() const { return transaction_; }
  const TSchedule& schedule() const { return schedule_; }
  const TAccount& withdrawAccount() const { return withdraw_account_; }
  const TAccount& targetAccount() const { return target_account_; }
  const Choice& category() const { return category_; }
  const Choice& payee() const { return payee_; }
  ADate date() const { return date_; }
  uint32_t time() const { return time_; }
  bool star() const { return star_; }
  bool cleared() const { return cleared_; }
  const std::wstring& name() const { return name_; }
  const std::wstring& comment() const { return comment_; }
  // The texts of the amount fields: the amounts in their account's currency without symbol,
  // the quantity as a plain decimal of its absolute value, the price in the currency of the
  // account the money is counted in, the rate with up to 6 decimals.
  std::string withdrawAmountText() const;
  std::string targetAmountText() const;
  std::string quantityText() const;
  std::string priceText() const;
  std::string exRateText() const;

  // The number in typed text: characters other than "-" and digits trimmed from both ends,
  // then everything but "-", digits and `decimal_separator` dropped; 0 when the rest is no
  // number. "1 234,50 €" with "," gives 1234.5.
  static double DoubleFromString(const std::string& text, const std::string& decimal_separator);

  // ---- change, validation, saving ----
  // An action marked the editor modified, or a control differs from the working record (star,
  // name, comment, date, time, cleared).
  bool hasChanges() const;
  // Why the controls cannot be saved; empty when they can: an expense without an existing
  // account to take from, an income without one to pay into, a transfer without two different
  // existing accounts or with either amount 0, an amount or quantity not finite or not below
  // kAmountLimit in size, a typed category or payee that makes no path, and the schedule's own
  // rules (ScheduleEditModel::Problems).
  std::vector<std::string> validate() const;
  // Saves in one undo step ("add" or "edit"), the amounts rounded to their currency's decimal
  // places, a typed category or payee created first; then the update notification and the
  // journal. Returns the stored ID; 0 with the reasons in `problems` when refused (nothing
  // written).
  uint64_t save(std::vector<std::string>* problems = nullptr);

  // ---- the popover ----
  // Closing is allowed for an existing transaction, and for a new one without changes.
  bool popoverShouldClose() const;
  // On closing: saves an existing transaction that has changes unless the popover was
  // detached or cancelled; a save that is refused keeps it open (false).
  bool popoverWillClose();
  void popoverDidDetach() { detached_ = true; }
  // Escape: closing then does not save.
  void cancelOperation() { detached_ = true; }

 private:
  enum class Field { Withdraw, Target, Rate, Quantity, Price };
  // Opens the record and fills the controls (see the constructor).
  void Load(uint64_t transaction_id, bool copy, const Presets& presets);
  // Types `text` into amount field `field`: a changed value runs the field's coupling.
  bool AmountTyped(Field field, const std::string& text, const std::string& decimal_separator);
  // Puts account `account_id` into `slot`; for a transfer the rate becomes the accounts'
  // current rate, as if typed. False when there is no such account.
  bool SelectAccount(TAccount& slot, uint64_t account_id);
  // Fills the controls from the working record.
  void ShowRecord();
  // Whether the two chosen accounts have different currencies (a transfer then has a rate).
  bool CurrenciesDiffer() const;
  bool TransferWithRate() const { return type_ == kTransfer && CurrenciesDiffer(); }
  void Changed();
  int Decimals(uint64_t account_id) const;
  TAccount LoadAccount(uint64_t id);
  Choice LoadChoice(uint64_t id);
  // Applies the controls to a copy of the working record, as saving stores it.
  TTransaction Assemble() const;

  Document& document_;
  uint64_t transaction_id_ = 0;
  bool scheduled_record_ = false;  // the entry is stored as a scheduled transaction
  TTransaction transaction_;
  TSchedule schedule_;
  TAccount withdraw_account_, target_account_;
  Choice category_, payee_;
  int type_ = kExpense;
  bool details_ = false;
  bool star_ = false, cleared_ = true;
  std::wstring name_, comment_;
  ADate date_;
  uint32_t time_ = 0;
  bool modified_ = false;
  bool detached_ = false;
};

}  // namespace vemra::editors
