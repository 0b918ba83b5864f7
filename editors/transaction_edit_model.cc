#include "editors/transaction_edit_model.h"

#include <charconv>
#include <cmath>

#include "collections/book.h"
#include "collections/category_path.h"
#include "collections/records.h"
#include "core/records/scheduled_transaction.h"
#include "editors/schedule_edit_model.h"

namespace vemra::editors {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// `v` rounded to `decimals` places, half away from zero; never -0.
double RoundTo(double v, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const double r = std::round(v * scale) / scale;
  return r == 0 ? 0 : r;
}

// The shortest text that reads back as `v`.
std::string PlainNumber(double v) {
  char buffer[64];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
  return ec == std::errc() ? std::string(buffer, end) : "0";
}

}  // namespace

TransactionEditModel::TransactionEditModel(Document& document, uint64_t transaction_id, bool copy,
                                           const Presets& presets)
    : document_(document) {
  Load(transaction_id, copy, presets);
}

void TransactionEditModel::Load(uint64_t transaction_id, bool copy, const Presets& presets) {
  transaction_id_ = transaction_id;
  transaction_ = TTransaction();
  schedule_ = TSchedule();
  scheduled_record_ = false;
  document_.Sync([&] {
    Book& book = document_.database();
    ITransactions& transactions = book.Transactions();
    if (transaction_id != 0) transaction_ = transactions.GetTransaction(transaction_id);
    if (transaction_.Header.ID == 0) {
      transaction_ = TTransaction();
      transaction_id_ = 0;
    }
    // A scheduled transaction (or its ghost) comes as an occurrence copy naming its schedule.
    if (transaction_.ScheduleID != 0) {
      scheduled_record_ = true;
      schedule_ = transactions.GetSchedule(transaction_.ScheduleID);
      if (schedule_.ScheduleType != 0) transaction_.Data.Date = schedule_.BeginDate;
    }
    TTransaction& t = transaction_;
    if (transaction_id_ == 0 || copy) {
      const Transactions& defaults = book.TransactionDefaults();
      t.Data.SplitID = presets.SplitID;
      t.Data.Cleared =
          static_cast<int8_t>(presets.status ? *presets.status : defaults.DefaultCleared);
      t.Data.Date = presets.date ? *presets.date : defaults.DefaultDate;
      t.Data.Time = NowTime();
      for (auto [preset, field] : {std::pair{presets.CategoryID, &t.Categories.CategoryID},
                                   std::pair{presets.FamilyID, &t.Categories.FamilyID},
                                   std::pair{presets.PayeeID, &t.Categories.PayeeID},
                                   std::pair{presets.ProjectID, &t.Categories.ProjectID},
                                   std::pair{presets.LoanID, &t.Data.LoanID}}) {
        if (preset != 0) *field = preset;
      }
      if (presets.accountID) {
        t.Data.WithdrawAccountID = *presets.accountID;
      } else if (!copy) {
        t.Data.WithdrawAccountID = book.Accounts().GetDefaultAccountID();
      }
      t.Header.ReadOnly = presets.readOnly ? 1 : 0;
      t.Header.Hidden = presets.hidden ? 1 : 0;
      t.Header.OwnerID = presets.owner ? *presets.owner : book.CurrentUserID();
    }
    if (copy) {
      // A new record with texts of its own and no schedule.
      t.Header.ID = 0;
      t.ScheduleID = 0;
      t.ClearStringIDs();
      transaction_id_ = 0;
      scheduled_record_ = false;
      schedule_ = TSchedule();
    }
  });
  withdraw_account_ = LoadAccount(transaction_.Data.WithdrawAccountID);
  target_account_ = LoadAccount(transaction_.Data.TargetAccountID);
  category_ = LoadChoice(transaction_.Categories.CategoryID);
  payee_ = LoadChoice(transaction_.Categories.PayeeID);
  // A new record without an account to take from still opens as an expense.
  type_ = transaction_.Data.WithdrawAccountID == 0 && transaction_.Data.TargetAccountID == 0
              ? kExpense
              : TransactionKind(transaction_);
  ShowRecord();
}

