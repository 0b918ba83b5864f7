// An in-memory stand-in for the database services records call, for record tests.
#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "core/records/base_entry.h"

namespace vemra::testing {

class FakeCoreDB : public TCoreDB {
 public:
  std::map<uint64_t, std::unique_ptr<TBaseEntry>> tables[7];
  std::vector<std::pair<uint32_t, uint64_t>> deleted;  // (table, id) in deletion order
  std::map<uint64_t, std::pair<uint32_t, bool>> sort_orders;
  ADate first_transaction_date{0};
  int8_t option0 = 0;
  uint64_t next_id = 1000;

  // Stores `entry` in its table, giving it a new ID when it has none; returns the ID.
  uint64_t Add(std::unique_ptr<TBaseEntry> entry) {
    if (entry->Header.ID == 0) entry->Header.ID = next_id++;
    uint64_t id = entry->Header.ID;
    tables[entry->GetTableIndex()][id] = std::move(entry);
    return id;
  }
  size_t CountOfType(uint32_t type) const {
    size_t n = 0;
    for (const auto& table : tables)
      for (const auto& [id, e] : table) n += e->Header.Type == type;
    return n;
  }

  uint64_t SetString(uint64_t id, const std::wstring& text) override {
    if (text.empty()) {
      DeleteString(id);
      return 0;
    }
    auto s = std::make_unique<TStringEntry>();
    s->Header.ID = id;
    s->SetText(text);
    return Add(std::move(s));
  }
  bool GetString(uint64_t id, std::wstring& text) override {
    text.clear();
    auto it = tables[6].find(id);
    if (id == 0 || it == tables[6].end() || it->second->Header.Type != etString) return false;
    text = static_cast<const TStringEntry&>(*it->second).Text();
    return true;
  }
  bool DeleteEntry(uint32_t table, uint64_t id) override {
    if (table > 6 || tables[table].erase(id) == 0) return false;
    deleted.emplace_back(table, id);
    return true;
  }
  bool CollectChildren(uint64_t parent_id, uint32_t type,
                       std::vector<const TBaseEntry*>& out) override {
    if (parent_id == 0) return false;
    for (const auto& [id, e] : tables[4])
      if (e->GetParentID() == parent_id && e->Header.Type == type) out.push_back(e.get());
    return true;
  }
  void ReplaceChildren(uint64_t parent_id, uint32_t type,
                       std::vector<std::unique_ptr<TBaseEntry>>& links) override {
    for (auto& link : links) link->Header.ID = 0;
    std::vector<uint64_t> stale;
    size_t next = 0;
    for (const auto& [id, e] : tables[4]) {
      if (e->GetParentID() != parent_id || e->Header.Type != type) continue;
      if (next < links.size()) {
        links[next++]->Header.ID = id;
      } else {
        stale.push_back(id);
      }
    }
    for (uint64_t id : stale) DeleteEntry(4, id);
    for (auto& link : links) Add(std::move(link));
    links.clear();
  }
  void GetSortOrder(uint64_t item_id, uint32_t& order, bool& expanded) override {
    auto it = sort_orders.find(item_id);
    if (it == sort_orders.end()) return;
    order = it->second.first;
    expanded = it->second.second;
  }
  ADate FirstTransactionDate() override { return first_transaction_date; }
  const TBaseEntry* FindEntry(uint64_t id, uint32_t table) override {
    if (id == 0 || table > 6) return nullptr;
    auto it = tables[table].find(id);
    return it == tables[table].end() ? nullptr : it->second.get();
  }
  int8_t HeaderOption0() override { return option0; }
};

}  // namespace vemra::testing
