// app_bench BOOK [RUNS]: the desktop window's response times on a copy of BOOK, offscreen, with
// autosave on: process start to the empty window painted and to the first painted outline of
// the current month; period, grouping and account switches and an editor's save to the
// repainted lists; search keystrokes; and the longest the GUI thread went without turning its
// event loop (a 5 ms timer's largest gap). Prints medians.
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QItemSelectionModel>
#include <QTimer>
#include <QTreeView>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "app/account_model.h"
#include "app/main_window.h"
#include "app/outline_model.h"
#include "app/texts.h"
#include "collections/node.h"
#include "editors/transaction_edit_model.h"
#include "platform/localization.h"

namespace {

// Milliseconds since the process started (the kernel's start time of this process).
double SinceProcessStart() {
  std::ifstream stat("/proc/self/stat");
  std::string field;
  for (int i = 0; i < 22 && stat >> field; ++i) {
  }
  const double start = std::stod(field) / static_cast<double>(sysconf(_SC_CLK_TCK));
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return (static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9 - start) * 1000;
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Waits for the window's next viewsReloaded (at most 60 s).
void WaitReloaded(kestrum::MainWindow& w) {
  QEventLoop loop;
  QObject::connect(&w, &kestrum::MainWindow::viewsReloaded, &loop, &QEventLoop::quit);
  QTimer::singleShot(60000, &loop, &QEventLoop::quit);
  loop.exec();
}

// Turns the event loop for `ms` milliseconds, as the time between a user's actions does.
void Pause(int ms) {
  QEventLoop loop;
  QTimer::singleShot(ms, &loop, &QEventLoop::quit);
  loop.exec();
}

void Repaint(kestrum::MainWindow& w) {
  w.outlineView()->viewport()->repaint();
  w.sidebarView()->viewport()->repaint();
}

// The largest gap between ticks of a 5 ms timer while it runs.
class StallMonitor {
 public:
  StallMonitor() {
    timer_.setInterval(5);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
      const double now = clock_.nsecsElapsed() / 1e6;
      worst_ = std::max(worst_, now - last_);
      last_ = now;
    });
    clock_.start();
    timer_.start();
  }
  double worst() const { return worst_; }
  // Starts a new phase: the worst gap counts from now.
  void reset() {
    last_ = clock_.nsecsElapsed() / 1e6;
    worst_ = 0;
  }

