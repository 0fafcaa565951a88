// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtiles.h"

#include "chart/colours.h"

#include <QHBoxLayout>
#include <QLocale>

#include <cmath>

namespace {
constexpr int gap = 24; // pixels between two of them

Figure *Tile(const QString &name, const QString &caption, const QString &unit, const QString &curve, QWidget *parent)
{
    return new Figure(name, caption, unit, parent, colours::Of(curve));
}
} // namespace

RunTiles::RunTiles(const RunNews &news, QWidget *parent)
    : QWidget(parent)
    , volts_(Tile(QStringLiteral("tension"), QStringLiteral("Tension"), QStringLiteral("V"),
                  QStringLiteral("V Batterie"), this))
    , amperes_(Tile(QStringLiteral("courant"), QStringLiteral("Courant"), QStringLiteral("A"),
                    QStringLiteral("Courant"), this))
    , capacity_(Tile(QStringLiteral("capacite"), QStringLiteral("Capacité"), QStringLiteral("mAh"),
                     QStringLiteral("Capacité"), this))
    , temperature_(Tile(QStringLiteral("temperature"), QStringLiteral("Température"), QStringLiteral("°C"),
                        QStringLiteral("Température"), this))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(gap);
    for (Figure *figure : {volts_, amperes_, capacity_, temperature_})
        row->addWidget(figure, 1);
    connect(&news, &RunNews::Began, this, &RunTiles::Clear);
    connect(&news, &RunNews::PhaseBegan, this, [this] { SetTone(Tone::Quiet); });
    connect(&news, &RunNews::Measured, this, &RunTiles::Take);
    connect(&news, &RunNews::Over, this, [this] { SetTone(Tone::Quiet); });
    SetTone(Tone::Quiet);
}

void RunTiles::Clear()
{
    for (Figure *figure : {volts_, amperes_, capacity_, temperature_})
        figure->Show();
}

QList<QWidget *> RunTiles::Readings() const
{
    return {volts_->Number(), amperes_->Number(), capacity_->Number(), temperature_->Number()};
}

void RunTiles::Take(const RunPoint &point)
{
    const QLocale here = locale();
    volts_->Show(here.toString(point.volts, 'f', 2));
    amperes_->Show(point.currentKnown ? here.toString(point.amperes, 'f', 2) : QString());
    capacity_->Show(point.currentKnown
                        ? QString::number(std::floor(point.milliampereHours), 'f', 0) // as its window does
                        : QString());
    temperature_->Show(std::isnan(point.temperature) ? QString() : QString::number(point.temperature, 'f', 0));
    SetTone(Tone::Plain);
}

void RunTiles::SetTone(Tone tone)
{
    for (Figure *figure : {volts_, amperes_, capacity_, temperature_})
        figure->SetTone(tone);
}
