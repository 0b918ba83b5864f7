// The texts of the charts pane, keys 21000–21099.
#include <iterator>

#include "app/texts.h"
#include "platform/localization.h"

namespace kestrum {

void RegisterChartTexts() {
  static const vemra::platform::TextEntry kTexts[] = {
      {21000, "Balance over time", "Баланс во времени"},
      {21001, "Spending by category", "Расходы по категориям"},
      {21002, "No data for this period", "Нет данных за этот период"},
      {21003, "No category", "Без категории"},
      {21004, "Other categories", "Прочие категории"},
  };
  vemra::platform::AddTexts(kTexts, std::size(kTexts));
}

}  // namespace kestrum
