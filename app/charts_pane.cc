#include "app/charts_pane.h"

#include <QPointer>

#include "app/amount_format.h"
#include "app/chart_widget.h"
#include "app/outline_model.h"
#include "app/texts.h"
#include "lists/chart_series.h"

namespace kestrum {

ChartsPane::ChartsPane(vemra::Document& document, QWidget* parent)
    : QTabWidget(parent),
      document_(document),
      balance_(new ChartWidget),
      spending_(new ChartWidget) {
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
        std::vector<vemra::lists::BalancePoint> balance =
            vemra::lists::BalanceSeries(book, accounts, shown);
        std::vector<vemra::lists::CategoryTotal> spending =
            vemra::lists::SpendingByCategory(book, accounts, shown);
        AmountFormat format = AmountFormat::Snapshot(book);
        QMetaObject::invokeMethod(
            self.data(),
            [self, generation, balance, spending, format, shown] {
              if (!self || generation != self->generation_) return;
              std::vector<std::pair<QDate, double>> points;
              for (const auto& p : balance)
                points.emplace_back(OutlineModel::ToQDate(p.date), p.balance);
              std::vector<std::pair<QString, double>> bars;
              for (const auto& t : spending) {
                bars.emplace_back(t.categoryID == 0 ? Tx(21003) : FromWide(t.name), t.amount);
              }
              auto formatter = [format, shown](double v) { return format.format(v, shown); };
              self->balance_->setLine(std::move(points), formatter);
              self->spending_->setBars(std::move(bars), formatter);
              emit self->reloaded();
            },
            Qt::QueuedConnection);
      });
}

}  // namespace kestrum
