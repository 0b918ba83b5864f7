// A small chart drawn with QPainter: a line over dates, with a value axis of round steps and a
// date axis of whole days, months or years, or horizontal bars with labels (negative values
// grow to the left of zero). Colours come from the palette only (Base, Text, Highlight and
// mixes of them), so any light or dark palette keeps it readable; sizes follow the font, and
// all drawing is antialiased vector drawing, sharp at any device pixel ratio. Hovering shows
// the point's or bar's tooltip and marks it; with nothing to show, a text says so.
//
// Threads: GUI thread.
#pragma once

#include <QDate>
#include <QString>
#include <QWidget>
#include <functional>
#include <utility>
#include <vector>

class QPainter;

namespace kestrum {

class ChartWidget : public QWidget {
  Q_OBJECT
 public:
  // Turns a value into its text (an amount with its currency); it must be cheap.
  using Formatter = std::function<QString(double)>;
  using Point = std::pair<QDate, double>;
  using Bar = std::pair<QString, double>;

  explicit ChartWidget(QWidget* parent = nullptr);

  // Shows a line through `points` (dates ascending) with values written by `format`.
  void setLine(std::vector<Point> points, Formatter format);
  // Shows one bar per (label, value), in the order given, values written by `format`.
  void setBars(std::vector<Bar> bars, Formatter format);
  // The text shown while there is nothing to draw.
  void setEmptyText(const QString& text);

  // What is shown: the line's points (empty while bars are shown) and the bars.
  const std::vector<Point>& line() const { return points_; }
  const std::vector<Bar>& bars() const { return bars_; }
  // The number of points or bars shown.
  int count() const;

  // The tooltip for the mouse at `at` (widget coordinates): "<date>: <value>" of the point
  // nearest in date over the plot, "<label>: <value>" of the bar whose row it is in; empty
  // elsewhere.
  QString toolTipAt(const QPoint& at) const;
  // Where point `i` is drawn, or the middle of bar `i`'s row; (0, 0) for no such index.
  QPoint positionOf(int i) const;

  // Round tick values covering [low, high], about four steps of 1, 2, 2.5 or 5 times a power
  // of ten, the first at or below `low` and the last at or above `high`.
  static std::vector<double> ValueTicks(double low, double high);
  // Label dates between `first` and `last` (both included): the starts of days, weeks
  // (Mondays), months or years, at the finest such step that gives one to `most` labels; just
  // `first` when none does. `format` receives the QLocale date format that suits the step.
  static std::vector<QDate> DateTicks(const QDate& first, const QDate& last, int most,
                                      QString* format);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;

 private:
  QRectF PlotArea() const;
  QPointF PointAt(int i, const QRectF& area) const;
  double YOf(double value, const QRectF& area) const;
  // The height of a bar's row: the plot's height shared out, within one to two lines.
  double RowHeight(const QRectF& area) const;
  int HitTest(const QPoint& at) const;
  void PaintLine(QPainter& p);
  void PaintBars(QPainter& p);

  std::vector<Point> points_;
  std::vector<Bar> bars_;
  Formatter format_;
  QString empty_text_;
  std::vector<double> ticks_;  // the line's value ticks, ascending
  double low_ = 0, high_ = 1;  // the value range drawn
  int hovered_ = -1;
};

}  // namespace kestrum
