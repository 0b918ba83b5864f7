#include "cli/record_json.h"

#include <cmath>

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/budget.h"
#include "core/records/budget_filter.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/entry_factory.h"
#include "core/records/event.h"
#include "core/records/ex_rate.h"
#include "core/records/loan.h"
#include "core/records/schedule.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/sort_order.h"
#include "core/records/split.h"
#include "core/records/tagged_entry.h"
#include "core/records/transaction.h"
#include "core/records/user.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

// Swallows what a string record's SaveHeader writes; only the header it fixes up is wanted.
class NullOutputStream : public IOutputStream {
 public:
  size_t Write(const void*, size_t n) override {
    pos_ += static_cast<int64_t>(n);
    return n;
  }
  int64_t Tell() override { return pos_; }
  bool Seek(int64_t offset) override {
    pos_ = offset;
    return true;
  }

 private:
  int64_t pos_ = 0;
};

template <size_t N>
Json Bytes(const std::array<uint8_t, N>& bytes) {
  Json a = Json::array();
  for (uint8_t b : bytes) a.push_back(b);
  return a;
}

std::string CodeText(const std::array<uint8_t, 3>& code) {
  size_t n = code.size();
  while (n > 0 && code[n - 1] == 0) --n;
  std::wstring wide;
  for (size_t i = 0; i < n; ++i) wide.push_back(static_cast<wchar_t>(code[i]));
  return TextToUtf8(wide);
}

Json ScheduleToJson(const TSchedule& s) {
  Json j;
  j["ScheduleType"] = s.ScheduleType;
  j["BeginDate"] = s.BeginDate.Val;
  j["EndDate"] = s.EndDate.Val;
  j["End"] = s.End;
  j["Day"] = s.Day;
  j["WeekDays"] = Bytes(s.WeekDays);
  j["WeekType"] = s.WeekType;
  j["Months"] = Bytes(s.Months);
  j["Ghost"] = s.Ghost;
  return j;
}

void AddCategories(Json& j, const TCategories& c) {
  j["CategoryID"] = c.CategoryID;
  j["FamilyID"] = c.FamilyID;
  j["PayeeID"] = c.PayeeID;
  j["ProjectID"] = c.ProjectID;
}

void AddCurrency(Json& j, const TCurrency& c) {
  const TCurrency::TData& d = c.Data;
  j["SymbolID"] = d.SymbolID;
  j["NameID"] = d.NameID;
  j["ImageIndex"] = d.ImageIndex;
  j["AlignRight"] = d.AlignRight;
  j["Decimals"] = d.Decimals;
  j["Enabled"] = d.Enabled;
  j["Default"] = d.Default;
  j["UpdateExRates"] = d.UpdateExRates;
  j["Code"] = CodeText(d.Code);
  j["Reserved1"] = d.Reserved1;
}

void AddAccount(Json& j, const TAccount& a) {
  const TAccount::TData& d = a.Data;
  j["NameID"] = d.NameID;
  j["CommentID"] = d.CommentID;
  j["CurrencyID"] = d.CurrencyID;
  j["GroupID"] = d.GroupID;
  j["ImageIndex"] = d.ImageIndex;
  j["Reserved1"] = d.Reserved1;
  j["InitialBalance"] = DoubleToJson(d.InitialBalance);
  j["LastReconciliationDate"] = d.LastReconciliationDate.Val;
  j["Visible"] = d.Visible;
  j["Reserved2"] = d.Reserved2;
  j["Reserved3"] = d.Reserved3;
  j["Reserved4"] = d.Reserved4;
}

void AddAccGroup(Json& j, const TAccGroup& g) {
  const TAccGroup::TData& d = g.Data;
  j["@0"] = d.Field0;
  j["NameID"] = d.NameID;
  j["CommentID"] = d.CommentID;
  j["CurrencyID"] = d.CurrencyID;
  j["ImageIndex"] = d.ImageIndex;
  j["Reserved1"] = d.Reserved1;
}

void AddCategory(Json& j, const TCategory& c) {
  const TCategory::TData& d = c.Data;
  j["NameID"] = d.NameID;
  j["CommentID"] = d.CommentID;
  j["RootID"] = d.RootID;
  j["ImageIndex"] = d.ImageIndex;
  j["Reserved1"] = d.Reserved1;
}

void AddExRate(Json& j, const TExRate& r) {
  j["@0"] = r.Data.FirstCurrencyID;
  j["@8"] = r.Data.SecondCurrencyID;
  j["@16"] = DoubleToJson(r.Data.Rate);
  j["@24"] = r.Data.Date.Val;
  j["@28"] = r.Data.Field28;
}

