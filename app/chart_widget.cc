#include "app/chart_widget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "app/view_colors.h"
#include "platform/localization.h"

namespace kestrum {
namespace {

QLocale ChartLocale() {
  return vemra::platform::Language() == "ru" ? QLocale(QLocale::Russian)
                                             : QLocale(QLocale::English, QLocale::UnitedStates);
}

QColor WithAlpha(QColor c, int alpha) {
  c.setAlpha(alpha);
  return c;
}

// One candidate step of the date axis: `days` > 0 whole days (7 and 14 start on Mondays),
// else `months` months or, with `years`, that many years.
struct DateStep {
  int days = 0;
  int months = 0;
  int years = 0;
  const char* format;
};

constexpr DateStep kDateSteps[] = {
    {1, 0, 0, "d MMM"},    {2, 0, 0, "d MMM"},    {7, 0, 0, "d MMM"},    {14, 0, 0, "d MMM"},
    {0, 1, 0, "MMM yyyy"}, {0, 2, 0, "MMM yyyy"}, {0, 3, 0, "MMM yyyy"}, {0, 6, 0, "MMM yyyy"},
    {0, 0, 1, "yyyy"},     {0, 0, 2, "yyyy"},     {0, 0, 5, "yyyy"},     {0, 0, 10, "yyyy"},
    {0, 0, 25, "yyyy"},    {0, 0, 50, "yyyy"},    {0, 0, 100, "yyyy"},   {0, 0, 250, "yyyy"},
    {0, 0, 500, "yyyy"},   {0, 0, 1000, "yyyy"},
};

// The dates of `step` within [first, last]; stops after `most` + 1 of them.
std::vector<QDate> StepDates(const DateStep& step, const QDate& first, const QDate& last,
                             int most) {
  std::vector<QDate> out;
  QDate d;
  if (step.days > 0) {
    const qint64 j = first.toJulianDay();
    if (step.days < 7) {
      d = QDate::fromJulianDay((j + step.days - 1) / step.days * step.days);
    } else {
      d = first.addDays((8 - first.dayOfWeek()) % 7);  // the first Monday
      if (step.days == 14 && (d.toJulianDay() / 7) % 2 != 0) d = d.addDays(7);
    }
  } else if (step.months > 0) {
    d = QDate(first.year(), first.month(), 1);
    if (d < first) d = d.addMonths(1);
    while ((d.month() - 1) % step.months != 0) d = d.addMonths(1);
  } else {
    int year = first.year() + (QDate(first.year(), 1, 1) < first ? 1 : 0);
    year += ((step.years - year % step.years) % step.years);
    d = QDate(year, 1, 1);
  }
  while (d.isValid() && d <= last && static_cast<int>(out.size()) <= most) {
    out.push_back(d);
    d = step.days > 0     ? d.addDays(step.days)
        : step.months > 0 ? d.addMonths(step.months)
                          : d.addYears(step.years);
  }
  return out;
}

}  // namespace

ChartWidget::ChartWidget(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void ChartWidget::setLine(std::vector<Point> points, Formatter format) {
  points_ = std::move(points);
  bars_.clear();
  format_ = std::move(format);
  hovered_ = -1;
  ticks_.clear();
  low_ = 0;
  high_ = 1;
  if (!points_.empty()) {
    auto [lo, hi] =
        std::minmax_element(points_.begin(), points_.end(),
                            [](const Point& a, const Point& b) { return a.second < b.second; });
    ticks_ = ValueTicks(lo->second, hi->second);
    low_ = ticks_.front();
    high_ = ticks_.back();
  }
  updateGeometry();
  update();
}

void ChartWidget::setBars(std::vector<Bar> bars, Formatter format) {
  bars_ = std::move(bars);
  points_.clear();
  ticks_.clear();
  format_ = std::move(format);
  hovered_ = -1;
  low_ = high_ = 0;
  for (const Bar& bar : bars_) {
    low_ = std::min(low_, bar.second);
    high_ = std::max(high_, bar.second);
  }
  updateGeometry();
  update();
}

void ChartWidget::setEmptyText(const QString& text) {
  empty_text_ = text;
  update();
}

int ChartWidget::count() const {
  return static_cast<int>(points_.empty() ? bars_.size() : points_.size());
}

std::vector<double> ChartWidget::ValueTicks(double low, double high) {
  if (!std::isfinite(low) || !std::isfinite(high)) return {0, 1};
  if (high < low) std::swap(low, high);
  if (high - low <= 1e-9 * std::max(1.0, std::abs(high))) {
    // A flat line sits in the middle of a small range around it.
    const double pad = std::max(1.0, std::abs(high) * 0.05);
    low -= pad;
    high += pad;
  }
  const double raw = (high - low) / 4;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  double step = 10 * magnitude;
  for (double m : {1.0, 2.0, 2.5, 5.0}) {
    if (m * magnitude >= raw) {
      step = m * magnitude;
      break;
    }
  }
  const auto first = static_cast<int64_t>(std::floor(low / step + 1e-9));
  const auto last = static_cast<int64_t>(std::ceil(high / step - 1e-9));
  std::vector<double> ticks;
  for (int64_t k = first; k <= last; ++k) ticks.push_back(static_cast<double>(k) * step);
  return ticks;
}

std::vector<QDate> ChartWidget::DateTicks(const QDate& first, const QDate& last, int most,
                                          QString* format) {
  most = std::max(1, most);
  for (const DateStep& step : kDateSteps) {
    std::vector<QDate> dates = StepDates(step, first, last, most);
    if (!dates.empty() && static_cast<int>(dates.size()) <= most) {
      if (format != nullptr) *format = QString::fromLatin1(step.format);
      return dates;
    }
  }
  if (format != nullptr) *format = QStringLiteral("d MMM yyyy");
  return {first};
}

QSize ChartWidget::sizeHint() const {
  const int h = fontMetrics().height();
  return {h * 30, h * 14};
}

QSize ChartWidget::minimumSizeHint() const {
  const int h = fontMetrics().height();
  const int rows = bars_.empty() ? 8 : static_cast<int>(bars_.size()) + 1;
  return {h * 16, std::max(h * 8, rows * (h + 4) + h)};
}

QRectF ChartWidget::PlotArea() const {
  const QFontMetricsF fm(font());
  const double em = fm.height();
  if (!bars_.empty()) return QRectF(rect()).adjusted(em / 2, em / 2, -em / 2, -em / 2);
  double label = 0;
  for (double tick : ticks_) label = std::max(label, fm.horizontalAdvance(format_(tick)));
  return QRectF(rect()).adjusted(label + em, em * 0.75, -em * 2, -em * 1.75);
}

double ChartWidget::YOf(double value, const QRectF& area) const {
  const double span = high_ - low_;
  return area.bottom() - (span > 0 ? (value - low_) / span : 0.5) * area.height();
}

QPointF ChartWidget::PointAt(int i, const QRectF& area) const {
  const qint64 first = points_.front().first.toJulianDay();
  const qint64 span = points_.back().first.toJulianDay() - first;
  const double x =
      span > 0 ? static_cast<double>(points_[i].first.toJulianDay() - first) / span : 0.5;
  return {area.left() + x * area.width(), YOf(points_[i].second, area)};
}

double ChartWidget::RowHeight(const QRectF& area) const {
  const double em = QFontMetricsF(font()).height();
  const double fit = bars_.empty() ? em : area.height() / static_cast<double>(bars_.size());
  return std::clamp(fit, em + 4, em * 2.2);
}

QPoint ChartWidget::positionOf(int i) const {
  if (i < 0 || i >= count()) return {};
  const QRectF area = PlotArea();
  if (!points_.empty()) return PointAt(i, area).toPoint();
  const double row = RowHeight(area);
  return QPointF(area.center().x(), area.top() + (i + 0.5) * row).toPoint();
}

int ChartWidget::HitTest(const QPoint& at) const {
  const QRectF area = PlotArea();
  if (!points_.empty()) {
    const double slack = QFontMetricsF(font()).height() / 2;
    if (!area.adjusted(-slack, -slack, slack, slack).contains(at)) return -1;
    int best = 0;
    double distance = std::abs(PointAt(0, area).x() - at.x());
    for (int i = 1; i < static_cast<int>(points_.size()); ++i) {
      const double d = std::abs(PointAt(i, area).x() - at.x());
      if (d < distance) {
        best = i;
        distance = d;
      }
    }
    return best;
  }
  if (bars_.empty() || at.x() < area.left() || at.x() > area.right() || at.y() < area.top()) {
    return -1;
  }
  const int row = static_cast<int>((at.y() - area.top()) / RowHeight(area));
  return row < static_cast<int>(bars_.size()) ? row : -1;
}

QString ChartWidget::toolTipAt(const QPoint& at) const {
  const int i = HitTest(at);
  if (i < 0 || !format_) return {};
  if (!points_.empty()) {
    return ChartLocale().toString(points_[i].first, QLocale::LongFormat) + QStringLiteral(": ") +
           format_(points_[i].second);
  }
  return bars_[i].first + QStringLiteral(": ") + format_(bars_[i].second);
}

void ChartWidget::mouseMoveEvent(QMouseEvent* event) {
  const QPoint at = event->position().toPoint();
  const int i = HitTest(at);
  if (i != hovered_) {
    hovered_ = i;
    update();
  }
  const QString tip = toolTipAt(at);
  if (tip.isEmpty()) {
    QToolTip::hideText();
  } else {
    QToolTip::showText(event->globalPosition().toPoint(), tip, this);
  }
}

void ChartWidget::leaveEvent(QEvent* event) {
  QWidget::leaveEvent(event);
  QToolTip::hideText();
  if (hovered_ != -1) {
    hovered_ = -1;
    update();
  }
}

void ChartWidget::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  p.fillRect(rect(), palette().color(QPalette::Base));
  if (count() == 0 || !format_) {
    p.setPen(SecondaryText(palette()));
    p.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, empty_text_);
    return;
  }
  if (points_.empty()) {
    PaintBars(p);
  } else {
    PaintLine(p);
  }
}

