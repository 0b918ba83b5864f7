#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/localization.h"
#include "platform/paths.h"
#include "platform/serial_queue.h"

namespace vemra::platform {
namespace {

TEST(SerialQueueTest, RunsTasksInSubmissionOrderOnOneNamedThread) {
  std::vector<int> order;
  std::string name;
  {
    SerialQueue queue("data base queue");
    EXPECT_FALSE(queue.OnQueue());
    for (int i = 0; i < 100; ++i) queue.Submit([&order, i] { order.push_back(i); });
    queue.Sync([&] {
      char buffer[16] = {};
      pthread_getname_np(pthread_self(), buffer, sizeof buffer);
      name = buffer;
      // A Sync from the queue itself runs at once instead of waiting for itself.
      queue.Sync([&] { order.push_back(100); });
      EXPECT_TRUE(queue.OnQueue());
    });
    // Tasks still queued when the queue goes run first.
    queue.Submit([&order] { order.push_back(101); });
  }
  ASSERT_EQ(order.size(), 102u);
  for (int i = 0; i < 102; ++i) EXPECT_EQ(order[i], i);
  EXPECT_EQ(name, "data base queue");
}

TEST(PathsTest, HashesCanonicalPathsAndFollowXdgVariables) {
  EXPECT_EQ(Fnv1a64(""), 14695981039346656037ULL);
  EXPECT_EQ(Fnv1a64("a"), 12638187200555641996ULL);
  EXPECT_EQ(Fnv1a64("/home/u/Home.kestrum"), 11856878676204716350ULL);
  ::setenv("XDG_CACHE_HOME", "/x/cache", 1);
  EXPECT_EQ(CacheFolderFor("/home/u/./Home.kestrum"), "/x/cache/kestrum/11856878676204716350");
  ::setenv("XDG_CACHE_HOME", "relative", 1);  // not absolute: ignored
  ::setenv("HOME", "/home/u", 1);
  EXPECT_EQ(CacheRoot(), "/home/u/.cache/kestrum");
  ::unsetenv("XDG_CACHE_HOME");
  std::string reason;
  EXPECT_FALSE(MakeFolders("/proc/no/such", &reason));
  EXPECT_FALSE(reason.empty());
}

TEST(LocalizationTest, PreferredLanguageTakesTheFirstSetVariable) {
  struct Case {
    const char* language;
    const char* lc_all;
    const char* lang;
    const char* preferred;
    const char* table;
  };
  const Case kCases[] = {
      {"uk:en", "de_DE", "en_US", "uk", "ru"},
      {nullptr, "ru_RU.UTF-8", "en", "ru_RU.UTF-8", "ru"},
      {"", "", "en_GB.UTF-8", "en_GB.UTF-8", "en"},
      {nullptr, "C", "ru", "en", "en"},
      {nullptr, nullptr, "POSIX", "en", "en"},
      {nullptr, nullptr, nullptr, "en", "en"},
  };
  for (const Case& c : kCases) {
    auto set = [](const char* name, const char* value) {
      value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    set("LANGUAGE", c.language);
    set("LC_ALL", c.lc_all);
    ::unsetenv("LC_MESSAGES");
    set("LANG", c.lang);
    EXPECT_EQ(PreferredLanguage(), c.preferred);
    EXPECT_EQ(TableLanguage(PreferredLanguage()), c.table);
  }
}

}  // namespace
}  // namespace vemra::platform
