#include "core/records/entry_factory.h"

#include "core/records/acc_group.h"
#include "core/records/account.h"
#include "core/records/budget.h"
#include "core/records/budget_filter.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/event.h"
#include "core/records/ex_rate.h"
#include "core/records/loan.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/sort_order.h"
#include "core/records/split.h"
#include "core/records/tagged_entry.h"
#include "core/records/transaction.h"
#include "core/records/user.h"

namespace vemra {

std::unique_ptr<TBaseEntry> CreateEntry(uint32_t type) {
  switch (type) {
    case etString:
      return std::make_unique<TStringEntry>();
    case etCurrency:
      return std::make_unique<TCurrency>();
    case etAccount:
      return std::make_unique<TAccount>();
    case etAccGroup:
      return std::make_unique<TAccGroup>();
    case etCategory:
      return std::make_unique<TCategory>();
    case etExRate:
      return std::make_unique<TExRate>();
    case etBudget:
      return std::make_unique<TBudget>();
    case etBudgetFilter:
      return std::make_unique<TBudgetFilter>();
    case etLoan:
      return std::make_unique<TLoan>();
    case etEvent:
      return std::make_unique<TEvent>();
    case etTag:
      return std::make_unique<TTag>();
    case etUser:
      return std::make_unique<TUser>();
    case etSortOrder:
      return std::make_unique<TSortOrder>();
    case etTransaction:
      return std::make_unique<TTransaction>();
    case etScheduledTransaction:
      return std::make_unique<TScheduledTransaction>();
    case etSplit:
      return std::make_unique<TSplit>();
    case etScheduledEvent:
      return std::make_unique<TScheduledEvent>();
    default:
      return nullptr;
  }
}

uint32_t TableOfType(uint32_t type) {
  std::unique_ptr<TBaseEntry> entry = CreateEntry(type);
  return entry ? entry->GetTableIndex() : 0;
}

std::string_view TypeName(uint32_t type) {
  switch (type) {
    case etDeleted:
      return "etDeleted";
    case etString:
      return "etString";
    case etCurrency:
      return "etCurrency";
    case etAccount:
      return "etAccount";
    case etAccGroup:
      return "etAccGroup";
    case etCategory:
      return "etCategory";
    case etExRate:
      return "etExRate";
    case etBudget:
      return "etBudget";
    case etBudgetFilter:
      return "etBudgetFilter";
    case etLoan:
      return "etLoan";
    case etEvent:
      return "etEvent";
    case etTag:
      return "etTag";
    case etUser:
      return "etUser";
    case etSortOrder:
      return "etSortOrder";
    case etTransaction:
      return "etTransaction";
    case etScheduledTransaction:
      return "etScheduledTransaction";
    case etSplit:
      return "etSplit";
    case etScheduledEvent:
      return "etScheduledEvent";
    default:
      return {};
  }
}

}  // namespace vemra
