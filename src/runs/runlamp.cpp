// SPDX-License-Identifier: GPL-3.0-or-later
#include "runlamp.h"

#include <QPainter>
#include <QShowEvent>

namespace {
constexpr int side = 26; // pixels
constexpr double line = 3.5;
} // namespace

RunLamp::RunLamp(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void RunLamp::Watch(const RunNews &news, QWidget &word)
{
    news_ = &news;
    word_ = &word;
    SetTone(word, tone_);
    connect(&news, &RunNews::Began, this, [this] { Show(Shape::Disc, Tone::Caution); });
    connect(&news, &RunNews::Over, this, &RunLamp::End);
}

void RunLamp::End(const RunEnd &end)
{
    switch (end.how) {
    case RunEnd::How::Rule:
        Show(Shape::Tick, Tone::Good);
        break;
    case RunEnd::How::Stop:
        Show(Shape::Square, Tone::Plain);
        break;
    case RunEnd::How::Cause:
    case RunEnd::How::Error:
        Show(Shape::Triangle, Tone::Danger);
        break;
    case RunEnd::How::Left:
    case RunEnd::How::Restart:
        Show(Shape::Ring, Tone::Plain);
        break;
    }
}

void RunLamp::Show(Shape shape, Tone tone)
{
    shape_ = shape;
    tone_ = tone;
    SetTone(*word_, tone);
    update();
}

/// Its window opens, at rest.
void RunLamp::showEvent(QShowEvent *event)
{
    if (!event->spontaneous() && !news_->On())
        Show(Shape::Ring, Tone::Plain);
    QWidget::showEvent(event);
}

void RunLamp::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink = Ink(tone_, palette());
    painter.setPen(QPen(ink, line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QRectF room = QRectF(rect()).adjusted(line, line, -line, -line);
    const auto at = [&room](double x, double y) {
        return room.topLeft() + QPointF(x * room.width(), y * room.height());
    };
    if (shape_ != Shape::Ring && shape_ != Shape::Tick)
        painter.setBrush(ink);
    switch (shape_) {
    case Shape::Ring:
    case Shape::Disc:
        painter.drawEllipse(room);
        break;
    case Shape::Tick:
        painter.drawPolyline(QPolygonF{at(0.05, 0.55), at(0.4, 0.9), at(0.95, 0.1)});
        break;
    case Shape::Square:
        painter.drawRect(room.adjusted(line, line, -line, -line));
        break;
    case Shape::Triangle:
        painter.drawPolygon(QPolygonF{at(0.5, 0), at(1, 0.95), at(0, 0.95)});
        break;
    }
}

QSize RunLamp::sizeHint() const
{
    return {side, side};
}
