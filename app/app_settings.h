// The app's own settings — preferences, recent files, window state — kept with the engine's in
// the user's settings file (platform/settings), not in QSettings, so that kestrum-cli and the
// app read one place.
//
// Threads: any; every write is a locked read-modify-write of the file.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <string>

namespace kestrum {

struct Preferences {
  QString language = QStringLiteral("system");  // "system", "en" or "ru"
  QString theme = QStringLiteral("system");     // "system", "light" or "dark"
  bool autosave = true;                         // save 1 s after the last change
  QString quotes_host;                          // the exchange-rate service; empty: the default
};

// The stored preferences; defaults for anything missing or of the wrong type.
Preferences LoadPreferences();
// Stores `p`; false when the settings file could not be written.
bool SavePreferences(const Preferences& p);
// The table language the preferences give ("en" or "ru"; "system" follows the environment).
std::string LanguageOf(const Preferences& p);
// Applies the theme to the running application: "dark" is Fusion with a dark palette, "light"
// Fusion with its standard palette, "system" the platform's own style and palette.
void ApplyTheme(const QString& theme);

// The recently opened files, newest first (at most 10).
QStringList RecentFiles();
// Puts `path` first in the recent files.
void AddRecentFile(const QString& path);
// The main window's saved geometry and state; empty when none.
QByteArray WindowGeometry();
QByteArray WindowState();
void SaveWindowState(const QByteArray& geometry, const QByteArray& state);

}  // namespace kestrum