void TransactionEditModel::ShowRecord() {
  const TTransaction& t = transaction_;
  star_ = t.Data.CustomCheckBox != 0;
  cleared_ = t.Data.Cleared != 0;
  name_ = t.Name;
  comment_ = t.Comment;
  date_ = t.Data.Date;
  time_ = t.Data.Time;
  modified_ = false;
}

TAccount TransactionEditModel::LoadAccount(uint64_t id) {
  TAccount a;
  if (id != 0) document_.Sync([&] { a = document_.database().Accounts().GetAccount(id); });
  return a;
}

TransactionEditModel::Choice TransactionEditModel::LoadChoice(uint64_t id) {
  Choice c;
  if (id == 0) return c;
  document_.Sync([&] {
    const TCategory category = document_.database().Categories().GetCategory(id);
    c.ID = category.Header.ID;
    c.Name = category.Name;
    c.ImageIndex = category.Data.ImageIndex;
  });
  return c;
}

int TransactionEditModel::Decimals(uint64_t account_id) const {
  int decimals = 2;
  document_.Sync([&] {
    Book& book = document_.database();
    const auto* c = dynamic_cast<const TCurrency*>(
        book.FindEntry(book.Accounts().GetCurrencyID(account_id), 0));
    if (c != nullptr) decimals = std::min<int>(c->Data.Decimals, 9);
  });
  return decimals;
}

void TransactionEditModel::Changed() {
  if (onChange) onChange();
}

bool TransactionEditModel::CurrenciesDiffer() const {
  return withdraw_account_.Data.CurrencyID != target_account_.Data.CurrencyID;
}

// ---- actions ----

void TransactionEditModel::setTransactionType(int type) {
  if (type < kExpense || type > kTransfer) return;
  type_ = type;
  modified_ = true;
  Changed();
}

void TransactionEditModel::showAmountDetails(bool on) {
  details_ = on;
  Changed();
}

std::vector<TAccount> TransactionEditModel::accounts() {
  std::vector<TAccount> out;
  document_.Sync([&] {
    Book& book = document_.database();
    for (const auto& [id, e] : book.GetTable(0)) {
      if (e->Header.Type != etAccount || book.Accounts().IsHidden(id)) continue;
      if (static_cast<const TAccount&>(*e).Data.Visible == 0) continue;
      out.push_back(book.Accounts().GetAccount(id));
    }
  });
  return out;
}

bool TransactionEditModel::selectWithdrawAccount(uint64_t account_id) {
  return SelectAccount(withdraw_account_, account_id);
}

bool TransactionEditModel::selectTargetAccount(uint64_t account_id) {
  return SelectAccount(target_account_, account_id);
}

bool TransactionEditModel::SelectAccount(TAccount& slot, uint64_t account_id) {
  TAccount a = LoadAccount(account_id);
  if (a.Header.ID == 0) return false;
  slot = a;
  modified_ = true;
  if (type_ == kTransfer) {
    double rate = 1.0;
    document_.Sync([&] {
      rate = document_.database().Accounts().GetExchangeRate(withdraw_account_.Header.ID,
                                                             target_account_.Header.ID);
    });
    transaction_.SetExRate(rate);
  }
  Changed();
  return true;
}

void TransactionEditModel::swapAccounts() {
  modified_ = true;
  std::swap(withdraw_account_, target_account_);
  std::swap(transaction_.Data.WithdrawAmount, transaction_.Data.TargetAmount);
  Changed();
}

double TransactionEditModel::DoubleFromString(const std::string& text,
                                              const std::string& decimal_separator) {
  auto kept_at_ends = [](char c) { return c == '-' || IsDigit(c); };
  size_t begin = 0, end = text.size();
  while (begin < end && !kept_at_ends(text[begin])) ++begin;
  while (end > begin && !kept_at_ends(text[end - 1])) --end;
  std::string number;
  for (size_t i = begin; i < end;) {
    if (!decimal_separator.empty() &&
        text.compare(i, decimal_separator.size(), decimal_separator) == 0) {
      number += '.';
      i += decimal_separator.size();
    } else {
      if (kept_at_ends(text[i])) number += text[i];
      ++i;
    }
  }
  // A decimal number: an optional minus, digits, at most one separator with digits after it.
  size_t i = !number.empty() && number[0] == '-' ? 1 : 0;
  size_t digits = 0, points = 0;
  for (size_t k = i; k < number.size(); ++k) {
    if (IsDigit(number[k])) {
      ++digits;
    } else if (number[k] == '.' && points == 0) {
      ++points;
    } else {
      return 0;
    }
  }
  if (digits == 0) return 0;
  double v = 0;
  auto [ptr, ec] = std::from_chars(number.data(), number.data() + number.size(), v);
  if (ec != std::errc() || ptr != number.data() + number.size() || !std::isfinite(v)) return 0;
  return v;
}

