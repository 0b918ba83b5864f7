#include "app/texts.h"

#include "platform/localization.h"

namespace kestrum {

void RegisterAppTexts() {
  RegisterWindowTexts();
  RegisterDialogTexts();
  RegisterChartTexts();
}

QString Tx(int key) {
  return QString::fromStdString(vemra::platform::Text(key));
}

QString FromWide(const std::wstring& text) {
  return QString::fromStdWString(text);
}

std::wstring ToWide(const QString& text) {
  return text.toStdWString();
}

}  // namespace kestrum
