// The chart widget's drawing, axes and tooltips, and the charts pane over a generated book
// adding up as the sidebar and the outline do.
#include "app/chart_widget.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>
#include <cmath>
#include <memory>

#include "app/charts_pane.h"
#include "app/testing/app_test_main.h"
#include "app/view_colors.h"
#include "generator/generator.h"
#include "lists/account_list.h"
#include "lists/period_selection.h"
#include "lists/transaction_list.h"

namespace kestrum {
namespace {

QString Money(double v) {
  return QStringLiteral("$%1").arg(v, 0, 'f', 2);
}

QDate ToQDate(vemra::ADate d) {
  return QDate(1970, 1, 1).addDays(d.Val);
}

// How many pixels of `image` are close to `colour`, and how many stand out from `base` with
// a contrast of at least 3 (readable marks and text).
std::pair<int, int> Inks(const QImage& image, const QColor& colour, const QColor& base) {
  int near = 0, readable = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor c = image.pixelColor(x, y);
      near += std::abs(c.red() - colour.red()) + std::abs(c.green() - colour.green()) +
                  std::abs(c.blue() - colour.blue()) <
              24;
      readable += Contrast(c, base) >= 3;
    }
  }
  return {near, readable};
}

}  // namespace

class ChartWidgetTest : public QObject {
  Q_OBJECT

 private:
  std::unique_ptr<vemra::Document> document_;
  vemra::ADate today_;

 private Q_SLOTS:
  void init() {
    document_ = std::make_unique<vemra::Document>();
    today_ = vemra::TodayADate();
    document_->Sync([&] { vemra::GenerateBook(document_->database(), 3000, 5, today_); });
    document_->setCurrentUser(0);
    vemra::lists::SetPeriod(
        *document_,
        vemra::lists::PeriodOf(vemra::lists::PeriodKind::Quarter, today_, 0, today_, today_), "en");
  }
  void cleanup() { document_.reset(); }

  // Line, bars (a negative one too) and the empty text draw readable marks in the palette's
  // colours on a light and a dark palette, at device pixel ratios 1 and 2.
  void drawsOnLightAndDarkPalettes() {
    QPalette light(Qt::black, Qt::white);
    light.setColor(QPalette::Base, Qt::white);
    light.setColor(QPalette::Text, Qt::black);
    light.setColor(QPalette::Highlight, QColor(30, 90, 200));
    enum Kind { kLine, kBars, kEmpty };
    for (const QPalette& palette : {light, DarkPalette()}) {
      for (Kind kind : {kLine, kBars, kEmpty}) {
        for (qreal ratio : {1.0, 2.0}) {
          ChartWidget chart;
          chart.setPalette(palette);
          chart.resize(420, 220);
          chart.setEmptyText(QStringLiteral("Nothing here"));
          if (kind == kLine) {
            chart.setLine(
                {{QDate(2026, 1, 1), -40}, {QDate(2026, 2, 1), 10}, {QDate(2026, 6, 30), 95}},
                Money);
          } else if (kind == kBars) {
            chart.setBars({{QStringLiteral("Food"), 120}, {QStringLiteral("Refunds"), -30}}, Money);
          }
          QImage image(chart.size() * ratio, QImage::Format_ARGB32);
          image.setDevicePixelRatio(ratio);
          chart.render(&image);
          const auto [accent, readable] =
              Inks(image, palette.color(QPalette::Highlight), palette.color(QPalette::Base));
          const QString what =
              QStringLiteral("kind %1 ratio %2").arg(static_cast<int>(kind)).arg(ratio);
          QVERIFY2(readable > 50 * ratio * ratio, qPrintable(what));  // labels, text, marks
          QVERIFY2((accent > 200 * ratio * ratio) == (kind != kEmpty), qPrintable(what));
        }
      }
    }
  }

  // The tooltip of a point names its date and value, a bar's its label and value, nothing
  // outside; a mouse move over the widget shows it.
  void tooltipsNameTheirPoint() {
    ChartWidget line;
    line.resize(500, 240);
    const std::vector<ChartWidget::Point> points = {
        {QDate(2026, 11, 1), 10}, {QDate(2026, 11, 2), -5.5}, {QDate(2026, 11, 9), 30}};
    line.setLine(points, Money);
    const QLocale locale(QLocale::English, QLocale::UnitedStates);
    for (int i = 0; i < 3; ++i) {
      QCOMPARE(line.toolTipAt(line.positionOf(i)),
               locale.toString(points[i].first, QLocale::LongFormat) + QStringLiteral(": ") +
                   Money(points[i].second));
    }
    QVERIFY(line.toolTipAt(QPoint(2, 2)).isEmpty());
    // Days 1 and 2 lie close together, day 9 far right: between them the nearer one counts.
    const QPoint a = line.positionOf(1), b = line.positionOf(2);
    QVERIFY(line.toolTipAt(QPoint(a.x() + (b.x() - a.x()) / 3, a.y())).endsWith(Money(-5.5)));

    ChartWidget bars;
    bars.resize(400, 200);
    bars.setBars({{QStringLiteral("Groceries"), 120}, {QStringLiteral("Fuel"), 40}}, Money);
    QCOMPARE(bars.toolTipAt(bars.positionOf(0)), QStringLiteral("Groceries: $120.00"));
    QCOMPARE(bars.toolTipAt(bars.positionOf(1)), QStringLiteral("Fuel: $40.00"));
    QVERIFY(bars.toolTipAt(QPoint(200, 199)).isEmpty());  // below the last row

    bars.show();
    QVERIFY(QTest::qWaitForWindowExposed(&bars));
    const QPoint at = bars.positionOf(1);
    QMouseEvent move(QEvent::MouseMove, at, bars.mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&bars, &move);
    QTRY_COMPARE(QToolTip::text(), QStringLiteral("Fuel: $40.00"));
    QToolTip::hideText();
  }

