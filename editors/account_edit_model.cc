#include "editors/account_edit_model.h"

#include <cmath>

#include "platform/unicode.h"

namespace vemra::editors {

AccountEditModel::AccountEditModel(Document& document, uint64_t id, bool is_group)
    : document_(document), id_(id), is_group_(is_group) {
  document_.Sync([&] {
    Book& book = document_.database();
    currency_id_ = book.Currencies().GetDefaultCurrencyID();
    if (id == 0) return;
    if (is_group) {
      if (const auto* g = dynamic_cast<const TAccGroup*>(book.FindEntry(id, 0))) {
        group_ = *g;
        book.GetString(g->Data.NameID, group_.Name);
        book.GetString(g->Data.CommentID, group_.Comment);
      }
    } else {
      account_ = book.Accounts().GetAccount(id);
    }
  });
  if (is_group && group_.Header.ID == 0) id_ = 0;
  if (!is_group && account_.Header.ID == 0) id_ = 0;
  if (id_ == 0) {
    account_.Data.CurrencyID = group_.Data.CurrencyID = currency_id_;
    opening_ = opening_shown_ = FormatNumber(0, Decimals(currency_id_), "", ".");
    return;
  }
  name_ = is_group ? group_.Name : account_.Name;
  comment_ = is_group ? group_.Comment : account_.Comment;
  currency_id_ = is_group ? group_.Data.CurrencyID : account_.Data.CurrencyID;
  image_index_ = is_group ? group_.Data.ImageIndex : account_.Data.ImageIndex;
  hidden_ = !is_group && account_.Data.Visible == 0;
  group_id_ = is_group ? 0 : account_.Data.GroupID;
  opening_ = opening_shown_ =
      FormatNumber(is_group ? 0 : account_.Data.InitialBalance, Decimals(currency_id_), "", ".");
}

int AccountEditModel::Decimals(uint64_t currency_id) const {
  int decimals = 2;
  document_.Sync([&] {
    if (const auto* c =
            dynamic_cast<const TCurrency*>(document_.database().FindEntry(currency_id, 0))) {
      decimals = std::min<int>(c->Data.Decimals, 9);
    }
  });
  return decimals;
}

bool AccountEditModel::setGroup(bool is_group) {
  if (!isNew()) return false;
  is_group_ = is_group;
  return true;
}

void AccountEditModel::setCurrency(uint64_t currency_id) {
  currency_id_ = currency_id;
  modified_ = true;
}

void AccountEditModel::setIcon(uint32_t image_index) {
  image_index_ = image_index;
  modified_ = true;
}

void AccountEditModel::setAccountGroup(uint64_t group_id) {
  group_id_ = group_id;
  modified_ = true;
}

bool AccountEditModel::isShown(const std::string& control) const {
  if (control == "hidden" || control == "opening") return !is_group_;
  if (control == "kind") return isNew();
  return true;
}

bool AccountEditModel::hasChanges() const {
  const std::wstring& name = is_group_ ? group_.Name : account_.Name;
  const std::wstring& comment = is_group_ ? group_.Comment : account_.Comment;
  const bool visible = is_group_ || account_.Data.Visible != 0;
  return modified_ || (!is_group_ && hidden_ == visible) || name_ != name || comment_ != comment ||
         (!is_group_ && opening_ != opening_shown_);
}

bool AccountEditModel::ParseOpening(double& value) const {
  std::string text = opening_;
  for (char& c : text) {
    if (c == ',') c = '.';
  }
  size_t i = text.size() > 0 && text[0] == '-' ? 1 : 0;
  bool digits = false, point = false;
  for (size_t k = i; k < text.size(); ++k) {
    if (text[k] >= '0' && text[k] <= '9') {
      digits = true;
    } else if (text[k] == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  if (!digits) return false;
  value = std::strtod(text.c_str(), nullptr);
  return std::isfinite(value) && std::fabs(value) < 1e13;
}

std::vector<std::string> AccountEditModel::validate() const {
  std::vector<std::string> problems;
  const char* kind = is_group_ ? "group" : "account";
  if (name_.empty()) problems.push_back(std::string("an ") + kind + " needs a name");
  double opening = 0;
  if (!is_group_ && !ParseOpening(opening)) {
    problems.push_back("the opening balance '" + opening_ +
                       "' is not a number below 10^13 (digits, one point or comma)");
  }
  document_.Sync([&] {
    Book& book = document_.database();
    if (dynamic_cast<const TCurrency*>(book.FindEntry(currency_id_, 0)) == nullptr) {
      problems.push_back("there is no currency " + std::to_string(currency_id_));
    }
    if (!is_group_ && group_id_ != 0 &&
        dynamic_cast<const TAccGroup*>(book.FindEntry(group_id_, 0)) == nullptr) {
      problems.push_back("there is no account group " + std::to_string(group_id_));
    }
    const uint32_t type = is_group_ ? etAccGroup : etAccount;
    for (const auto& [id, e] : book.GetTable(0)) {
      if (e->Header.Type != type || id == id_) continue;
      std::wstring other;
      const uint64_t name_id = is_group_ ? static_cast<const TAccGroup&>(*e).Data.NameID
                                         : static_cast<const TAccount&>(*e).Data.NameID;
      book.GetString(name_id, other);
      if (!name_.empty() && FoldCase(other) == FoldCase(name_)) {
        problems.push_back(std::string("there is an ") + kind + " named \"" +
                           WideToUtf8Lossy(other) + "\" already");
      }
    }
  });
  return problems;
}

uint64_t AccountEditModel::save(std::vector<std::string>* problems) {
  std::vector<std::string> refused = validate();
  if (!refused.empty()) {
    if (problems != nullptr) *problems = refused;
    return 0;
  }
  double opening = 0;
  if (!is_group_) ParseOpening(opening);
  // Money is kept in the currency's minor unit: what is stored is what is shown.
  const double scale = std::pow(10.0, Decimals(currency_id_));
  opening = std::round(opening * scale) / scale;
  if (opening == 0) opening = 0;  // no -0
  document_.initUndo(isNew() ? 2 : 3);
  uint64_t id = 0;
  document_.Sync([&] {
    Book& book = document_.database();
    if (is_group_) {
      // The stored group keeps what only it carries (its first word, Reserved1).
      auto g = std::make_unique<TAccGroup>(group_);
      g->Name = name_;
      g->Comment = comment_;
      g->Data.CurrencyID = currency_id_;
      g->Data.ImageIndex = image_index_;
      id = book.StoreEntry(std::move(g));
      if (id != 0) {
        const auto* stored = static_cast<const TAccGroup*>(book.FindEntry(id, 0));
        group_ = *stored;
        group_.Name = name_;
        group_.Comment = comment_;
      }
    } else {
      TAccount a = account_;
      a.Name = name_;
      a.Comment = comment_;
      a.Data.CurrencyID = currency_id_;
      a.Data.ImageIndex = image_index_;
      a.Data.GroupID = group_id_;
      a.Data.Visible = hidden_ ? 0 : 1;
      a.Data.InitialBalance = opening;
      id = isNew() ? book.Accounts().AddAccount(a) : book.Accounts().UpdateAccount(a);
      if (id != 0) account_ = book.Accounts().GetAccount(id);
    }
  });
  if (id == 0) {
    if (problems != nullptr) *problems = {"the entry is read-only"};
    return 0;
  }
  id_ = id;
  modified_ = false;
  opening_ = opening_shown_ = FormatNumber(opening, Decimals(currency_id_), "", ".");
  document_.post(kUpdateDataNotification);
  document_.writeAutosyncData();
  return id;
}

}  // namespace vemra::editors
