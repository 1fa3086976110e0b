#pragma once

// The colours of one design with one accent. Every colour that carries text is
// derived so that the text reaches a contrast of 4.5:1 against what it sits on:
// the accent itself is too light to carry white text, so buttons and own
// bubbles use a deepened form of it, and accent-coloured text is brightened or
// deepened against the background of the design.

#include "core/Appearance.h"

#include <QColor>
#include <QList>
#include <QVariantMap>

struct Palette {
    bool dark = true;
    QColor rail;          // the module rail
    QColor window;        // list pane and chrome
    QColor surface;       // cards, sheets, fields
    QColor surfaceRaised; // hovered rows, others' bubbles
    QColor conversation;  // behind the timeline
    QColor separator;
    QColor fieldBorder;
    QColor text;
    QColor textSecondary;
    QColor accent;           // swatches, progress, the working indicator
    QColor accentFill;       // primary buttons, own bubbles, the selected row
    QColor accentText;       // links and accent-coloured text on the chrome
    QColor accentForeground; // text on accentFill
    QColor focusRing;
    QColor online;
    QColor ahead;
    QColor danger;
    QColor unknown;
    QColor dangerText; // error lines on the chrome and on cards
    QColor badge;
    QColor badgeForeground;
    QColor toast;
    QColor toastForeground;
    QColor scrim; // behind sheets
};

Palette paletteFor(AppDesign design, AppAccent accent);

// The accent as it is painted, before any contrast adjustment.
QColor color(AppAccent accent);

// WCAG relative luminance and contrast ratio (1 to 21).
double relativeLuminance(const QColor& color);
double contrastRatio(const QColor& a, const QColor& b);
// `color` moved towards white (on dark backgrounds) or black (on light ones)
// just far enough to reach `minimum` against every background.
QColor withContrast(const QColor& color, const QList<QColor>& backgrounds, double minimum);

// Every pairing of text and background the views use, for checking contrast.
struct ColorPair {
    QString name;
    QColor foreground;
    QColor background;
};
QList<ColorPair> textPairs(const Palette& palette);

// The palette for QML: colour name -> colour.
QVariantMap toVariantMap(const Palette& palette);
