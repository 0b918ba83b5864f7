#include "app/view_colors.h"

#include <cmath>

namespace kestrum {
namespace {

double Channel(double c) {
  return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

double Luminance(const QColor& c) {
  return 0.2126 * Channel(c.redF()) + 0.7152 * Channel(c.greenF()) + 0.0722 * Channel(c.blueF());
}

QColor Mix(const QColor& from, const QColor& to, double t) {
  return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * t,
                          from.greenF() + (to.greenF() - from.greenF()) * t,
                          from.blueF() + (to.blueF() - from.blueF()) * t);
}

}  // namespace

double Contrast(const QColor& a, const QColor& b) {
  double la = Luminance(a), lb = Luminance(b);
  if (la < lb) std::swap(la, lb);
  return (la + 0.05) / (lb + 0.05);
}

QColor SecondaryText(const QPalette& palette) {
  const QColor base = palette.color(QPalette::Base), text = palette.color(QPalette::Text);
  // A quarter of the way keeps enough contrast for any usable palette; step back towards
  // Text when a low-contrast theme would drop below 4.5.
  for (double t = 0.25; t > 0; t -= 0.05) {
    QColor c = Mix(text, base, t);
    if (Contrast(c, base) >= 4.5) return c;
  }
  return text;
}

QColor NegativeText(const QPalette& palette) {
  const QColor base = palette.color(QPalette::Base);
  const bool dark = Luminance(base) < 0.2;
  QColor red = dark ? QColor(255, 140, 140) : QColor(176, 0, 0);
  if (Contrast(red, base) >= 4.5) return red;
  return palette.color(QPalette::Text);
}

QPalette DarkPalette() {
  QPalette p;
  const QColor window(45, 45, 48), base(30, 30, 32), text(230, 230, 230);
  p.setColor(QPalette::Window, window);
  p.setColor(QPalette::WindowText, text);
  p.setColor(QPalette::Base, base);
  p.setColor(QPalette::AlternateBase, QColor(40, 40, 43));
  p.setColor(QPalette::ToolTipBase, window);
  p.setColor(QPalette::ToolTipText, text);
  p.setColor(QPalette::PlaceholderText, QColor(150, 150, 150));
  p.setColor(QPalette::Text, text);
  p.setColor(QPalette::Button, window);
  p.setColor(QPalette::ButtonText, text);
  p.setColor(QPalette::BrightText, Qt::red);
  p.setColor(QPalette::Link, QColor(110, 170, 255));
  p.setColor(QPalette::Highlight, QColor(50, 110, 200));
  p.setColor(QPalette::HighlightedText, Qt::white);
  p.setColor(QPalette::Disabled, QPalette::Text, QColor(130, 130, 130));
  p.setColor(QPalette::Disabled, QPalette::WindowText, QColor(130, 130, 130));
  p.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(130, 130, 130));
  return p;
}

}  // namespace kestrum
