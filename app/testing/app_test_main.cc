#include "app/testing/app_test_main.h"

#include <unistd.h>

#include <QApplication>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "app/texts.h"

namespace kestrum::testing {
namespace {

std::vector<std::pair<std::string, std::function<std::unique_ptr<QObject>()>>>& Classes() {
  static std::vector<std::pair<std::string, std::function<std::unique_ptr<QObject>()>>> classes;
  return classes;
}

}  // namespace

bool RegisterTestClass(const char* name, std::function<std::unique_ptr<QObject>()> make) {
  Classes().emplace_back(name, std::move(make));
  return true;
}

}  // namespace kestrum::testing

int main(int argc, char** argv) {
  // The tests keep their settings, caches and logs in a folder of their own.
  std::string home = "/tmp/kestrum-app-test-" + std::to_string(getpid());
  setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
  setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
  setenv("XDG_STATE_HOME", (home + "/state").c_str(), 1);
  if (getenv("QT_QPA_PLATFORM") == nullptr) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  kestrum::RegisterAppTexts();
  std::vector<std::string> wanted(argv + 1, argv + argc);
  int failed = 0;
  for (auto& [name, make] : kestrum::testing::Classes()) {
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), name) == wanted.end()) continue;
    std::unique_ptr<QObject> test = make();
    char* args[] = {argv[0]};
    failed += QTest::qExec(test.get(), 1, args);
  }
  std::string cleanup = "rm -rf '" + home + "'";
  if (std::system(cleanup.c_str()) != 0)
    std::fprintf(stderr, "could not remove %s\n", home.c_str());
  return failed == 0 ? 0 : 1;
}
