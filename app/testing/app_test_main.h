// The app's QtTest classes register themselves here; app_test runs every one of them (or those
// named on its command line: app_test ClassName…) under one QApplication.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

namespace kestrum::testing {

// Adds a test class to the run; returns true so that it can initialise a static.
bool RegisterTestClass(const char* name, std::function<std::unique_ptr<QObject>()> make);

}  // namespace kestrum::testing

#define KESTRUM_APP_TEST(Class)                                               \
  static const bool Class##_registered = kestrum::testing::RegisterTestClass( \
      #Class, [] { return std::unique_ptr<QObject>(new Class); })
