#include "app/app_settings.h"

#include <QApplication>
#include <QStyle>
#include <QStyleFactory>

#include "app/view_colors.h"
#include "import/quotes.h"
#include "platform/localization.h"
#include "platform/settings.h"

namespace kestrum {
namespace {

constexpr char kLanguageKey[] = "com.vemra.kestrum.language";
constexpr char kThemeKey[] = "com.vemra.kestrum.theme";
constexpr char kAutosaveKey[] = "com.vemra.kestrum.autosave";
constexpr char kRecentKey[] = "com.vemra.kestrum.recent_files";
constexpr char kGeometryKey[] = "com.vemra.kestrum.window_geometry";
constexpr char kStateKey[] = "com.vemra.kestrum.window_state";
constexpr int kMaxRecent = 10;

QString StringAt(const nlohmann::json& j, const char* key, const QString& fallback) {
  auto it = j.find(key);
  return it != j.end() && it->is_string() ? QString::fromStdString(it->get<std::string>())
                                          : fallback;
}

QByteArray BytesAt(const char* key) {
  return QByteArray::fromBase64(StringAt(vemra::platform::Settings().Read(), key, {}).toLatin1());
}

}  // namespace

Preferences LoadPreferences() {
  const nlohmann::json j = vemra::platform::Settings().Read();
  Preferences p;
  p.language = StringAt(j, kLanguageKey, p.language);
  if (p.language != "en" && p.language != "ru") p.language = QStringLiteral("system");
  p.theme = StringAt(j, kThemeKey, p.theme);
  if (p.theme != "light" && p.theme != "dark") p.theme = QStringLiteral("system");
  if (auto it = j.find(kAutosaveKey); it != j.end() && it->is_boolean()) p.autosave = *it;
  p.quotes_host = StringAt(j, vemra::import::kQuotesHostKey, {});
  return p;
}

bool SavePreferences(const Preferences& p) {
  return vemra::platform::Settings().Update([&](nlohmann::json& j) {
    j[kLanguageKey] = p.language.toStdString();
    j[kThemeKey] = p.theme.toStdString();
    j[kAutosaveKey] = p.autosave;
    if (p.quotes_host.trimmed().isEmpty()) {
      j.erase(vemra::import::kQuotesHostKey);
    } else {
      j[vemra::import::kQuotesHostKey] = p.quotes_host.trimmed().toStdString();
    }
  });
}

std::string LanguageOf(const Preferences& p) {
  if (p.language == "en" || p.language == "ru") return p.language.toStdString();
  return std::string(vemra::platform::TableLanguage(vemra::platform::PreferredLanguage()));
}

void ApplyTheme(const QString& theme) {
  static const QString kSystemStyle = QApplication::style()->name();
  static const QPalette kSystemPalette = QApplication::palette();
  if (theme == "dark") {
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(DarkPalette());
  } else if (theme == "light") {
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(QApplication::style()->standardPalette());
  } else {
    QApplication::setStyle(QStyleFactory::create(kSystemStyle));
    QApplication::setPalette(kSystemPalette);
  }
}

QStringList RecentFiles() {
  const nlohmann::json j = vemra::platform::Settings().Read();
  QStringList files;
  if (auto it = j.find(kRecentKey); it != j.end() && it->is_array()) {
    for (const auto& f : *it) {
      if (f.is_string()) files << QString::fromStdString(f.get<std::string>());
    }
  }
  return files;
}

void AddRecentFile(const QString& path) {
  QStringList files = RecentFiles();
  files.removeAll(path);
  files.prepend(path);
  while (files.size() > kMaxRecent) files.removeLast();
  vemra::platform::Settings().Update([&](nlohmann::json& j) {
    nlohmann::json list = nlohmann::json::array();
    for (const QString& f : files) list.push_back(f.toStdString());
    j[kRecentKey] = list;
  });
}

QByteArray WindowGeometry() {
  return BytesAt(kGeometryKey);
}

QByteArray WindowState() {
  return BytesAt(kStateKey);
}

void SaveWindowState(const QByteArray& geometry, const QByteArray& state) {
  vemra::platform::Settings().Update([&](nlohmann::json& j) {
    j[kGeometryKey] = geometry.toBase64().toStdString();
    j[kStateKey] = state.toBase64().toStdString();
  });
}

}  // namespace kestrum
