// Visibility: the one rule that decides which records the logged-in user may see. The
// transaction list, the account balances, the descriptions offered for autocompletion and the
// checks before a change all ask it, so that none of them shows, counts or changes what another
// shows as missing.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "core/database/database.h"
#include "core/records/event.h"
#include "core/records/tagged_entry.h"
#include "core/records/transaction.h"

namespace vemra {

// Answers for the database's current user, cached for the life of the object: make one per pass
// over the records and drop it before the database changes. With no user logged in nothing is
// hidden. Not thread-safe.
class Visibility {
 public:
  // `db` must outlive this object.
  explicit Visibility(DataBase& db) : db_(db), user_(db.CurrentUserID()) {}

  // A transaction (or an occurrence of a scheduled one) is hidden when another owner marked it
  // hidden, when its split is hidden, when every account it names is hidden (both of a
  // transfer, the only one of an expense or income), or when one of its categories is hidden.
  bool Hidden(const TTransaction& t);
  // An event is hidden when another owner marked it hidden or one of its categories is hidden.
  bool Hidden(const TEvent& e);
  // An account is hidden by another owner's mark on it or on its group; an absent one is not.
  bool AccountHidden(uint64_t id);
  // A category is hidden by another owner's mark on it or on a category above it.
  bool CategoryHidden(uint64_t id);
  bool CategoriesHidden(const TCategories& c) {
    return CategoryHidden(c.CategoryID) || CategoryHidden(c.FamilyID) ||
           CategoryHidden(c.PayeeID) || CategoryHidden(c.ProjectID);
  }
  // Whether another owner marked the record with header `h` hidden.
  bool MarkedHidden(const THeader& h) const {
    return user_ != 0 && h.Hidden != 0 && h.OwnerID != user_;
  }

 private:
  DataBase& db_;
  const uint64_t user_;
  std::unordered_map<uint64_t, bool> accounts_;
  std::unordered_map<uint64_t, bool> categories_;
  std::unordered_map<uint64_t, bool> splits_;
};

}  // namespace vemra
