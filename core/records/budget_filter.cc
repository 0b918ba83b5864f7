#include "core/records/budget_filter.h"

#include "core/records/body_codec.h"

namespace vemra {

size_t TBudgetFilter::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.BudgetID);
  w.U64(Data.TargetID);
  w.U8(Data.Field16);
  w.U8(Data.IsCategory);
  w.Zeros(6);
  return WriteBody(out, body, kBodySize);
}

bool TBudgetFilter::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.BudgetID = r.U64();
  Data.TargetID = r.U64();
  Data.Field16 = r.U8();
  Data.IsCategory = r.U8();
  return true;
}

}  // namespace vemra
