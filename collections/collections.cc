// The DataBase members that reach the collections: they live in this library because the
// database layer cannot link against the layer above it.
#include "collections/accounts.h"
#include "collections/categories.h"
#include "collections/currencies.h"
#include "collections/splits.h"
#include "collections/transactions.h"
#include "core/database/database.h"

namespace vemra {
namespace {

class CollectionSet : public TCollectionSet {
 public:
  explicit CollectionSet(DataBase* db)
      : currencies(db), accounts(db), categories(db), transactions(db), splits(db) {
    transactions.DefaultDate = TodayADate();
    transactions.DefaultCleared = 1;
  }

  vemra::Currencies currencies;
  vemra::Accounts accounts;
  vemra::Categories categories;
  vemra::Transactions transactions;
  vemra::Splits splits;
};

}  // namespace

int32_t TransactionKind(const TTransaction& t) {
  if (t.Data.WithdrawAccountID == 0) return 1;
  return t.Data.TargetAccountID == 0 ? 0 : 2;
}

TCollectionSet& DataBase::Collections() {
  if (!collections_) collections_ = std::make_unique<CollectionSet>(this);
  return *collections_;
}

ICurrencies& DataBase::Currencies() {
  return static_cast<CollectionSet&>(Collections()).currencies;
}
IAccounts& DataBase::Accounts() {
  return static_cast<CollectionSet&>(Collections()).accounts;
}
ICategories& DataBase::Categories() {
  return static_cast<CollectionSet&>(Collections()).categories;
}
ITransactions& DataBase::Transactions() {
  return static_cast<CollectionSet&>(Collections()).transactions;
}
ISplits& DataBase::Splits() {
  return static_cast<CollectionSet&>(Collections()).splits;
}

}  // namespace vemra
