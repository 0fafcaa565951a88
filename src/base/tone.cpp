// SPDX-License-Identifier: GPL-3.0-or-later
#include "tone.h"

#include <QEvent>
#include <QPalette>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {
constexpr double groundPart = 1.0 / 6;   // of a tone in what a widget is filled with
constexpr double middleLuminance = 0.18; // black and white are equally far from it
constexpr double shadeStep = 0.01;       // of a colour's lightness, from one to the next that is tried

/// Colours its parent, and does so anew when the palette changes.
class Toner : public QObject
{
public:
    explicit Toner(QWidget &widget) : QObject(&widget), widget_(widget)
    {
        setObjectName(QStringLiteral("toner"));
        widget.installEventFilter(this);
    }

    static Toner &Of(QWidget &widget)
    {
        auto *toner =
            static_cast<Toner *>(widget.findChild<QObject *>(QStringLiteral("toner"), Qt::FindDirectChildrenOnly));
        return toner ? *toner : *new Toner(widget);
    }

    void SetTone(Tone tone)
    {
        if (tone == tone_)
            return;
        tone_ = tone;
        Apply();
    }
    void SetColour(const QColor &colour)
    {
        colour_ = colour;
        Apply();
    }
    void SetGround(Tone ground)
    {
        if (ground == ground_)
            return;
        ground_ = ground;
        Apply();
    }

    void SetFlat()
    {
        flat_ = true;
        Apply();
    }

    void SetReadableHint()
    {
        hint_ = true;
        Apply();
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::PaletteChange && !applying_)
            Apply();
        return false;
    }

private:
    void Apply()
    {
        applying_ = true;
        widget_.setPalette({}); // what it would be like by itself
        const QPalette plain = widget_.palette();
        const QPalette::ColorRole ground = widget_.backgroundRole();
        QPalette toned;
        if (hint_)
            toned.setColor(QPalette::PlaceholderText, Ink(Tone::Quiet, plain));
        if (flat_)
            toned.setColor(ground, plain.color(QPalette::Window));
        if (ground_ != Tone::Plain)
            toned.setColor(ground, Mixed(plain.color(ground), Ink(ground_, plain), groundPart));
        if (tone_ != Tone::Plain || colour_) {
            const QColor ink =
                tone_ != Tone::Plain ? Ink(tone_, plain) : Readable(*colour_, plain.color(ground), textContrast);
            for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
                toned.setColor(role, ink);
        }
        widget_.setPalette(toned);
        applying_ = false;
    }

    QWidget &widget_;
    Tone tone_ = Tone::Plain;
    std::optional<QColor> colour_; ///< its own, while its tone is plain
    Tone ground_ = Tone::Plain;
    bool flat_ = false;
    bool hint_ = false;
    bool applying_ = false;
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
    const bool dark = IsDark(palette.color(QPalette::Window));
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
    Toner::Of(widget).SetTone(tone);
}

void SetInk(QWidget &widget, const QColor &colour)
{
    Toner::Of(widget).SetColour(colour);
}

void SetGround(QWidget &widget, Tone tone)
{
    Toner::Of(widget).SetGround(tone);
}

void SetReadableHint(QWidget &widget)
{
    Toner::Of(widget).SetReadableHint();
}

void SetFlat(QWidget &widget)
{
    Toner::Of(widget).SetFlat();
}

QColor Readable(const QColor &colour, const QColor &ground, double contrast)
{
    const bool lighter = IsDark(ground);
    const auto step = static_cast<float>(lighter ? shadeStep : -shadeStep);
    float hue = 0, saturation = 0, lightness = 0;
    colour.getHslF(&hue, &saturation, &lightness);
    QColor shade = colour;
    while (Contrast(shade, ground) < contrast && (lighter ? lightness < 1 : lightness > 0)) {
        lightness = std::clamp(lightness + step, 0.0F, 1.0F);
        shade = QColor::fromHslF(hue, saturation, lightness);
    }
    return shade;
}

bool IsDark(const QColor &ground)
{
    return Luminance(ground) < middleLuminance;
}

QColor Mixed(const QColor &one, const QColor &other, double part)
{
    const auto mix = [part](int a, int b) { return static_cast<int>(std::lround(a + part * (b - a))); };
    return {mix(one.red(), other.red()), mix(one.green(), other.green()), mix(one.blue(), other.blue())};
}

double Contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({Luminance(one), Luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}
