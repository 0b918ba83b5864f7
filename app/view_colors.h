// Colours of the views derived from the palette's Base and Text roles, so that they stay
// readable under light and dark themes alike (each keeps a contrast of at least 4.5 to Base).
#pragma once

#include <QColor>
#include <QPalette>

namespace kestrum {

// Text of secondary rows (uncleared transactions, hidden accounts): Text moved a quarter of
// the way towards Base.
QColor SecondaryText(const QPalette& palette);
// Negative amounts: a red as dark as Text on a light Base, as light on a dark one.
QColor NegativeText(const QPalette& palette);
// The WCAG contrast ratio of two colours (1 to 21).
double Contrast(const QColor& a, const QColor& b);
// A dark palette for the "dark" theme (used with the Fusion style).
QPalette DarkPalette();

}  // namespace kestrum
