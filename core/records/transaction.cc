#include "core/records/transaction.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace vemra {

namespace {

// The order in which the coupled fields were last edited, shared by every transaction of the
// process (the editor edits one transaction at a time, and the order survives switching it).
// Holds each code 0, 1, 2 at most once; the first element is the least recently edited.
std::mutex g_edit_order_mutex;
std::vector<int> g_edit_order{0};

// Moves `code` to the end of the edit order and returns the first element afterwards.
int TouchEditOrder(int code) {
  std::lock_guard<std::mutex> lock(g_edit_order_mutex);
  g_edit_order.erase(std::remove(g_edit_order.begin(), g_edit_order.end(), code),
                     g_edit_order.end());
  g_edit_order.push_back(code);
  return g_edit_order.front();
}

}  // namespace

TTransaction::TTransaction(uint32_t type, uint32_t version, uint32_t size)
    : TBaseEntry(type, version, size) {
  Data.Date = TodayADate();
  Data.Time = NowTime();
}

void TTransaction::SaveDependents(TCoreDB& db) {
  StoreTexts(db, Texts());
  SaveTags(db, Header.ID);
}

void TTransaction::DeleteDependents(TCoreDB& db) {
  DeleteTexts(db, Texts());
  DeleteTags(db, Header.ID);
}

void TTransaction::ClearStrings() {
  ClearTexts(Texts());
  Tags.clear();
}

void TTransaction::ClearStringIDs() {
  ClearTextIDs(Texts());
}

void TTransaction::WriteTransactionPart(BodyWriter& w) const {
  Categories.Write(w);
  w.U64(Data.WithdrawAccountID);
  w.U64(Data.TargetAccountID);
  w.U64(Data.SplitID);
  w.U64(Data.LoanID);
  w.U64(Data.NameID);
  w.U64(Data.CommentID);
  w.U64(Data.CustomText1ID);
  w.U64(Data.CustomText2ID);
  w.U64(Data.CurrencyID);
  w.U64(Data.FileLinksID);
  w.Date(Data.Date);
  w.U32(Data.Time);
  w.F64(Data.WithdrawAmount);
  w.F64(Data.TargetAmount);
  w.F64(Data.Quantity);
  w.I8(Data.Cleared);
  w.U8(Data.CustomCheckBox);
  w.U8(Data.bSMS);
  w.U8(Data.Reserved2);
  w.U32(Data.Reserved3);
  w.F64(Data.Amount);
  w.F64(Data.Tax);
}

void TTransaction::ReadTransactionPart(BodyReader& r) {
  Categories.Read(r);
  Data.WithdrawAccountID = r.U64();
  Data.TargetAccountID = r.U64();
  Data.SplitID = r.U64();
  Data.LoanID = r.U64();
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.CustomText1ID = r.U64();
  Data.CustomText2ID = r.U64();
  Data.CurrencyID = r.U64();
  Data.FileLinksID = r.U64();
  Data.Date = r.Date();
  Data.Time = r.U32();
  Data.WithdrawAmount = r.F64();
  Data.TargetAmount = r.F64();
  Data.Quantity = r.F64();
  Data.Cleared = r.I8();
  Data.CustomCheckBox = r.U8();
  Data.bSMS = r.U8();
  Data.Reserved2 = r.U8();
  Data.Reserved3 = r.U32();
  Data.Amount = r.F64();
  Data.Tax = r.F64();
}

void TTransaction::ReadOldTransactionPart(BodyReader& r) {
  // The old body kept the category references after the account fields, family first, and had
  // no ProjectID; those keep what the constructor set, as do Time, bSMS and the reserved
  // fields.
  Data.WithdrawAccountID = r.U64();
  Data.TargetAccountID = r.U64();
  Data.SplitID = r.U64();
  Data.LoanID = r.U64();
  Categories.FamilyID = r.U64();
  Categories.CategoryID = r.U64();
  Categories.PayeeID = r.U64();
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.CustomText1ID = r.U64();
  Data.CustomText2ID = r.U64();
  Data.CurrencyID = r.U64();
  Data.FileLinksID = r.U64();
  Data.Date = r.Date();
  r.Skip(4);
  Data.WithdrawAmount = r.F64();
  Data.TargetAmount = r.F64();
  Data.Quantity = r.F64();
  Data.Cleared = r.I8();
  Data.CustomCheckBox = r.U8();
  r.Skip(6);
  Data.Amount = r.F64();
  Data.Tax = r.F64();
}

