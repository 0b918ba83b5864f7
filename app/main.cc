// kestrum: the desktop app. `kestrum [FILE…]` opens each book in a window of its own (a new
// untitled book when none is given). `kestrum --smoke PNG FILE` opens FILE, waits for both
// lists, saves a picture of the window to PNG, prints the row counts and exits 0, or 1 when the
// sidebar or the outline shows no rows (the test of a build under a display server).
#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <QLibraryInfo>
#include <QTimer>
#include <QTranslator>
#include <QTreeView>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/account_model.h"
#include "app/app_settings.h"
#include "app/main_window.h"
#include "app/outline_model.h"
#include "app/texts.h"
#include "document/document.h"
#include "platform/localization.h"

namespace {

int SmokeRun(const QString& png, const QString& file) {
  auto* window = new kestrum::MainWindow;
  window->setQuiet(true);
  window->openFile(file);
  window->show();
  QObject::connect(window, &kestrum::MainWindow::opened, [](bool ok) {
    if (!ok) QApplication::exit(1);
  });
  QObject::connect(window, &kestrum::MainWindow::viewsReloaded, window, [window, png] {
    // Let the window paint once more with the rows in place before taking the picture.
    QTimer::singleShot(200, window, [window, png] {
      const int sidebar = window->accountModel()->flatCount();
      const int outline = window->outlineModel()->rowCount();
      std::printf("smoke: sidebar %d rows, outline %d rows\n", sidebar, outline);
      std::fflush(stdout);
      const bool saved = window->grab().save(png, "PNG");
      if (!saved) std::fprintf(stderr, "smoke: could not write %s\n", qPrintable(png));
      QApplication::exit(sidebar > 0 && outline > 0 && saved ? 0 : 1);
    });
  });
  QTimer::singleShot(60000, [] {
    std::fprintf(stderr, "smoke: the lists did not load within 60 s\n");
    QApplication::exit(1);
  });
  return QApplication::exec();
}

}  // namespace

constexpr char kUsage[] =
    "usage: kestrum [FILE...]          open each book in a window (none: a new book)\n"
    "       kestrum --smoke PNG FILE   open FILE, save a picture of the window, exit\n"
    "       kestrum --help | --version\n";

int main(int argc, char** argv) {
  // Help and version need no display.
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (arg == "--version" || arg == "-v") {
      std::printf("kestrum %s\n", KESTRUM_VERSION);
      return 0;
    }
  }
  if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr &&
      std::getenv("QT_QPA_PLATFORM") == nullptr) {
    std::fputs(
        "kestrum: no display (DISPLAY and WAYLAND_DISPLAY are not set); "
        "kestrum-cli works without one\n",
        stderr);
    return 1;
  }
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("kestrum"));
  QApplication::setApplicationDisplayName(QStringLiteral("Kestrum"));
  QApplication::setApplicationVersion(QStringLiteral(KESTRUM_VERSION));
  QApplication::setDesktopFileName(QStringLiteral("kestrum"));
  QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("kestrum")));

  const kestrum::Preferences preferences = kestrum::LoadPreferences();
  const std::string language = kestrum::LanguageOf(preferences);
  vemra::platform::SetLanguage(language);
  kestrum::RegisterAppTexts();
  kestrum::ApplyTheme(preferences.theme);
  // Qt's own dialog texts, when qt6-translations-l10n is installed.
  QTranslator qt_texts;
  if (language == "ru" && qt_texts.load(QStringLiteral("qtbase_ru"),
                                        QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QApplication::installTranslator(&qt_texts);
  }

  QCommandLineParser parser;
  QCommandLineOption smoke(QStringLiteral("smoke"),
                           QStringLiteral("Open FILE, save a picture of the window to PNG, exit."),
                           QStringLiteral("PNG"));
  parser.addOption(smoke);
  parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("Databases to open."),
                               QStringLiteral("[FILE…]"));
  if (!parser.parse(QApplication::arguments())) {
    std::fprintf(stderr, "kestrum: %s\n%s", qPrintable(parser.errorText()), kUsage);
    return 2;
  }
  const QStringList files = parser.positionalArguments();

  if (parser.isSet(smoke)) {
    if (files.size() != 1) {
      std::fputs(kUsage, stderr);
      return 2;
    }
    return SmokeRun(parser.value(smoke), files.front());
  }
  if (files.isEmpty()) {
    auto* window = new kestrum::MainWindow;
    window->newDocument();
    window->show();
  }
  for (const QString& file : files) kestrum::MainWindow::OpenWindow(file);
  return QApplication::exec();
}
