#include "core/records/category.h"

#include "core/records/body_codec.h"

namespace vemra {

void TCategory::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.NameID, Name);
  StoreText(db, Data.CommentID, Comment);
}

void TCategory::DeleteDependents(TCoreDB& db) {
  ClearStrings();
  db.DeleteString(Data.NameID);
  db.DeleteString(Data.CommentID);
  db.DeleteChildren(Header.ID, etSortOrder);
}

void TCategory::ClearStrings() {
  Name.clear();
  Comment.clear();
}

void TCategory::ClearStringIDs() {
  Data.NameID = 0;
  Data.CommentID = 0;
}

size_t TCategory::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.NameID);
  w.U64(Data.CommentID);
  w.U64(Data.RootID);
  w.U32(Data.ImageIndex);
  w.U32(Data.Reserved1);
  return WriteBody(out, body, kBodySize);
}

bool TCategory::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.NameID = r.U64();
  Data.CommentID = r.U64();
  Data.RootID = r.U64();
  Data.ImageIndex = r.U32();
  Data.Reserved1 = r.U32();
  return true;
}

void TCategory::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.NameID, Name);
  LoadText(db, Data.CommentID, Comment);
  db.GetSortOrder(Header.ID, Order, Expanded);
}

}  // namespace vemra
