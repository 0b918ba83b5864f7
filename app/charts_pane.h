// The charts pane of a document window, two tabs in the list currency: "Balance over time" of
// the accounts chosen in the sidebar over the book's period (lists::BalanceSeries, ending on
// the sidebar's balance), and "Spending by category" of the period (lists::SpendingByCategory,
// the outline's Expenses totals), the largest categories as bars and the rest as one bar.
//
// Threads: GUI thread. The series are computed on the document's queue; the charts shown stay
// until newer ones arrive, and only the latest reload's results are shown.
#pragma once

#include <QTabWidget>
#include <cstdint>
#include <vector>

#include "document/document.h"

namespace kestrum {

class ChartWidget;

class ChartsPane : public QTabWidget {
  Q_OBJECT
 public:
  // The most spending bars: past it the smallest categories share the last bar.
  static constexpr int kMostBars = 10;

  // Charts over `document`, which must outlive the pane's work on its queue (the document's
  // destructor waits for the queue).
  explicit ChartsPane(vemra::Document& document, QWidget* parent = nullptr);

  // The two charts (owned by the pane).
  ChartWidget* balanceChart() { return balance_; }
  ChartWidget* spendingChart() { return spending_; }

 public Q_SLOTS:
  // Computes both charts for `accounts` (empty: all the sidebar shows) in `currency` (0: the
  // default) over the book's period as the queue has it then. While the pane is hidden the
  // work waits until it shows.
  void reload(std::vector<uint64_t> accounts, uint64_t currency);

 Q_SIGNALS:
  // The series of the latest reload are shown.
  void reloaded();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void Compute();

  vemra::Document& document_;
  ChartWidget* balance_;
  ChartWidget* spending_;
  std::vector<uint64_t> accounts_;
  uint64_t currency_ = 0;
  uint64_t generation_ = 0;  // of the latest computation submitted
  bool stale_ = false;       // a reload waits for the pane to show
};

}  // namespace kestrum
