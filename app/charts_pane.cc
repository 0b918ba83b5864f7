#include "app/charts_pane.h"

#include <QCoreApplication>
#include <QPointer>

#include "app/amount_format.h"
#include "app/chart_widget.h"
#include "app/texts.h"
#include "lists/chart_series.h"

namespace kestrum {
namespace {

QDate ToQDate(vemra::ADate date) {
  return QDate(1970, 1, 1).addDays(date.Val);
}

// The spending bars: the largest categories first, those past kMostBars - 1 in one bar.
std::vector<ChartWidget::Bar> SpendingBars(const std::vector<vemra::lists::CategoryTotal>& totals) {
  std::vector<ChartWidget::Bar> bars;
  double rest = 0;
  const size_t kept = totals.size() <= static_cast<size_t>(ChartsPane::kMostBars)
                          ? totals.size()
                          : static_cast<size_t>(ChartsPane::kMostBars - 1);
  for (size_t i = 0; i < totals.size(); ++i) {
    if (i < kept) {
      const auto& t = totals[i];
      bars.emplace_back(t.categoryID == 0 ? Tx(21003) : FromWide(t.name), t.amount);
    } else {
      rest += totals[i].amount;
    }
  }
  if (kept < totals.size()) bars.emplace_back(Tx(21004), rest);
  return bars;
}

}  // namespace

ChartsPane::ChartsPane(vemra::Document& document, QWidget* parent)
    : QTabWidget(parent),
      document_(document),
      balance_(new ChartWidget),
      spending_(new ChartWidget) {
  setDocumentMode(true);
  addTab(balance_, Tx(21000));
  addTab(spending_, Tx(21001));
  balance_->setEmptyText(Tx(21002));
  spending_->setEmptyText(Tx(21002));
}

void ChartsPane::reload(std::vector<uint64_t> accounts, uint64_t currency) {
  accounts_ = std::move(accounts);
  currency_ = currency;
  stale_ = true;
  if (isVisible()) Compute();
}

void ChartsPane::showEvent(QShowEvent* event) {
  QTabWidget::showEvent(event);
  if (stale_) Compute();
}

void ChartsPane::Compute() {
  stale_ = false;
  const uint64_t generation = ++generation_;
  QPointer<ChartsPane> self(this);
  vemra::Document* document = &document_;
  document_.queue().Submit(
      [self, document, generation, accounts = accounts_, currency = currency_] {
        vemra::Book& book = document->database();
        if (!book.Loaded) return;
        const uint64_t shown = currency != 0 ? currency : book.Currencies().GetDefaultCurrencyID();
        const vemra::TimeInterval period = book.Period;
        std::vector<vemra::lists::BalancePoint> balance =
            vemra::lists::BalanceSeries(book, accounts, shown, period);
        std::vector<vemra::lists::CategoryTotal> spending =
            vemra::lists::SpendingByCategory(book, accounts, shown, period);
        const AmountFormat format = AmountFormat::Snapshot(book);
        // The application object outlives every window; the pane is looked at on its thread only.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, generation, balance = std::move(balance), spending = std::move(spending), format,
             shown] {
              if (!self || generation != self->generation_) return;
              std::vector<ChartWidget::Point> points;
              points.reserve(balance.size());
              for (const auto& p : balance) points.emplace_back(ToQDate(p.date), p.balance);
              auto formatter = [format, shown](double v) { return format.format(v, shown); };
              self->balance_->setLine(std::move(points), formatter);
              self->spending_->setBars(SpendingBars(spending), formatter);
              emit self->reloaded();
            },
            Qt::QueuedConnection);
      });
}

}  // namespace kestrum