 private:
  QTimer timer_;
  QElapsedTimer clock_;
  double last_ = 0, worst_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: app_bench BOOK [RUNS]\n");
    return 2;
  }
  // The window saves what it changes: it works on a copy, made before the process that is
  // timed starts (the copy is made, then the program runs itself again on it).
  const char* copy_env = std::getenv("KESTRUM_APP_BENCH_COPY");
  if (copy_env == nullptr) {
    const std::string made = "/tmp/kestrum-app-bench-" + std::to_string(getpid()) + ".kestrum";
    if (!QFile::copy(QString::fromLocal8Bit(argv[1]), QString::fromStdString(made))) {
      std::fprintf(stderr, "cannot copy %s\n", argv[1]);
      return 1;
    }
    setenv("KESTRUM_APP_BENCH_COPY", made.c_str(), 1);
    // A child process of its own, so that its start time is the timed one.
    const pid_t child = fork();
    if (child == 0) {
      execv("/proc/self/exe", argv);
      std::perror("execv");
      _exit(1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    QFile::remove(QString::fromStdString(made));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  }
  const std::string copy = copy_env;
  const double at_main = SinceProcessStart();
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  // RUNS 0: only the open (process start to the first painted outline).
  const int runs = argc > 2 ? std::max(0, std::atoi(argv[2])) : 7;
  QApplication app(argc, argv);
  vemra::platform::SetLanguage("en");
  kestrum::RegisterAppTexts();
  StallMonitor stalls;   // reset for each timed action
  StallMonitor overall;  // from the open's end to the last action

  auto* window = new kestrum::MainWindow;
  window->show();
  QApplication::processEvents();
  window->repaint();
  const double empty_painted = SinceProcessStart();
  window->openFile(QString::fromStdString(copy));
  WaitReloaded(*window);
  Repaint(*window);
  const double outline_painted = SinceProcessStart();
  const double open_stall = stalls.worst();
  stalls.reset();
  overall.reset();

  std::vector<double> period, grouping, account, keystroke, edit;
  QElapsedTimer t;
  // The longest stall seen during each kind of action.
  std::map<std::string, double> stall_during;
  auto timed = [&](std::vector<double>& into, const char* kind, auto&& action) {
    stalls.reset();
    t.start();
    action();
    WaitReloaded(*window);
    Repaint(*window);
    into.push_back(t.nsecsElapsed() / 1e6);
    stall_during[kind] = std::max(stall_during[kind], stalls.worst());
  };
  for (int run = 0; run < runs; ++run) {
    timed(period, "period", [&] { window->movePeriod(-1); });
    timed(period, "period", [&] { window->movePeriod(1); });
    timed(grouping, "grouping", [&] { window->setGroupBy(3); });
    timed(grouping, "grouping", [&] { window->setGroupBy(2); });
    const int rows = window->accountModel()->flatCount();
    for (int flat : {rows - 1, 0}) {
      timed(account, "account", [&] {
        QModelIndex index = window->accountModel()->indexOfFlat(flat);
        window->sidebarView()->selectionModel()->select(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
      });
    }
    // Typing a search word one character at a time, then clearing it.
    stalls.reset();
    for (const char* text : {"G", "Gr", "Gro", "Groc", ""}) {
      t.start();
      window->setSearchText(QString::fromLatin1(text));
      window->outlineView()->viewport()->repaint();  // the search changes only the outline
      keystroke.push_back(t.nsecsElapsed() / 1e6);
      Pause(20);
      if (std::getenv("KESTRUM_APP_BENCH_VERBOSE") != nullptr) {
        std::printf("  keystroke \"%s\": %.2f ms\n", text, keystroke.back());
      }
    }
    stall_during["search"] = std::max(stall_during["search"], stalls.worst());
    // An editor's save of a transaction of the month, to both lists repainted.
    uint64_t id = 0;
    std::function<void(const vemra::lists::Node&)> find = [&](const vemra::lists::Node& n) {
      for (const auto& c : n.FilteredNodes) {
        if (id == 0 && c->Type == vemra::NodeType::Transaction && !c->Transaction->IsGhost) {
          id = c->ID;
        }
        find(*c);
      }
    };
    find(*window->outlineModel()->root());
    if (id != 0) {
      stalls.reset();
      vemra::editors::TransactionEditModel editor(window->document(), id);
      Pause(20);
      stall_during["editor open"] = std::max(stall_during["editor open"], stalls.worst());
      editor.setComment(L"bench " + std::to_wstring(run));
      timed(edit, "editor save", [&] { editor.save(); });
    }
  }
  std::printf("process start to main(): %.0f ms\n", at_main);
  std::printf("process start to empty window painted: %.0f ms\n", empty_painted);
  std::printf("process start to first painted outline: %.0f ms (%d rows at the top level)\n",
              outline_painted, window->outlineModel()->rowCount());
  if (runs == 0) {
    QDir(QString::fromStdString(window->document().cacheFolder())).removeRecursively();
    delete window;
    return 0;
  }
  std::printf("period switch: median %.1f ms\n", Median(period));
  std::printf("grouping switch: median %.1f ms\n", Median(grouping));
  std::printf("account switch: median %.1f ms\n", Median(account));
  std::printf("search keystroke: median %.2f ms, worst %.2f ms\n", Median(keystroke),
              *std::max_element(keystroke.begin(), keystroke.end()));
  std::printf("editor save to repainted lists: median %.1f ms\n", Median(edit));
  std::printf("longest GUI-thread stall: %.0f ms while opening, %.0f ms after it", open_stall,
              overall.worst());
  for (const auto& [kind, worst] : stall_during)
    std::printf(", %.0f ms in %s", worst, kind.c_str());
  std::printf("\n");
  const QString cache = QString::fromStdString(window->document().cacheFolder());
  delete window;
  QDir(cache).removeRecursively();  // the backup copy and parts of this run's copy
  return 0;
}
