// TCoreDB: the database services that records call while they store, load and delete the
// records they depend on (their texts, tag links, sort orders and budget filters). The
// database implements it; record tests use a small in-memory stand-in.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/records/dates.h"

namespace vemra {

class TBaseEntry;

class TCoreDB {
 public:
  virtual ~TCoreDB() = default;

  // Stores `text` in string record `id` (0: a new record) and returns its ID; an empty text
  // deletes string record `id` instead and returns 0.
  virtual uint64_t SetString(uint64_t id, const std::wstring& text) = 0;
  // Sets `text` to the text of string record `id`; returns false and leaves `text` empty when
  // `id` is 0, missing or not a string record.
  virtual bool GetString(uint64_t id, std::wstring& text) = 0;
  // Deletes record `id` of table `table`, leaving a deletion marker; false when refused or
  // absent.
  virtual bool DeleteEntry(uint32_t table, uint64_t id) = 0;
  // Appends to `out`, in ascending ID order, the link records (table 4) whose parent is
  // `parent_id` and whose type is `type`. The pointers are owned by the database and stay valid
  // until its next change. Returns false, listing nothing, when `parent_id` is 0.
  virtual bool CollectChildren(uint64_t parent_id, uint32_t type,
                               std::vector<const TBaseEntry*>& out) = 0;
  // Makes the stored links of `parent_id` and `type` equal to `links`, reusing the IDs of the
  // old links in list order; takes ownership of the records and empties `links`.
  virtual void ReplaceChildren(uint64_t parent_id, uint32_t type,
                               std::vector<std::unique_ptr<TBaseEntry>>& links) = 0;
  // Sets `order` and `expanded` from the current user's sort-order record of `item_id`; leaves
  // them unchanged when there is none.
  virtual void GetSortOrder(uint64_t item_id, uint32_t& order, bool& expanded) = 0;
  // The earlier of today and the date of the first transaction (at least 0).
  virtual ADate FirstTransactionDate() = 0;
  // The record `id` of table `table`, owned by the database, or null (always for ID 0).
  virtual const TBaseEntry* FindEntry(uint64_t id, uint32_t table) = 0;
  // The header's Option0 byte: the first day of the week as stored (0 Monday .. 6 Sunday).
  virtual int8_t HeaderOption0() = 0;

  // Deletes string record `id` (nothing for 0).
  void DeleteString(uint64_t id) {
    if (id != 0) DeleteEntry(6, id);
  }
  // Deletes every link record of `type` whose parent is `parent_id`.
  void DeleteChildren(uint64_t parent_id, uint32_t type);
};

}  // namespace vemra