bool TransactionEditModel::withdrawAmountTyped(const std::string& text, const std::string& sep) {
  return AmountTyped(Field::Withdraw, text, sep);
}

bool TransactionEditModel::targetAmountTyped(const std::string& text, const std::string& sep) {
  return AmountTyped(Field::Target, text, sep);
}

bool TransactionEditModel::quantityTyped(const std::string& text, const std::string& sep) {
  return AmountTyped(Field::Quantity, text, sep);
}

bool TransactionEditModel::priceTyped(const std::string& text, const std::string& sep) {
  return AmountTyped(Field::Price, text, sep);
}

bool TransactionEditModel::exRateTyped(const std::string& text, const std::string& sep) {
  return AmountTyped(Field::Rate, text, sep);
}

bool TransactionEditModel::AmountTyped(Field field, const std::string& text,
                                       const std::string& decimal_separator) {
  const double v = DoubleFromString(text, decimal_separator);
  TTransaction& t = transaction_;
  const double current = field == Field::Withdraw ? t.Data.WithdrawAmount
                         : field == Field::Target ? t.Data.TargetAmount
                         : field == Field::Rate   ? t.GetRate()
                         : field == Field::Price  ? t.GetPrice()
                                                  : t.Data.Quantity;
  if (v == current) return false;
  modified_ = true;
  switch (field) {
    case Field::Withdraw:
      TransferWithRate() ? t.SetWithdrawAmount(v) : t.SetAmount(v);
      break;
    case Field::Target:
      TransferWithRate() ? t.SetTargetAmount(v) : t.SetAmount(v);
      break;
    case Field::Rate:
      t.SetExRate(v);
      break;
    case Field::Quantity:
      t.SetQuantity(v);
      break;
    case Field::Price:
      t.SetPrice(v);
      break;
  }
  Changed();
  return true;
}

void TransactionEditModel::setDate(ADate date) {
  date_ = date;
  if (schedule_.ScheduleType != 0) schedule_.BeginDate = date;
}

void TransactionEditModel::selectCategory(uint64_t id) {
  category_ = LoadChoice(id);
  modified_ = true;
  Changed();
}

void TransactionEditModel::selectPayee(uint64_t id) {
  payee_ = LoadChoice(id);
  modified_ = true;
  Changed();
}

void TransactionEditModel::setCategoryText(const std::wstring& text) {
  category_ = Choice{0, text, 0};
  modified_ = true;
  Changed();
}

void TransactionEditModel::setPayeeText(const std::wstring& text) {
  payee_ = Choice{0, text, 0};
  modified_ = true;
  Changed();
}

void TransactionEditModel::descriptionSuggested(const std::wstring& name, uint64_t category_id) {
  name_ = name;
  category_ = LoadChoice(category_id);
  modified_ = true;
  Changed();
}

bool TransactionEditModel::setScheduleItem(int item) {
  if (!isScheduleMenuEnabled() || item < 0 || item > 3) return false;
  modified_ = true;
  TSchedule& s = schedule_;
  static constexpr uint8_t kTypes[] = {0, 2, 3, 4};
  s.ScheduleType = kTypes[item];
  // The schedule starts on the transaction's date, and the two move together from now on.
  if (s.ScheduleType != 0) s.BeginDate = date_;
  if (isNew()) {
    if (item == 1) s.Day = 1;
    if (item == 2) {
      s.WeekDays.fill(0);
      s.WeekDays[WeekdayOf(date_)] = 1;
    }
    if (item == 3) {
      s.Day = static_cast<uint16_t>(DayOf(date_));
      s.Months.fill(1);
    }
  }
  Changed();
  return true;
}

