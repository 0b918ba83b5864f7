#include "core/records/account.h"

#include <vector>

#include "core/records/body_codec.h"

namespace vemra {

void TAccount::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.NameID, Name);
  StoreText(db, Data.CommentID, Comment);
}

void TAccount::DeleteDependents(TCoreDB& db) {
  ClearStrings();
  db.DeleteString(Data.NameID);
  db.DeleteString(Data.CommentID);
  db.DeleteChildren(Header.ID, etSortOrder);
}

void TAccount::ClearStrings() {
  Name.clear();
  Comment.clear();
}

void TAccount::ClearStringIDs() {
  Data.NameID = 0;
  Data.CommentID = 0;
}

size_t TAccount::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.NameID);
  w.U64(Data.CommentID);
  w.U64(Data.CurrencyID);
  w.U64(Data.GroupID);
  w.U32(Data.ImageIndex);
  w.U32(Data.Reserved1);
  w.F64(Data.InitialBalance);
  w.Date(Data.LastReconciliationDate);
  w.U8(Data.Visible);
  w.U8(Data.Reserved2);
  w.U8(Data.Reserved3);
  w.U8(Data.Reserved4);
  return WriteBody(out, body, kBodySize);
}

bool TAccount::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if ((version != kVersion && version != 0) || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.CurrencyID = r.U64();
  Data.GroupID = r.U64();
  Data.ImageIndex = r.U32();
  Data.Reserved1 = r.U32();
  Data.InitialBalance = r.F64();
  Data.LastReconciliationDate = r.Date();
  Data.Visible = r.U8();
  Data.Reserved2 = r.U8();
  Data.Reserved3 = r.U8();
  Data.Reserved4 = r.U8();
  if (version == 0) {
    Data.Reserved1 = 0;
    Data.ImageIndex += kVersion0ImageShift;
  }
  return true;
}

void TAccount::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.NameID, Name);
  LoadText(db, Data.CommentID, Comment);
  db.GetSortOrder(Header.ID, Order, Expanded);
}

}  // namespace vemra
