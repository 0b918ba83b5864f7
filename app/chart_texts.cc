// The texts of the charts pane.
#include "app/texts.h"
#include "platform/localization.h"

namespace kestrum {

void RegisterChartTexts() {
  static const vemra::platform::TextEntry kTexts[] = {
      {21000, "Balance over time", "Баланс во времени"},
      {21001, "Spending by category", "Расходы по категориям"},
      {21002, "No transactions in this period", "Нет операций за этот период"},
      {21003, "No category", "Без категории"},
  };
  vemra::platform::AddTexts(kTexts, std::size(kTexts));
}

}  // namespace kestrum
