#include "platform/localization.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace vemra::platform {
namespace {

struct Entry {
  const char* en;
  const char* ru;
};

const std::map<int, Entry>& Table() {
  static const std::map<int, Entry> kTable = {
      {1, {"OK", "OK"}},
      {2, {"Cancel", "Отмена"}},
      {37, {"add", "добавление"}},
      {38, {"edit", "изменение"}},
      {39, {"delete", "удаление"}},
      {40, {"import", "импорт"}},
      {41, {"reconciliation", "сверка"}},
      {100, {"January", "Январь"}},
      {101, {"February", "Февраль"}},
      {102, {"March", "Март"}},
      {103, {"April", "Апрель"}},
      {104, {"May", "Май"}},
      {105, {"June", "Июнь"}},
      {106, {"July", "Июль"}},
      {107, {"August", "Август"}},
      {108, {"September", "Сентябрь"}},
      {109, {"October", "Октябрь"}},
      {110, {"November", "Ноябрь"}},
      {111, {"December", "Декабрь"}},
      {1052, {"Can't open file", "Не удаётся открыть файл"}},
      {1058, {"Invalid password", "Неверный пароль"}},
      {1107,
       {"Version mismatch. Update data base file first.",
        "Версии не совпадают. Сначала обновите файл базы данных."}},
      {1108,
       {"Data base ID mismatch, sync impossible.",
        "Идентификаторы баз данных не совпадают, синхронизация невозможна."}},
      {1109,
       {"This is not a valid Kestrum data base file.",
        "Этот файл не является базой данных Kestrum."}},
      {1111, {"Update failed.", "Обновление не удалось."}},
      {1112,
       {"Can't create backup file. Update failed.",
        "Не удаётся создать резервную копию. Обновление не удалось."}},
      {1113,
       {"Data base version too old. Update impossible.",
        "Версия базы данных слишком старая. Обновление невозможно."}},
      {1114,
       {"Unknown data base version. Update software to latest version to open this file.",
        "Неизвестная версия базы данных. Обновите программу, чтобы открыть этот файл."}},
      {15001, {"Password", "Пароль"}},
      {16002, {"Password check", "Проверка пароля"}},
      {17021, {"Current week is odd", "Текущая неделя нечётная"}},
      {17022, {"Current week is even", "Текущая неделя чётная"}},
  };
  return kTable;
}

std::atomic<bool> g_russian{false};

std::shared_mutex g_added_mutex;
std::map<int, Entry>& Added() {
  static std::map<int, Entry> added;
  return added;
}

}  // namespace

std::string PreferredLanguage() {
  std::string value;
  if (const char* language = std::getenv("LANGUAGE"); language != nullptr) {
    value = language;
    value = value.substr(0, value.find(':'));
  }
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (!value.empty()) break;
    if (const char* v = std::getenv(name); v != nullptr) value = v;
  }
  if (value.empty() || value == "C" || value == "POSIX" || value.rfind("C.", 0) == 0) return "en";
  return value;
}

std::string_view TableLanguage(std::string_view language) {
  std::string_view two = language.substr(0, 2);
  return two == "ru" || two == "uk" ? "ru" : "en";
}

void SetLanguage(std::string_view language) {
  g_russian = TableLanguage(language) == "ru";
}

std::string_view Language() {
  return g_russian ? "ru" : "en";
}

std::string Text(int key, std::string_view language) {
  Entry entry{};
  if (auto it = Table().find(key); it != Table().end()) {
    entry = it->second;
  } else {
    std::shared_lock lock(g_added_mutex);
    auto added = Added().find(key);
    if (added == Added().end()) return {};
    entry = added->second;
  }
  const char* text = TableLanguage(language) == "ru" && entry.ru != nullptr ? entry.ru : entry.en;
  return text != nullptr ? text : "";
}

void AddTexts(const TextEntry* entries, size_t count) {
  std::unique_lock lock(g_added_mutex);
  for (size_t i = 0; i < count; ++i) {
    if (Table().count(entries[i].key) == 0)
      Added()[entries[i].key] = {entries[i].en, entries[i].ru};
  }
}

std::string Text(int key) {
  return Text(key, Language());
}

NumberSeparators Separators() {
  if (g_russian) return {"\u00A0", ","};
  return {",", "."};
}

}  // namespace vemra::platform