void TransactionEditModel::scheduleUpdated(const TSchedule& schedule) {
  schedule_ = schedule;
  date_ = schedule.BeginDate;
  modified_ = true;
  Changed();
}

// ---- state ----

int TransactionEditModel::scheduleItem() const {
  switch (schedule_.ScheduleType) {
    case 2:
      return 1;
    case 3:
      return 2;
    case 4:
      return 3;
    default:
      return 0;
  }
}

bool TransactionEditModel::isShown(const std::string& view) const {
  if (view == "withdrawAccount" || view == "withdrawAmount") return type_ != kIncome;
  if (view == "targetAccount") return type_ != kExpense;
  if (view == "targetAmount") return type_ == kIncome || TransferWithRate();
  if (view == "exRate") return TransferWithRate();
  if (view == "quantity" || view == "price") return type_ != kTransfer && details_;
  if (view == "details") return type_ != kTransfer;
  if (view == "schedule") return schedule_.ScheduleType != 0;
  return true;
}

std::string TransactionEditModel::withdrawAmountText() const {
  return document_.formatForAccount(transaction_.Data.WithdrawAmount, withdraw_account_.Header.ID,
                                    false);
}

std::string TransactionEditModel::targetAmountText() const {
  return document_.formatForAccount(transaction_.Data.TargetAmount, target_account_.Header.ID,
                                    false);
}

std::string TransactionEditModel::quantityText() const {
  return PlainNumber(std::fabs(transaction_.Data.Quantity));
}

std::string TransactionEditModel::priceText() const {
  const TAccount& counted = type_ == kExpense ? withdraw_account_ : target_account_;
  return document_.formatForAccount(transaction_.GetPrice(), counted.Header.ID, false);
}

std::string TransactionEditModel::exRateText() const {
  return PlainNumber(RoundTo(transaction_.GetRate(), 6));
}

// ---- change, validation, saving ----

bool TransactionEditModel::hasChanges() const {
  const TTransaction& t = transaction_;
  return modified_ || star_ != (t.Data.CustomCheckBox != 0) || name_ != std::wstring(t.Name) ||
         comment_ != std::wstring(t.Comment) || date_ != t.Data.Date || time_ != t.Data.Time ||
         cleared_ != (t.Data.Cleared != 0);
}

TTransaction TransactionEditModel::Assemble() const {
  TTransaction t = transaction_;
  t.Data.TargetAccountID = target_account_.Header.ID;
  t.Data.WithdrawAccountID = withdraw_account_.Header.ID;
  t.Categories.CategoryID = category_.ID;
  t.Categories.PayeeID = payee_.ID;
  t.Name = name_;
  t.Comment = comment_;
  t.Data.Date = date_;
  t.Data.Time = time_;
  // A stored cleared value other than 0 and 1 stays while the toggle agrees with it.
  if ((t.Data.Cleared != 0) != cleared_) t.Data.Cleared = cleared_ ? 1 : 0;
  if ((t.Data.CustomCheckBox != 0) != star_) t.Data.CustomCheckBox = star_ ? 1 : 0;
  if (type_ == kIncome) {
    t.Data.WithdrawAccountID = 0;
    t.Data.WithdrawAmount = 0;
  } else if (type_ == kExpense) {
    t.Data.TargetAccountID = 0;
    t.Data.TargetAmount = 0;
  }
  // Money is kept in the currency's minor unit: what is stored is what is shown.
  if (t.Data.WithdrawAccountID != 0) {
    t.Data.WithdrawAmount = RoundTo(t.Data.WithdrawAmount, Decimals(t.Data.WithdrawAccountID));
  }
  if (t.Data.TargetAccountID != 0) {
    t.Data.TargetAmount = RoundTo(t.Data.TargetAmount, Decimals(t.Data.TargetAccountID));
  }
  return t;
}

