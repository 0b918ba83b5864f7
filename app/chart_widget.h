// A small chart drawn with QPainter: a line over dates (axes with round tick values, the
// period's first, middle and last dates) or horizontal bars with labels, in palette colours, a
// tooltip naming the point or bar under the mouse, and a text when there is nothing to show.
//
// Threads: GUI thread.
#pragma once

#include <QDate>
#include <QWidget>
#include <functional>
#include <utility>
#include <vector>

namespace kestrum {

class ChartWidget : public QWidget {
  Q_OBJECT
 public:
  using Formatter = std::function<QString(double)>;

  explicit ChartWidget(QWidget* parent = nullptr);

  // Shows a line through `points` (in date order); values are shown with `format`.
  void setLine(std::vector<std::pair<QDate, double>> points, Formatter format);
  // Shows one bar per (label, value), in the order given; values are shown with `format`.
  void setBars(std::vector<std::pair<QString, double>> bars, Formatter format);
  // The text shown while there is no data.
  void setEmptyText(const QString& text);

  // The tooltip for the mouse at `at` (widget coordinates): the nearest point's date and value,
  // or the bar's label and value; empty when nothing is there.
  QString toolTipAt(const QPoint& at) const;
  // Where point or bar `i` is drawn (its centre), for tests and tooltips.
  QPoint positionOf(int i) const;
  int count() const;

  QSize sizeHint() const override { return {480, 220}; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;

 private:
  QRect PlotArea() const;
  // Round tick values covering [low, high].
  static std::vector<double> Ticks(double low, double high);

  std::vector<std::pair<QDate, double>> points_;
  std::vector<std::pair<QString, double>> bars_;
  Formatter format_;
  QString empty_text_;
  double low_ = 0, high_ = 1;
};

}  // namespace kestrum
