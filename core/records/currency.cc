#include "core/records/currency.h"

#include "core/records/body_codec.h"

namespace vemra {

void TCurrency::SaveDependents(TCoreDB& db) {
  StoreText(db, Data.NameID, Name);
  StoreText(db, Data.SymbolID, Symbol);
}

void TCurrency::DeleteDependents(TCoreDB& db) {
  db.DeleteString(Data.NameID);
  db.DeleteString(Data.SymbolID);
}

void TCurrency::ClearStrings() {
  Name.clear();
  Symbol.clear();
}

void TCurrency::ClearStringIDs() {
  Data.SymbolID = 0;
  Data.NameID = 0;
}

size_t TCurrency::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.SymbolID);
  w.U64(Data.NameID);
  w.U32(Data.ImageIndex);
  w.U8(Data.AlignRight);
  w.U8(Data.Decimals);
  w.U8(Data.Enabled);
  w.U8(Data.Default);
  w.U8(Data.UpdateExRates);
  w.Raw(Data.Code.data(), Data.Code.size());
  w.U32(Data.Reserved1);
  return WriteBody(out, body, kBodySize);
}

bool TCurrency::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.SymbolID = r.U64();
  Data.NameID = r.U64();
  Data.ImageIndex = r.U32();
  Data.AlignRight = r.U8();
  Data.Decimals = r.U8();
  Data.Enabled = r.U8();
  Data.Default = r.U8();
  Data.UpdateExRates = r.U8();
  r.Raw(Data.Code.data(), Data.Code.size());
  Data.Reserved1 = r.U32();
  return true;
}

void TCurrency::LoadDependents(TCoreDB& db) {
  LoadText(db, Data.NameID, Name);
  LoadText(db, Data.SymbolID, Symbol);
}

std::string TCurrency::GetCode() const {
  std::string code;
  for (uint8_t c : Data.Code) {
    if (c == 0) break;
    code.push_back(static_cast<char>(c));
  }
  return code;
}

void TCurrency::SetCode(const std::wstring& code) {
  for (size_t i = 0; i < Data.Code.size(); ++i) {
    Data.Code[i] = i < code.size() ? static_cast<uint8_t>(code[i]) : 0;
  }
}

}  // namespace vemra
