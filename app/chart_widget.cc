#include "app/chart_widget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "platform/localization.h"

namespace kestrum {
namespace {

constexpr int kBarHeight = 22;
constexpr int kMaxBars = 12;

QLocale ChartLocale() {
  return vemra::platform::Language() == "ru" ? QLocale(QLocale::Russian)
                                             : QLocale(QLocale::English, QLocale::UnitedStates);
}

}  // namespace

ChartWidget::ChartWidget(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setMinimumHeight(160);
}

void ChartWidget::setLine(std::vector<std::pair<QDate, double>> points, Formatter format) {
  points_ = std::move(points);
  bars_.clear();
  format_ = std::move(format);
  low_ = high_ = 0;
  if (!points_.empty()) {
    auto [lo, hi] =
        std::minmax_element(points_.begin(), points_.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; });
    low_ = lo->second;
    high_ = hi->second;
    std::vector<double> ticks = Ticks(low_, high_);
    low_ = ticks.front();
    high_ = ticks.back();
  }
  update();
}

void ChartWidget::setBars(std::vector<std::pair<QString, double>> bars, Formatter format) {
  bars_ = std::move(bars);
  if (bars_.size() > kMaxBars) bars_.resize(kMaxBars);
  points_.clear();
  format_ = std::move(format);
  high_ = 0;
  for (const auto& bar : bars_) high_ = std::max(high_, bar.second);
  setMinimumHeight(std::max<int>(160, static_cast<int>(bars_.size()) * kBarHeight + 24));
  update();
}

void ChartWidget::setEmptyText(const QString& text) {
  empty_text_ = text;
  update();
}

int ChartWidget::count() const {
  return static_cast<int>(points_.empty() ? bars_.size() : points_.size());
}

std::vector<double> ChartWidget::Ticks(double low, double high) {
  if (high - low < 1e-9) {
    low -= 1;
    high += 1;
  }
  const double raw = (high - low) / 4;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  double step = magnitude;
  for (double m : {1.0, 2.0, 2.5, 5.0, 10.0}) {
    if (m * magnitude >= raw) {
      step = m * magnitude;
      break;
    }
  }
  std::vector<double> ticks;
  for (double v = std::floor(low / step) * step; v <= high + step * 0.999; v += step) {
    ticks.push_back(v);
    if (ticks.size() > 12) break;
  }
  return ticks;
}

QRect ChartWidget::PlotArea() const {
  const int label_width = fontMetrics().horizontalAdvance(QStringLiteral("-$000,000,000.00"));
  if (!bars_.empty()) return rect().adjusted(8, 8, -8, -8);
  return rect().adjusted(label_width + 12, 10, -16, -fontMetrics().height() - 12);
}

QPoint ChartWidget::positionOf(int i) const {
  const QRect area = PlotArea();
  if (!points_.empty() && i >= 0 && i < static_cast<int>(points_.size())) {
    const double x = points_.size() == 1 ? 0.5 : static_cast<double>(i) / (points_.size() - 1);
    const double y = (points_[i].second - low_) / (high_ - low_);
    return {area.left() + static_cast<int>(x * area.width()),
            area.bottom() - static_cast<int>(y * area.height())};
  }
  if (i >= 0 && i < static_cast<int>(bars_.size())) {
    return {area.center().x(), area.top() + i * kBarHeight + kBarHeight / 2};
  }
  return {};
}

QString ChartWidget::toolTipAt(const QPoint& at) const {
  if (!points_.empty()) {
    const QRect area = PlotArea().adjusted(-8, -8, 8, 8);
    if (!area.contains(at)) return {};
    int best = 0;
    for (int i = 1; i < static_cast<int>(points_.size()); ++i) {
      if (std::abs(positionOf(i).x() - at.x()) < std::abs(positionOf(best).x() - at.x())) best = i;
    }
    return ChartLocale().toString(points_[best].first, QLocale::LongFormat) + QStringLiteral(": ") +
           format_(points_[best].second);
  }
  for (int i = 0; i < static_cast<int>(bars_.size()); ++i) {
    if (std::abs(positionOf(i).y() - at.y()) <= kBarHeight / 2 && PlotArea().contains(at)) {
      return bars_[i].first + QStringLiteral(": ") + format_(bars_[i].second);
    }
  }
  return {};
}

void ChartWidget::mouseMoveEvent(QMouseEvent* event) {
  const QString tip = toolTipAt(event->position().toPoint());
  if (tip.isEmpty()) {
    QToolTip::hideText();
  } else {
    QToolTip::showText(event->globalPosition().toPoint(), tip, this);
  }
}

void ChartWidget::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  const QPalette& pal = palette();
  p.fillRect(rect(), pal.color(QPalette::Base));
  const QColor text = pal.color(QPalette::Text);
  const QColor accent = pal.color(QPalette::Highlight);
  QColor grid = pal.color(QPalette::Mid);
  grid.setAlpha(120);
  if (count() == 0) {
    p.setPen(text);
    p.drawText(rect(), Qt::AlignCenter, empty_text_);
    return;
  }
  const QRect area = PlotArea();
  const QFontMetrics fm = fontMetrics();
  if (!bars_.empty()) {
    const int label_width = std::min(area.width() / 3, 220);
    const int value_width = fm.horizontalAdvance(format_(high_)) + 12;
    const int bar_space = std::max(10, area.width() - label_width - value_width - 8);
    for (int i = 0; i < static_cast<int>(bars_.size()); ++i) {
      const int top = area.top() + i * kBarHeight;
      p.setPen(text);
      p.drawText(QRect(area.left(), top, label_width - 8, kBarHeight),
                 Qt::AlignVCenter | Qt::AlignRight,
                 fm.elidedText(bars_[i].first, Qt::ElideRight, label_width - 8));
      const int length = high_ > 0 ? static_cast<int>(bars_[i].second / high_ * bar_space) : 0;
      QRect bar(area.left() + label_width, top + 4, std::max(2, length), kBarHeight - 8);
      p.fillRect(bar, accent);
      p.drawText(QRect(bar.right() + 6, top, value_width, kBarHeight), Qt::AlignVCenter,
                 format_(bars_[i].second));
    }
    return;
  }
  // Axes and round ticks.
  p.setPen(QPen(grid, 1));
  for (double tick : Ticks(low_, high_)) {
    const int y = area.bottom() - static_cast<int>((tick - low_) / (high_ - low_) * area.height());
    p.drawLine(area.left(), y, area.right(), y);
    p.setPen(text);
    p.drawText(QRect(0, y - fm.height() / 2, area.left() - 8, fm.height()),
               Qt::AlignRight | Qt::AlignVCenter, format_(tick));
    p.setPen(QPen(grid, 1));
  }
  p.setPen(text);
  const int n = static_cast<int>(points_.size());
  for (int i : {0, n / 2, n - 1}) {
    const QString label = ChartLocale().toString(points_[i].first, QLocale::ShortFormat);
    const int w = fm.horizontalAdvance(label);
    const int x = std::clamp(positionOf(i).x() - w / 2, area.left() - w / 2, width() - w - 2);
    p.drawText(x, area.bottom() + fm.ascent() + 6, label);
  }
  QPainterPath line;
  for (int i = 0; i < n; ++i) {
    if (i == 0) {
      line.moveTo(positionOf(i));
    } else {
      line.lineTo(positionOf(i));
    }
  }
  p.setPen(QPen(accent, 2));
  p.drawPath(line);
}

}  // namespace kestrum
