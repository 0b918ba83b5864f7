// The texts of the editor dialogs and the currencies window.
#include "app/texts.h"
#include "platform/localization.h"

namespace kestrum {

void RegisterDialogTexts() {
  static const vemra::platform::TextEntry kTexts[] = {
      {20500, "Expense", "Расход"},
      {20501, "Income", "Доход"},
      {20502, "Transfer", "Перевод"},
      {20503, "Type", "Тип"},
      {20504, "Quantity and price", "Количество и цена"},
      {20505, "Swap the accounts", "Поменять счета местами"},
      {20506, "From account", "Со счёта"},
      {20507, "Amount", "Сумма"},
      {20508, "To account", "На счёт"},
      {20509, "Amount received", "Получено"},
      {20510, "Exchange rate", "Курс обмена"},
      {20511, "Quantity", "Количество"},
      {20512, "Price", "Цена"},
      {20513, "Description", "Описание"},
      {20514, "Category", "Категория"},
      {20515, "Payee", "Получатель"},
      {20516, "Date", "Дата"},
      {20517, "Cleared", "Проведена"},
      {20518, "Starred", "Отмечена"},
      {20519, "Status", "Статус"},
      {20520, "Comment", "Комментарий"},
      {20521, "Not set", "Нет"},
      {20522, "Daily", "Ежедневно"},
      {20523, "Weekly", "Еженедельно"},
      {20524, "Monthly", "Ежемесячно"},
      {20525, "Repeat", "Повтор"},
      {20526, "every ", "каждые "},
      {20527, "until", "до"},
      {20528, "Save", "Сохранить"},
      {20529, "Template", "Шаблон"},
      {20530, "Transaction", "Операция"},
      {20540, "Currencies", "Валюты"},
      {20541, "Name", "Название"},
      {20542, "Code", "Код"},
      {20543, "Symbol", "Символ"},
      {20544, "Decimals", "Знаков"},
      {20545, "default", "основная"},
      {20546, "Filter", "Фильтр"},
      {20547, "New currency", "Новая валюта"},
      {20548, "Update rates", "Обновить курсы"},
      {20549, "Rates in %1", "Курсы в %1"},
      {20550, "Currency", "Валюта"},
      {20551, "Rate", "Курс"},
      {20552, "Symbol position", "Положение символа"},
      {20553, "Left ($100.00)", "Слева ($100.00)"},
      {20554, "Right (100.00$)", "Справа (100.00$)"},
      {20555, "One %1 in %2", "Один %1 в %2"},
  };
  vemra::platform::AddTexts(kTexts, std::size(kTexts));
}

}  // namespace kestrum
