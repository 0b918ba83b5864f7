// TBaseEntry, the base of every record class, and TStringEntry, the record that holds one text.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "core/records/core_db.h"
#include "core/records/header.h"
#include "core/records/record_pool.h"
#include "core/records/runtime_text.h"
#include "core/streams/stream.h"

namespace vemra {

// A stored record: the header plus, in each concrete class, a member `Data` (the stored body)
// and run-time members that are never written. Owned by the database table that holds it;
// everything above the database works on copies. Not thread-safe.
class TBaseEntry {
 public:
  THeader Header;

  // Records live in the record pool, which a book of a million records opens much faster from.
  static void* operator new(size_t size) { return AllocateRecord(size); }
  static void operator delete(void* p, size_t size) noexcept { FreeRecord(p, size); }

  // Slot 0: writes the 40 header bytes; returns the count written.
  virtual size_t SaveHeader(IOutputStream& out);
  // Slot 1: stores every run-time text in a string record and puts the IDs into `Data`; tagged
  // records also store their tag links, budgets their filters.
  virtual void SaveDependents(TCoreDB& db) = 0;
  // Slot 2: deletes the string records and link records that belong to this record.
  virtual void DeleteDependents(TCoreDB& db) = 0;
  // Slot 3: empties the run-time texts (and lists).
  virtual void ClearStrings() = 0;
  // Slot 4: sets the string ID fields of `Data` to 0.
  virtual void ClearStringIDs() = 0;
  // Slot 5: writes the body, exactly Header.Size bytes; returns the count written.
  virtual size_t SaveData(IOutputStream& out) = 0;
  // Slot 6: reads a body written with layout `version` and converts it to the current layout.
  // Returns false for an unknown version or a short read; the object is then to be discarded.
  virtual bool LoadData(IInputStream& in, uint32_t version) = 0;
  // Slot 7: for link records the ID of the record they belong to, else 0.
  virtual uint64_t GetParentID() const { return 0; }
  // Slot 8: the database table (0-6) that holds records of this class.
  virtual uint32_t GetTableIndex() const = 0;
  // Slot 9: reads the run-time texts (and tags, sort order, filters) from the database.
  virtual void LoadDependents(TCoreDB& db) = 0;
  virtual ~TBaseEntry() = default;

  // Returns a deep copy of the record, run-time members included.
  virtual std::unique_ptr<TBaseEntry> Clone() const = 0;

 protected:
  TBaseEntry(uint32_t type, uint32_t secondary_type, uint32_t size);
  TBaseEntry(const TBaseEntry&) = default;
  TBaseEntry& operator=(const TBaseEntry&) = default;

  // Stores `text` through the database and updates its partner ID field.
  static void StoreText(TCoreDB& db, uint64_t& id, const std::wstring& text) {
    id = db.SetString(id, text);
  }
  static void LoadText(TCoreDB& db, uint64_t id, std::wstring& text) { db.GetString(id, text); }

  // One run-time text of a record and the Data field that names its string record; records
  // with several texts list them once and hand the list to the helpers below.
  struct TextSlot {
    uint64_t* id;
    RuntimeText* text;
  };
  static void StoreTexts(TCoreDB& db, std::span<const TextSlot> text_slots) {
    for (const TextSlot& s : text_slots) StoreText(db, *s.id, *s.text);
  }
  static void LoadTexts(TCoreDB& db, std::span<const TextSlot> text_slots) {
    for (const TextSlot& s : text_slots) {
      std::wstring text;
      LoadText(db, *s.id, text);
      *s.text = std::move(text);
    }
  }
  static void DeleteTexts(TCoreDB& db, std::span<const TextSlot> text_slots) {
    for (const TextSlot& s : text_slots) db.DeleteString(*s.id);
  }
  static void ClearTexts(std::span<const TextSlot> text_slots) {
    for (const TextSlot& s : text_slots) s.text->clear();
  }
  static void ClearTextIDs(std::span<const TextSlot> text_slots) {
    for (const TextSlot& s : text_slots) *s.id = 0;
  }
  // Writes `size` body bytes from `body`; returns the count written.
  static size_t WriteBody(IOutputStream& out, const uint8_t* body, size_t size) {
    return out.Write(body, size);
  }
};

// Type 10: one text of another record. The text is stored as 16-bit units (characters above
// U+FFFF as surrogate pairs); SecondaryType holds the unit count and Size twice that.
class TStringEntry : public TBaseEntry {
 public:
  // The text as the file holds it: UTF-16 code units, kept as read so that a save writes the
  // same bytes and a book of a million texts takes half the memory of wide characters.
  std::u16string Units;

  std::wstring Text() const;
  void SetText(const std::wstring& text);

  TStringEntry();
  // Sets SecondaryType and Size from Text, then writes the header.
  size_t SaveHeader(IOutputStream& out) override;
  void SaveDependents(TCoreDB&) override {}
  void DeleteDependents(TCoreDB&) override {}
  void ClearStrings() override {}
  void ClearStringIDs() override {}
  size_t SaveData(IOutputStream& out) override;
  // `count` is the unit count from the file header; reads 2 x count bytes and is true only when
  // all came.
  bool LoadData(IInputStream& in, uint32_t count) override;
  uint32_t GetTableIndex() const override { return 6; }
  void LoadDependents(TCoreDB&) override {}
  std::unique_ptr<TBaseEntry> Clone() const override {
    return std::make_unique<TStringEntry>(*this);
  }
};

}  // namespace vemra