size_t TTransaction::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  WriteTransactionPart(w);
  return WriteBody(out, body, kBodySize);
}

bool TTransaction::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version == 1) {
    if (!ReadExactly(in, body, kBodySize)) return false;
    BodyReader r(body);
    ReadTransactionPart(r);
    return true;
  }
  if (version == 0) {
    if (!ReadExactly(in, body, kOldBodySize)) return false;
    BodyReader r(body);
    ReadOldTransactionPart(r);
    return true;
  }
  return false;
}

void TTransaction::LoadDependents(TCoreDB& db) {
  LoadTexts(db, Texts());
  // An occurrence is not stored and has no links of its own: it shows its schedule's tags.
  LoadTags(db, IsGhost ? ScheduleID : Header.ID);
}

double TTransaction::GetPrice() const {
  if (Data.Quantity > 0) {
    double amount = Data.WithdrawAccountID != 0 ? Data.WithdrawAmount : Data.TargetAmount;
    return amount / Data.Quantity;
  }
  return Data.WithdrawAmount;
}

double TTransaction::GetRate() const {
  if (Data.TargetAmount > 0 && Data.WithdrawAmount > 0) {
    return Data.TargetAmount / Data.WithdrawAmount;
  }
  return ExRate;
}

void TTransaction::SetWithdrawAmount(double v) {
  if (TouchEditOrder(0) != 2) Data.TargetAmount = v * GetRate();
  Data.WithdrawAmount = v;
}

void TTransaction::SetTargetAmount(double v) {
  if (TouchEditOrder(1) == 0) {
    // GetRate falls back to ExRate, which may be 0 or negative; then the withdraw amount
    // follows the target amount one to one, as SetExRate does for such a rate.
    double rate = GetRate();
    Data.WithdrawAmount = rate > 0 ? v / rate : v;
  }
  Data.TargetAmount = v;
}

void TTransaction::SetExRate(double v) {
  int first = TouchEditOrder(2);
  ExRate = v;
  if (first == 1) {
    Data.TargetAmount = v * Data.WithdrawAmount;
  } else {
    Data.WithdrawAmount = v > 0 ? Data.TargetAmount / v : Data.TargetAmount;
  }
}

void TTransaction::SetAmount(double v) {
  if (TouchEditOrder(0) == 2) {
    double price = GetPrice();
    if (price > 0) Data.Quantity = v / price;
  }
  Data.WithdrawAmount = v;
  Data.TargetAmount = v;
}

void TTransaction::SetPrice(double v) {
  if (TouchEditOrder(1) != 0) {
    double amount = Data.WithdrawAccountID != 0 ? Data.WithdrawAmount : Data.TargetAmount;
    Data.Quantity = v > 0 ? amount / v : 1.0;
  } else {
    Data.WithdrawAmount = v * Data.Quantity;
    Data.TargetAmount = Data.WithdrawAmount;
  }
}

void TTransaction::SetQuantity(double v) {
  if (TouchEditOrder(2) == 0) {
    double amount = GetPrice() * v;
    Data.WithdrawAmount = amount;
    Data.TargetAmount = amount;
  }
  Data.Quantity = v;
}

void TTransaction::CopyTransactionPart(const TTransaction& t) {
  Data = t.Data;
  Categories = t.Categories;
  Tags = t.Tags;
  Name = t.Name;
  Comment = t.Comment;
  CustomText1 = t.CustomText1;
  CustomText2 = t.CustomText2;
  FileLinks = t.FileLinks;
  Header.OwnerID = t.Header.OwnerID;
  Header.Hidden = t.Header.Hidden;
  Header.ReadOnly = t.Header.ReadOnly;
}

void TTransaction::ResetEditOrder() {
  std::lock_guard<std::mutex> lock(g_edit_order_mutex);
  g_edit_order.assign({0});
}

}  // namespace vemra
