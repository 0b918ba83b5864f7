#include "core/records/acc_group.h"

#include "core/records/account.h"
#include "core/records/body_codec.h"

namespace vemra {

void TAccGroup::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.NameID, Name);
  StoreText(db, Data.CommentID, Comment);
}

void TAccGroup::DeleteDependents(TCoreDB& db) {
  ClearStrings();
  db.DeleteString(Data.NameID);
  db.DeleteString(Data.CommentID);
  db.DeleteChildren(Header.ID, etSortOrder);
}

void TAccGroup::ClearStrings() {
  Name.clear();
  Comment.clear();
}

void TAccGroup::ClearStringIDs() {
  Data.NameID = 0;
  Data.CommentID = 0;
}

size_t TAccGroup::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.Field0);
  w.U64(Data.NameID);
  w.U64(Data.CommentID);
  w.U64(Data.CurrencyID);
  w.U32(Data.ImageIndex);
  w.U32(Data.Reserved1);
  return WriteBody(out, body, kBodySize);
}

bool TAccGroup::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if ((version != kVersion && version != 0) || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.Field0 = r.U64();
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.CurrencyID = r.U64();
  Data.ImageIndex = r.U32();
  Data.Reserved1 = r.U32();
  if (version == 0) {
    Data.Reserved1 = 0;
    Data.ImageIndex += kVersion0ImageShift;
  }
  return true;
}

void TAccGroup::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.NameID, Name);
  LoadText(db, Data.CommentID, Comment);
  db.GetSortOrder(Header.ID, Order, Expanded);
}

}  // namespace vemra