  // Value ticks are equal round steps covering the range; date labels take the finest round
  // step that fits.
  void axesAreRound() {
    const std::pair<double, double> ranges[] = {
        {0, 97}, {-12.3, 40}, {1234567, 1234567}, {-0.004, -0.001}, {250, 1e6}};
    for (auto [low, high] : ranges) {
      const std::vector<double> ticks = ChartWidget::ValueTicks(low, high);
      QVERIFY(ticks.size() >= 3 && ticks.size() <= 7);
      QVERIFY(ticks.front() <= low && ticks.back() >= high);
      const double step = ticks[1] - ticks[0];
      const double mantissa = step / std::pow(10.0, std::floor(std::log10(step)));
      QVERIFY2(std::abs(mantissa - 1) < 1e-6 || std::abs(mantissa - 2) < 1e-6 ||
                   std::abs(mantissa - 2.5) < 1e-6 || std::abs(mantissa - 5) < 1e-6,
               qPrintable(QString::number(step)));
      for (size_t i = 1; i < ticks.size(); ++i)
        QVERIFY(std::abs(ticks[i] - ticks[i - 1] - step) < step * 1e-9);
    }
    struct Case {
      QDate first, last;
      int most;
      QDate label;  // the first label
      int count;
      QString format;
    };
    const Case cases[] = {
        {QDate(2026, 11, 25), QDate(2026, 11, 25), 5, QDate(2026, 11, 25), 1, "d MMM"},
        {QDate(2026, 11, 1), QDate(2026, 11, 30), 6, QDate(2026, 11, 2), 5, "d MMM"},  // Mondays
        {QDate(2024, 1, 1), QDate(2026, 11, 25), 6, QDate(2024, 1, 1), 6, "MMM yyyy"},
        {QDate(1990, 3, 5), QDate(2026, 11, 25), 8, QDate(1995, 1, 1), 7, "yyyy"},  // fives
        {QDate(2026, 1, 2), QDate(2026, 1, 31), 1, QDate(2026, 1, 2), 1, "d MMM yyyy"},
    };
    for (const Case& c : cases) {
      QString format;
      const std::vector<QDate> dates = ChartWidget::DateTicks(c.first, c.last, c.most, &format);
      QCOMPARE(static_cast<int>(dates.size()), c.count);
      QCOMPARE(dates.front(), c.label);
      QCOMPARE(format, c.format);
    }
  }

  // The pane's line is the engine's balance series ending today on the sidebar's balance,
  // its bars add up to the outline's Expenses total; only the latest of two reloads shows,
  // and a hidden pane waits until it shows.
  void paneAddsUpAsTheSidebarAndOutline() {
    vemra::lists::Rows rows;
    double expenses = 0;
    uint64_t account = 0, account_currency = 0;
    document_->Sync([&] {
      vemra::Book& book = document_->database();
      rows = vemra::lists::AccountList::BuildRows(book);
      auto root =
          vemra::lists::TransactionList::BuildRoot(book, false, vemra::GroupBy::Category, 0, {});
      for (const auto& h : root->FilteredNodes) {
        if (h->Type == vemra::NodeType::ExpenseHeader) expenses = h->Amount;
      }
    });
    for (const auto& row : rows) {
      if (row->Type == vemra::NodeType::Account && row->CurrencyID != rows[0]->CurrencyID) {
        account = row->ID;
        account_currency = row->CurrencyID;
        break;
      }
    }
    QVERIFY(account != 0 && expenses < 0);
    auto today_balance = [&](ChartWidget* chart) {
      for (const auto& [date, value] : chart->line()) {
        if (date == ToQDate(today_)) return value;
      }
      return std::nan("");
    };
    auto near = [](double a, double b) {
      return std::abs(a - b) <= 1e-6 * std::max(1.0, std::abs(b));
    };

    ChartsPane pane(*document_);
    pane.resize(700, 320);
    QSignalSpy reloaded(&pane, &ChartsPane::reloaded);
    pane.reload({}, 0);
    document_->Sync([] {});
    QCoreApplication::processEvents();
    QCOMPARE(reloaded.count(), 0);  // hidden: nothing computed yet
    pane.show();
    QVERIFY(reloaded.wait(10000));
    ChartWidget* line = pane.balanceChart();
    QVERIFY(line->count() > 80);  // a quarter, a point a day
    QVERIFY2(near(today_balance(line), rows[0]->Balance),
             qPrintable(QStringLiteral("%1 vs %2").arg(today_balance(line)).arg(rows[0]->Balance)));
    double sum = 0;
    for (const auto& bar : pane.spendingChart()->bars()) sum += bar.second;
    QVERIFY(pane.spendingChart()->count() <= ChartsPane::kMostBars);
    QVERIFY2(near(sum, -expenses), qPrintable(QStringLiteral("%1 vs %2").arg(sum).arg(-expenses)));

    // Two reloads in a row: only the second one's series arrive.
    reloaded.clear();
    pane.reload({}, 0);
    pane.reload({account}, account_currency);
    QVERIFY(reloaded.wait(10000));
    document_->Sync([] {});
    QTest::qWait(50);
    QCOMPARE(reloaded.count(), 1);
    double sidebar = 0;
    for (const auto& row : rows) {
      if (row->Type == vemra::NodeType::Account && row->ID == account) sidebar = row->Balance;
    }
    QVERIFY(near(today_balance(line), sidebar));
  }
};

KESTRUM_APP_TEST(ChartWidgetTest);

}  // namespace kestrum

#include "chart_widget_test.moc"
