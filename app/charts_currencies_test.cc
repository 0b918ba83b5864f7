// The chart widget's drawing and tooltips, the charts pane over a generated book, and the
// currencies window's models under Qt's model tester.
#include <QAbstractItemModelTester>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QSortFilterProxyModel>
#include <QTest>

#include "app/chart_widget.h"
#include "app/charts_pane.h"
#include "app/currencies_window.h"
#include "app/currency_dialog.h"
#include "app/currency_list_model.h"
#include "app/testing/app_test_main.h"
#include "app/view_colors.h"
#include "generator/generator.h"
#include "lists/period_selection.h"

namespace kestrum {

class ChartsCurrenciesTest : public QObject {
  Q_OBJECT

 private:
  std::unique_ptr<vemra::Document> document_;

  // Whether `chart` paints something besides its background at device pixel ratio `ratio`.
  static bool PaintsInk(ChartWidget& chart, qreal ratio) {
    QImage image(chart.size() * ratio, QImage::Format_ARGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    chart.render(&image);
    const QRgb base = chart.palette().color(QPalette::Base).rgb();
    for (int y = 0; y < image.height(); y += 2) {
      for (int x = 0; x < image.width(); x += 2) {
        if (image.pixel(x, y) != base) return true;
      }
    }
    return false;
  }

 private Q_SLOTS:
  void init() {
    document_ = std::make_unique<vemra::Document>();
    const vemra::ADate today = vemra::MakeADate(2026, 10, 24);
    document_->Sync([&] { vemra::GenerateBook(document_->database(), 500, 9, today); });
    document_->setCurrentUser(0);
    vemra::lists::SetPeriod(
        *document_,
        vemra::lists::PeriodOf(vemra::lists::PeriodKind::Quarter, today, 0, today, today), "en");
  }
  void cleanup() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    document_.reset();
  }

  // Lines and bars draw on light and dark palettes at two pixel ratios; the tooltip names the
  // point or bar under the mouse.
  void chartWidget() {
    auto money = [](double v) { return QStringLiteral("$%1").arg(v, 0, 'f', 2); };
    for (const QPalette& palette : {QPalette(Qt::white), DarkPalette()}) {
      ChartWidget line;
      line.setPalette(palette);
      line.resize(400, 200);
      line.setEmptyText(QStringLiteral("nothing"));
      line.setLine({{QDate(2026, 11, 1), 10}, {QDate(2026, 11, 2), -5.5}, {QDate(2026, 11, 3), 30}},
                   money);
      for (qreal ratio : {1.0, 2.0}) QVERIFY(PaintsInk(line, ratio));
      QCOMPARE(line.count(), 3);
      QVERIFY(line.toolTipAt(line.positionOf(1)).endsWith(QStringLiteral("$-5.50")));
      QVERIFY(line.toolTipAt(line.positionOf(2)).contains(QStringLiteral("2026")));
      QVERIFY(line.toolTipAt(QPoint(-50, -50)).isEmpty());

      ChartWidget bars;
      bars.setPalette(palette);
      bars.resize(400, 200);
      bars.setBars({{QStringLiteral("Groceries"), 120}, {QStringLiteral("Fuel"), 40}}, money);
      QVERIFY(PaintsInk(bars, 2.0));
      QCOMPARE(bars.toolTipAt(bars.positionOf(1)), QStringLiteral("Fuel: $40.00"));

      ChartWidget empty;
      empty.resize(200, 100);
      empty.setLine({}, money);
      QCOMPARE(empty.count(), 0);
    }
  }

  // The pane fills both charts from the book.
  void chartsPane() {
    ChartsPane pane(*document_);
    pane.resize(600, 300);
    QSignalSpy reloaded(&pane, &ChartsPane::reloaded);
    pane.show();
    pane.reload({}, 0);
    QVERIFY(reloaded.count() > 0 || reloaded.wait(10000));
    QVERIFY(pane.balanceChart()->count() > 80);  // a quarter, one point a day
    QVERIFY(pane.spendingChart()->count() > 0);
  }

  // The currency table and its filter under the model tester; a currency saved in the dialog
  // shows up, and the default currency is marked.
  void currencies() {
    auto* window = new CurrenciesWindow(*document_);
    QAbstractItemModelTester source(window->model(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);
    QAbstractItemModelTester proxy(window->proxy(),
                                   QAbstractItemModelTester::FailureReportingMode::QtTest);
    const int before = window->model()->rowCount();
    QVERIFY(before >= 5);
    int defaults = 0;
    for (const auto& row : window->model()->rows()) {
      defaults += row.isDefault;
      if (row.isDefault) QCOMPARE(row.rate, 1.0);
    }
    QCOMPARE(defaults, 1);
    window->proxy()->setFilterFixedString(QStringLiteral("eur"));
    QVERIFY(window->proxy()->rowCount() >= 1 && window->proxy()->rowCount() < before);

    CurrencyDialog dialog(*document_, 0);
    dialog.model().setName(L"Test crowns");
    dialog.model().setCode(L"TCR");
    QVERIFY(dialog.save());
    window->reload();
    QCOMPARE(window->model()->rowCount(), before + 1);
    window->proxy()->setFilterFixedString(QStringLiteral("tcr"));
    QCOMPARE(window->proxy()->rowCount(), 1);

    CurrencyDialog duplicate(*document_, 0);
    duplicate.model().setName(L"test CROWNS");
    QVERIFY(!duplicate.save());  // names are unique, letter case aside
    delete window;
  }
};

KESTRUM_APP_TEST(ChartsCurrenciesTest);

}  // namespace kestrum

#include "charts_currencies_test.moc"