void AddTransaction(Json& j, const TTransaction& t) {
  AddCategories(j, t.Categories);
  const TTransaction::TData& d = t.Data;
  j["WithdrawAccountID"] = d.WithdrawAccountID;
  j["TargetAccountID"] = d.TargetAccountID;
  j["SplitID"] = d.SplitID;
  j["LoanID"] = d.LoanID;
  j["NameID"] = d.NameID;
  j["CommentID"] = d.CommentID;
  j["CustomText1ID"] = d.CustomText1ID;
  j["CustomText2ID"] = d.CustomText2ID;
  j["CurrencyID"] = d.CurrencyID;
  j["FileLinksID"] = d.FileLinksID;
  j["Date"] = d.Date.Val;
  j["Time"] = d.Time;
  j["WithdrawAmount"] = DoubleToJson(d.WithdrawAmount);
  j["TargetAmount"] = DoubleToJson(d.TargetAmount);
  j["Quantity"] = DoubleToJson(d.Quantity);
  j["Cleared"] = d.Cleared;
  j["CustomCheckBox"] = d.CustomCheckBox;
  j["bSMS"] = d.bSMS;
  j["Reserved2"] = d.Reserved2;
  j["Reserved3"] = d.Reserved3;
  j["Amount"] = DoubleToJson(d.Amount);
  j["Tax"] = DoubleToJson(d.Tax);
}

void AddSplit(Json& j, const TSplit& s) {
  const TSplit::TData& d = s.Data;
  j["Date"] = d.Date.Val;
  j["Time"] = d.Time;
  j["AccountID"] = d.AccountID;
  j["NameID"] = d.NameID;
  j["CommentID"] = d.CommentID;
  j["CustomText1ID"] = d.CustomText1ID;
  j["CustomText2ID"] = d.CustomText2ID;
  j["@48"] = d.FlagA;
  j["FileLinksID"] = d.FileLinksID;
  j["@64"] = d.FlagB;
}

void AddEvent(Json& j, const TEvent& e) {
  AddCategories(j, e.Categories);
  const TEvent::TData& d = e.Data;
  j["Text1ID"] = d.Text1ID;
  j["Text2ID"] = d.Text2ID;
  j["Text3ID"] = d.Text3ID;
  j["@56"] = d.FirstDate.Val;
  j["@60"] = d.Field60;
  j["@64"] = d.SecondDate.Val;
  j["@68"] = d.Field68;
  j["@69"] = d.Field69;
  j["@70"] = d.Field70;
}

void AddBudget(Json& j, const TBudget& b) {
  AddCategories(j, b.Categories);
  const TBudget::TData& d = b.Data;
  j["Text1ID"] = d.Text1ID;
  j["Text2ID"] = d.Text2ID;
  j["@48"] = d.Field48;
  j["@56"] = DoubleToJson(d.Amount);
  j["PeriodType"] = d.PeriodType;
  j["@68"] = d.BeginFixed;
  j["@69"] = d.BudgetChecked;
  j["@70"] = d.Field70;
  j["@72"] = d.BeginDate.Val;
  j["@76"] = d.EndFixed;
  j["@80"] = d.EndDate.Val;
  j["@84"] = d.Field84;
  j["@88"] = d.Field88;
  j["@92"] = Bytes(d.Field92);
  j["@100"] = d.Field100;
}

void AddLoan(Json& j, const TLoan& l) {
  AddCategories(j, l.Categories);
  const TLoan::TData& d = l.Data;
  j["Text1ID"] = d.Text1ID;
  j["Text2ID"] = d.Text2ID;
  j["@48"] = d.Field48;
  j["@56"] = d.Field56;
  j["@64"] = d.Field64;
  j["@72"] = d.Field72;
  j["@80"] = d.Field80;
  j["@88"] = d.Field88;
  j["@96"] = d.Field96;
  j["@104"] = d.Field104;
  j["@112"] = d.Field112;
  j["@116"] = d.Field116;
  j["@117"] = d.Field117;
  j["@118"] = d.Field118;
  j["@120"] = d.Field120.Val;
  j["@124"] = d.Field124.Val;
}

void AddUser(Json& j, const TUser& u) {
  const TUser::TData& d = u.Data;
  j["Text1ID"] = d.Text1ID;
  j["Text2ID"] = d.Text2ID;
  j["Text3ID"] = d.Text3ID;
  j["Text4ID"] = d.Text4ID;
  j["@32"] = d.Field32;
  j["@36"] = d.Field36;
  j["DefaultCurrencyID"] = d.Settings.DefaultCurrencyID;
  j["DefaultAccountID"] = d.Settings.DefaultAccountID;
  j["PeriodBegin"] = d.Settings.PeriodBegin.Val;
  j["PeriodEnd"] = d.Settings.PeriodEnd.Val;
}

void AddString(Json& j, const TStringEntry& s) {
  j["Text"] = TextToUtf8(s.Text());
}

void AddBudgetFilter(Json& j, const TBudgetFilter& f) {
  j["BudgetID"] = f.Data.BudgetID;
  j["TargetID"] = f.Data.TargetID;
  j["@16"] = f.Data.Field16;
  j["IsCategory"] = f.Data.IsCategory;
}