void ChartWidget::PaintLine(QPainter& p) {
  const QPalette& pal = palette();
  const QColor text = pal.color(QPalette::Text);
  const QColor secondary = SecondaryText(pal);
  const QColor accent = pal.color(QPalette::Highlight);
  const QFontMetricsF fm(font());
  const double em = fm.height();
  const QRectF area = PlotArea();

  // Value axis: a grid line and a label per round value, zero stronger.
  for (double tick : ticks_) {
    const double y = YOf(tick, area);
    const bool zero = std::abs(tick) < 1e-12;
    p.setPen(QPen(WithAlpha(text, zero ? 110 : 40), 1));
    p.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
    p.setPen(secondary);
    p.drawText(QRectF(0, y - em / 2, area.left() - em / 2, em), Qt::AlignRight | Qt::AlignVCenter,
               format_(tick));
  }

  // Date axis: the labels of a round step that fits the width.
  const QDate first = points_.front().first, last = points_.back().first;
  QString date_format;
  const double label_width =
      fm.horizontalAdvance(ChartLocale().toString(QDate(2000, 12, 28), QStringLiteral("d MMM")));
  const int most = std::max(1, static_cast<int>(area.width() / (label_width + em * 1.5)));
  const qint64 span = last.toJulianDay() - first.toJulianDay();
  p.setPen(QPen(WithAlpha(text, 40), 1));
  p.drawLine(area.bottomLeft(), area.bottomRight());
  for (const QDate& d : DateTicks(first, last, most, &date_format)) {
    const double x =
        area.left() +
        (span > 0 ? static_cast<double>(d.toJulianDay() - first.toJulianDay()) / span * area.width()
                  : area.width() / 2);
    p.setPen(QPen(WithAlpha(text, 40), 1));
    p.drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() + em / 4));
    const QString label = ChartLocale().toString(d, date_format);
    const double w = fm.horizontalAdvance(label);
    const double left = std::clamp(x - w / 2, 0.0, std::max(0.0, width() - w));
    p.setPen(secondary);
    p.drawText(QRectF(left, area.bottom() + em / 4, w + 1, em), Qt::AlignCenter, label);
  }

  // The line over a light fill down to zero (or the axis's end nearest to it).
  const double base = YOf(std::clamp(0.0, low_, high_), area);
  QPainterPath line;
  for (int i = 0; i < static_cast<int>(points_.size()); ++i) {
    if (i == 0) {
      line.moveTo(PointAt(i, area));
    } else {
      line.lineTo(PointAt(i, area));
    }
  }
  QPainterPath fill = line;
  fill.lineTo(PointAt(static_cast<int>(points_.size()) - 1, area).x(), base);
  fill.lineTo(PointAt(0, area).x(), base);
  fill.closeSubpath();
  p.fillPath(fill, WithAlpha(accent, 45));
  p.setPen(QPen(accent, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  p.setBrush(Qt::NoBrush);
  p.drawPath(line);
  if (points_.size() == 1) p.drawEllipse(PointAt(0, area), em / 5, em / 5);

  if (hovered_ >= 0 && hovered_ < static_cast<int>(points_.size())) {
    const QPointF at = PointAt(hovered_, area);
    p.setPen(QPen(WithAlpha(text, 90), 1, Qt::DashLine));
    p.drawLine(QPointF(at.x(), area.top()), QPointF(at.x(), area.bottom()));
    p.setPen(QPen(pal.color(QPalette::Base), 2));
    p.setBrush(accent);
    p.drawEllipse(at, em / 4, em / 4);
  }
}

void ChartWidget::PaintBars(QPainter& p) {
  const QPalette& pal = palette();
  const QColor text = pal.color(QPalette::Text);
  const QColor accent = pal.color(QPalette::Highlight);
  const QFontMetricsF fm(font());
  const double em = fm.height();
  const QRectF area = PlotArea();
  const double row = RowHeight(area);

  double label_width = 0, value_width = 0;
  for (const Bar& bar : bars_) {
    label_width = std::max(label_width, fm.horizontalAdvance(bar.first));
    value_width = std::max(value_width, fm.horizontalAdvance(format_(bar.second)));
  }
  label_width = std::min(label_width, area.width() * 0.35);
  const double bars_left = area.left() + label_width + em / 2;
  const double bars_right = area.right() - value_width - em / 2;
  const double room = std::max(em, bars_right - bars_left);
  const double span = high_ - low_ > 0 ? high_ - low_ : 1;
  const double zero = bars_left + (-low_ / span) * room;

  for (int i = 0; i < static_cast<int>(bars_.size()); ++i) {
    const QRectF line(area.left(), area.top() + i * row, area.width(), row);
    if (i == hovered_) p.fillRect(line, WithAlpha(accent, 35));
    p.setPen(text);
    p.drawText(QRectF(line.left(), line.top(), label_width, row), Qt::AlignRight | Qt::AlignVCenter,
               fm.elidedText(bars_[i].first, Qt::ElideRight, label_width));
    const double value = bars_[i].second;
    const double length = std::abs(value) / span * room;
    const double thickness = row * 0.6;
    QRectF bar(value >= 0 ? zero : zero - length, line.top() + (row - thickness) / 2,
               std::max(1.0, length), thickness);
    if (value >= 0) {
      p.fillRect(bar, accent);
    } else {
      // A net refund: an outlined bar, told apart without a second colour.
      p.fillRect(bar, WithAlpha(accent, 70));
      p.setPen(QPen(accent, 1));
      p.setBrush(Qt::NoBrush);
      p.drawRect(bar.adjusted(0.5, 0.5, -0.5, -0.5));
    }
    p.setPen(text);
    p.drawText(QRectF(bars_right + em / 2, line.top(), value_width, row),
               Qt::AlignRight | Qt::AlignVCenter, format_(value));
  }
  if (low_ < 0) {
    p.setPen(QPen(WithAlpha(text, 110), 1));
    p.drawLine(QPointF(zero, area.top()),
               QPointF(zero, area.top() + row * static_cast<double>(bars_.size())));
  }
}

}  // namespace kestrum
