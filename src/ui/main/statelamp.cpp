// SPDX-License-Identifier: GPL-3.0-or-later
#include "statelamp.h"

#include "base/tone.h"

#include <QPainter>

using Doing = BoardState::Doing;

namespace {
constexpr double side = 20; // of the square that the shapes are given in
constexpr double line = 2.4;

Tone ToneOf(Doing what)
{
    switch (what) {
    case Doing::Unknown:
        return Tone::Quiet;
    case Doing::Rest:
        return Tone::Good;
    case Doing::Charge:
    case Doing::Discharge:
    case Doing::Both:
    case Doing::Stream:
        break;
    }
    return Tone::Caution;
}

void Draw(QPainter &painter, Doing what)
{
    switch (what) {
    case Doing::Unknown:
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(QRectF(3, 3, 14, 14));
        break;
    case Doing::Rest:
        painter.drawRect(QRectF(4, 4, 12, 12));
        break;
    case Doing::Charge:
        painter.drawPolygon(QPolygonF{{10, 2.5}, {18, 16.5}, {2, 16.5}});
        break;
    case Doing::Discharge:
        painter.drawPolygon(QPolygonF{{10, 17.5}, {2, 3.5}, {18, 3.5}});
        break;
    case Doing::Both:
        painter.drawPolygon(QPolygonF{{10, 1.5}, {16.5, 8.5}, {3.5, 8.5}});
        painter.drawPolygon(QPolygonF{{10, 18.5}, {3.5, 11.5}, {16.5, 11.5}});
        break;
    case Doing::Stream:
        painter.drawEllipse(QRectF(2, 7, 6, 6));
        for (const double radius : {7.5, 12.5})
            painter.drawArc(QRectF(5 - radius, 10 - radius, 2 * radius, 2 * radius), -50 * 16, 100 * 16);
        break;
    }
}
} // namespace

StateLamp::StateLamp(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("boardLamp"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void StateLamp::Show(Doing what, bool past, bool unwatched)
{
    what_ = what;
    past_ = past;
    unwatched_ = unwatched;
    update();
}

QSize StateLamp::sizeHint() const
{
    const int height = fontMetrics().height();
    return {height, height};
}

void StateLamp::paintEvent(QPaintEvent *)
{
    const Tone tone = past_ ? Tone::Quiet : unwatched_ ? Tone::Danger : ToneOf(what_);
    const QColor ink = Ink(tone, palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(width() / side, height() / side);
    painter.setPen(QPen(ink, line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(past_ ? QBrush(Qt::NoBrush) : QBrush(ink));
    Draw(painter, what_);
}
