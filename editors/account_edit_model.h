// The account editor's logic: one account or account group as a working copy with the state of
// its controls (kind, name, comment, hidden box, currency, icon, group, opening balance),
// change detection, validation and saving. No drawing; the Qt dialog and kestrum-cli both
// drive it.
//
// Threads: call it from one thread; it reads and writes the book on the document's queue and
// waits for it. Not for use on the queue itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "document/document.h"

namespace vemra::editors {

class AccountEditModel {
 public:
  // Opens account `id` (or, with `is_group`, group `id`) of `document`; 0 makes a new one in
  // the default currency, visible and without a group. `document` must outlive the model.
  AccountEditModel(Document& document, uint64_t id, bool is_group);

  // The kind, changeable for a new entry only; false when refused.
  bool setGroup(bool is_group);
  void setName(const std::wstring& name) { name_ = name; }
  void setComment(const std::wstring& comment) { comment_ = comment; }
  // The hidden box (accounts only): ticked means the account is closed (Visible 0).
  void setHidden(bool hidden) { hidden_ = hidden; }
  // Choosing a currency marks the editor changed, even when it is the same one.
  void setCurrency(uint64_t currency_id);
  void setIcon(uint32_t image_index);
  // The group an account belongs to (0: none); marks the editor changed.
  void setAccountGroup(uint64_t group_id);
  // The opening-balance text as typed ("1234.5", "-0,75"); accounts only.
  void setOpeningBalance(const std::string& text) { opening_ = text; }

  bool isGroup() const { return is_group_; }
  bool isNew() const { return id_ == 0; }
  // Whether a control is shown: "hidden" and "opening" only for accounts, "kind" only for a
  // new entry; everything else always.
  bool isShown(const std::string& control) const;
  const std::string& openingBalance() const { return opening_; }
  uint64_t currencyID() const { return currency_id_; }
  uint64_t accountGroup() const { return group_id_; }
  uint32_t icon() const { return image_index_; }

  // A control changed since opening: the currency, icon or group chosen, the hidden box, the
  // name, the comment, or the opening-balance text.
  bool hasChanges() const;
  // Why the controls cannot be saved; empty when they can: a name unique among the accounts
  // (or groups) whatever its letter case, an existing currency, an opening balance that is a
  // number below 10^13 in size.
  std::vector<std::string> validate() const;
  // Saves in one undo step ("add" or "edit"), the opening balance rounded to the currency's
  // decimal places; then the update notification and the journal. Returns the ID, 0 with the
  // messages in `problems` when refused (nothing written).
  uint64_t save(std::vector<std::string>* problems = nullptr);

  // The entry as it stands after the last open or save.
  const TAccount& account() const { return account_; }
  const TAccGroup& group() const { return group_; }

 private:
  bool ParseOpening(double& value) const;
  int Decimals(uint64_t currency_id) const;

  Document& document_;
  uint64_t id_;
  bool is_group_;
  TAccount account_;
  TAccGroup group_;
  std::wstring name_, comment_;
  bool hidden_ = false;
  uint64_t currency_id_ = 0;
  uint32_t image_index_ = 0;
  uint64_t group_id_ = 0;
  std::string opening_, opening_shown_;
  bool modified_ = false;
};

}  // namespace vemra::editors
