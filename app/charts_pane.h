// The charts pane of a document window: "Balance over time" of the accounts chosen in the
// sidebar over the period, and "Spending by category" of the period, both in the list
// currency. The series are computed on the document's queue (lists/chart_series); the charts
// shown stay until newer ones arrive.
//
// Threads: GUI thread.
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
  // Charts over `document`, which must outlive the pane.
  explicit ChartsPane(vemra::Document& document, QWidget* parent = nullptr);

  ChartWidget* balanceChart() { return balance_; }
  ChartWidget* spendingChart() { return spending_; }

 public Q_SLOTS:
  // Computes both charts for `accounts` (empty: all) in `currency` over the book's period.
  // While the pane is hidden the work waits until it shows.
  void reload(std::vector<uint64_t> accounts, uint64_t currency);

 Q_SIGNALS:
  // New series are shown.
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
  uint64_t generation_ = 0;
  bool stale_ = false;
};

}  // namespace kestrum
