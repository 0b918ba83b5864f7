#include "core/records/ex_rate.h"

#include "core/records/body_codec.h"

namespace vemra {

size_t TExRate::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.FirstCurrencyID);
  w.U64(Data.SecondCurrencyID);
  w.F64(Data.Rate);
  w.Date(Data.Date);
  w.U32(Data.Field28);
  return WriteBody(out, body, kBodySize);
}

bool TExRate::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.FirstCurrencyID = r.U64();
  Data.SecondCurrencyID = r.U64();
  Data.Rate = r.F64();
  Data.Date = r.Date();
  Data.Field28 = r.U32();
  return true;
}

}  // namespace vemra
