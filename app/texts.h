// The app's user-visible texts. They live in the same keyed tables as the engine's
// (platform/localization), in key ranges of the app's own: the main window 20000–20499, the
// editor dialogs 20500–20999, the charts 21000–21099. Each range has its own table file that
// registers it.
#pragma once

#include <QString>
#include <string>

namespace kestrum {

// Adds every app table to platform/localization. Call once at start, before any Tx.
void RegisterAppTexts();
// The tables of each range (window_texts.cc, dialog_texts.cc, chart_texts.cc).
void RegisterWindowTexts();
void RegisterDialogTexts();
void RegisterChartTexts();

// The text of `key` in the current language as a QString (platform::Text).
QString Tx(int key);
// UTF-8 and wide strings of the engine to Qt and back.
QString FromWide(const std::wstring& text);
std::wstring ToWide(const QString& text);

}  // namespace kestrum
