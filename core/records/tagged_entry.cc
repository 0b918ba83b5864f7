#include "core/records/tagged_entry.h"

#include <set>
#include <unordered_set>

namespace vemra {

void TCategories::Write(BodyWriter& w) const {
  w.U64(CategoryID);
  w.U64(FamilyID);
  w.U64(PayeeID);
  w.U64(ProjectID);
}

void TCategories::Read(BodyReader& r) {
  CategoryID = r.U64();
  FamilyID = r.U64();
  PayeeID = r.U64();
  ProjectID = r.U64();
}

void TTaggedEntry::SaveTags(TCoreDB& db, uint64_t record_id) const {
  std::vector<std::unique_ptr<TBaseEntry>> links;
  std::unordered_set<uint64_t> seen;
  for (uint64_t tag : Tags) {
    if (!seen.insert(tag).second) continue;
    auto link = std::make_unique<TTag>();
    link->Data.EntryID = record_id;
    link->Data.TagID = tag;
    links.push_back(std::move(link));
  }
  db.ReplaceChildren(record_id, etTag, links);
}

void TTaggedEntry::LoadTags(TCoreDB& db, uint64_t parent_id) {
  Tags.clear();
  std::vector<const TBaseEntry*> links;
  db.CollectChildren(parent_id, etTag, links);
  std::set<uint64_t> values;
  for (const TBaseEntry* link : links) {
    if (auto* tag = dynamic_cast<const TTag*>(link)) values.insert(tag->Data.TagID);
  }
  Tags.assign(values.begin(), values.end());
  Loaded = true;
}

void TTaggedEntry::DeleteTags(TCoreDB& db, uint64_t record_id) {
  std::vector<std::unique_ptr<TBaseEntry>> none;
  db.ReplaceChildren(record_id, etTag, none);
}

size_t TTag::SaveData(IOutputStream& out) {
  uint8_t body[kBodySize];
  BodyWriter w(body);
  w.U64(Data.EntryID);
  w.U64(Data.TagID);
  return WriteBody(out, body, kBodySize);
}

bool TTag::LoadData(IInputStream& in, uint32_t version) {
  uint8_t body[kBodySize];
  if (version != kVersion || !ReadExactly(in, body, kBodySize)) return false;
  BodyReader r(body);
  Data.EntryID = r.U64();
  Data.TagID = r.U64();
  return true;
}

}  // namespace vemra
