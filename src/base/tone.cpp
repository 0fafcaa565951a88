// SPDX-License-Identifier: GPL-3.0-or-later
#include "tone.h"

#include <QEvent>
#include <QPalette>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace {
/// Colours the texts of its parent.
class Toner : public QObject
{
public:
    explicit Toner(QWidget &widget) : QObject(&widget), widget_(widget)
    {
        setObjectName(QStringLiteral("toner"));
        widget.installEventFilter(this);
    }

    void Set(Tone tone)
    {
        tone_ = tone;
        Apply();
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::PaletteChange && tone_ != Tone::Plain)
            Apply();
        return false;
    }

private:
    void Apply()
    {
        QPalette toned;
        const QColor ink = Ink(tone_, widget_.palette());
        if (tone_ != Tone::Plain)
            for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
                toned.setColor(role, ink);
        widget_.setPalette(toned); // comes back here, with nothing new
    }

    QWidget &widget_;
    Tone tone_ = Tone::Plain;
};

/// Relative luminance of an sRGB colour, 0 to 1. (WCAG 2.1)
double Luminance(const QColor &colour)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}
} // namespace

QColor Ink(Tone tone, const QPalette &palette)
{
    const bool dark = Luminance(palette.color(QPalette::Window)) < 0.2;
    switch (tone) {
    case Tone::Plain:
        break;
    case Tone::Quiet:
        return dark ? QColor(170, 174, 178) : QColor(92, 96, 100);
    case Tone::Good:
        return dark ? QColor(110, 205, 170) : QColor(0, 98, 76);
    case Tone::Caution:
        return dark ? QColor(255, 190, 100) : QColor(138, 75, 0);
    case Tone::Danger:
        return dark ? QColor(255, 150, 140) : QColor(176, 0, 16);
    }
    return palette.color(QPalette::WindowText);
}

void SetTone(QWidget &widget, Tone tone)
{
    auto *toner =
        static_cast<Toner *>(widget.findChild<QObject *>(QStringLiteral("toner"), Qt::FindDirectChildrenOnly));
    if (!toner)
        toner = new Toner(widget);
    toner->Set(tone);
}

double Contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({Luminance(one), Luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}