void AddTag(Json& j, const TTag& t) {
  j["EntryID"] = t.Data.EntryID;
  j["TagID"] = t.Data.TagID;
}

void AddSortOrder(Json& j, const TSortOrder& o) {
  j["UserID"] = o.Data.UserID;
  j["EntryID"] = o.Data.EntryID;
  j["Order"] = o.Data.Order;
  j["Expanded"] = o.Data.Expanded;
}

void AddScheduledTransaction(Json& j, const TScheduledTransaction& t) {
  j["Schedule"] = ScheduleToJson(t.Schedule);
  AddTransaction(j, t);
}

void AddScheduledEvent(Json& j, const TScheduledEvent& e) {
  j["Schedule"] = ScheduleToJson(e.Schedule);
  AddEvent(j, e);
}

// Adds the body of `e` with `add` when `e` is a T; the Type code picks T, and the cast checks
// it, since a record built by hand may carry a code that is not its own.
template <class T>
void AddAs(Json& j, const TBaseEntry& e, void (*add)(Json&, const T&)) {
  if (const auto* r = dynamic_cast<const T*>(&e)) add(j, *r);
}

void AddBody(Json& j, const TBaseEntry& e) {
  switch (e.Header.Type) {
    case etString:
      return AddAs(j, e, AddString);
    case etCurrency:
      return AddAs(j, e, AddCurrency);
    case etAccount:
      return AddAs(j, e, AddAccount);
    case etAccGroup:
      return AddAs(j, e, AddAccGroup);
    case etCategory:
      return AddAs(j, e, AddCategory);
    case etExRate:
      return AddAs(j, e, AddExRate);
    case etBudget:
      return AddAs(j, e, AddBudget);
    case etBudgetFilter:
      return AddAs(j, e, AddBudgetFilter);
    case etLoan:
      return AddAs(j, e, AddLoan);
    case etEvent:
      return AddAs(j, e, AddEvent);
    case etTag:
      return AddAs(j, e, AddTag);
    case etUser:
      return AddAs(j, e, AddUser);
    case etSortOrder:
      return AddAs(j, e, AddSortOrder);
    case etTransaction:
      return AddAs(j, e, AddTransaction);
    case etScheduledTransaction:
      return AddAs(j, e, AddScheduledTransaction);
    case etSplit:
      return AddAs(j, e, AddSplit);
    case etScheduledEvent:
      return AddAs(j, e, AddScheduledEvent);
    default:
      return;
  }
}

}  // namespace

Json DoubleToJson(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
  return v;
}

std::string TextToUtf8(std::wstring_view text) {
  return WideToUtf8Lossy(text);
}

Json HeaderToJson(const THeader& h) {
  Json j;
  j["ID"] = h.ID;
  j["LastModDate"] = h.LastModDate;
  j["OwnerID"] = h.OwnerID;
  j["Type"] = h.Type;
  j["SecondaryType"] = h.SecondaryType;
  j["Size"] = h.Size;
  j["Hidden"] = h.Hidden;
  j["ReadOnly"] = h.ReadOnly;
  return j;
}

Json RecordToJson(const TBaseEntry& e) {
  THeader header = e.Header;
  if (e.Header.Type == etString) {
    // A string record's count and size are set from its text only as it is written.
    std::unique_ptr<TBaseEntry> copy = e.Clone();
    NullOutputStream sink;
    copy->SaveHeader(sink);
    header = copy->Header;
  }
  Json j = HeaderToJson(header);
  j["table"] = e.GetTableIndex();
  AddBody(j, e);
  return j;
}

Json MarkerToJson(const THeader& h) {
  Json j;
  j["ID"] = h.ID;
  j["LastModDate"] = h.LastModDate;
  j["OwnerID"] = h.OwnerID;
  j["SecondaryType"] = h.SecondaryType;
  return j;
}

Json DBHeaderToJson(const TDBHeader& h) {
  Json j;
  j["DatabaseID"] = h.DatabaseID;
  j["SettingsStamp"] = h.SettingsStamp;
  j["Reserved1"] = h.Reserved1;
  j["Option0"] = h.Option0;
  j["Option1"] = h.Option1;
  j["Option2"] = h.Option2;
  j["Option3"] = h.Option3;
  j["DefaultCurrencyID"] = h.UserSettings.DefaultCurrencyID;
  j["DefaultAccountID"] = h.UserSettings.DefaultAccountID;
  j["PeriodBegin"] = h.UserSettings.PeriodBegin.Val;
  j["PeriodEnd"] = h.UserSettings.PeriodEnd.Val;
  j["PasswordLength"] = h.PasswordLength;
  j["PasswordStamp"] = h.PasswordStamp;
  j["Reserved2"] = h.Reserved2;
  return j;
}

}  // namespace vemra::cli