std::vector<std::string> TransactionEditModel::validate() const {
  std::vector<std::string> problems;
  const TTransaction t = Assemble();
  bool withdraw_exists = false, target_exists = false;
  document_.Sync([&] {
    Book& book = document_.database();
    auto exists = [&](uint64_t id) {
      const TBaseEntry* e = id == 0 ? nullptr : book.FindEntry(id, 0);
      return e != nullptr && e->Header.Type == etAccount;
    };
    withdraw_exists = exists(t.Data.WithdrawAccountID);
    target_exists = exists(t.Data.TargetAccountID);
    // A typed category or payee must make a valid path.
    for (const auto& [choice, root] :
         {std::pair{&category_, kCategoryRoot}, std::pair{&payee_, kPayeeRoot}}) {
      uint64_t id = 0;
      std::string problem;
      if (choice->ID == 0 && !ResolveCategoryPath(book, root, choice->Name, false, id, problem)) {
        problems.push_back(problem);
      }
    }
  });
  if (type_ == kExpense && !withdraw_exists) {
    problems.push_back("an expense needs an account to take the money from");
  }
  if (type_ == kIncome && !target_exists) {
    problems.push_back("an income needs an account to put the money into");
  }
  if (type_ == kTransfer) {
    if (!withdraw_exists || !target_exists || t.Data.WithdrawAccountID == t.Data.TargetAccountID) {
      problems.push_back("a transfer needs two different accounts");
    } else if (t.Data.WithdrawAmount == 0 || t.Data.TargetAmount == 0) {
      problems.push_back(
          "a transfer needs both amounts: the amount taken and the amount received (between "
          "currencies, type the second amount or a new rate)");
    }
  }
  for (auto [value, what] : {std::pair{t.Data.WithdrawAmount, "the amount"},
                             std::pair{t.Data.TargetAmount, "the received amount"},
                             std::pair{t.Data.Quantity, "the quantity"}}) {
    if (!std::isfinite(value) || std::fabs(value) >= kAmountLimit) {
      problems.push_back(std::string(what) + " must be a number below 10^13 in size");
    }
  }
  if (schedule_.ScheduleType != 0) {
    TSchedule s = schedule_;
    if (s.Day == 0) s.Day = 1;
    for (std::string& p : ScheduleEditModel::Problems(s)) problems.push_back(std::move(p));
  }
  return problems;
}

uint64_t TransactionEditModel::save(std::vector<std::string>* problems) {
  std::vector<std::string> refused = validate();
  if (!refused.empty()) {
    if (problems != nullptr) *problems = refused;
    return 0;
  }
  TTransaction t = Assemble();
  TSchedule s = schedule_;
  if (s.Day == 0) s.Day = 1;
  document_.initUndo(isNew() ? 2 : 3);
  uint64_t id = 0;
  document_.Sync([&] {
    Book& book = document_.database();
    // The remembered date of the next new transaction.
    book.TransactionDefaults().DefaultDate = date_;
    std::string ignored;
    if (category_.ID == 0) {
      ResolveCategoryPath(book, kCategoryRoot, category_.Name, true, t.Categories.CategoryID,
                          ignored);
    }
    if (payee_.ID == 0) {
      ResolveCategoryPath(book, kPayeeRoot, payee_.Name, true, t.Categories.PayeeID, ignored);
    }
    ITransactions& transactions = book.Transactions();
    if (isNew()) {
      id = transactions.AddTransaction(t, s);
      return;
    }
    id = transactions.UpdateTransaction(t, s);
    if (id != 0 && scheduled_record_ && s.ScheduleType == 0) {
      // "Not set" on a scheduled transaction keeps it as a stopped schedule: the collection
      // keeps the stored schedule for type 0, so the stop is stored over it.
      auto stopped = std::make_unique<TScheduledTransaction>(
          LoadRecord<TScheduledTransaction>(book, id, etScheduledTransaction));
      stopped->Schedule.ScheduleType = 0;
      id = book.StoreEntry(std::move(stopped));
    }
  });
  if (id == 0) {
    if (problems != nullptr) *problems = {"the transaction is read-only"};
    return 0;
  }
  // Show what was stored, as when the editor opens it again.
  Load(id, false, Presets());
  document_.post(kUpdateDataNotification);
  document_.writeAutosyncData();
  Changed();
  return id;
}

bool TransactionEditModel::popoverShouldClose() const {
  return !isNew() || !hasChanges();
}

bool TransactionEditModel::popoverWillClose() {
  if (detached_ || isNew() || !hasChanges()) return true;
  return save() != 0;
}

}  // namespace vemra::editors
