// SPDX-License-Identifier: GPL-3.0-or-later
#include "marks.h"

#include "base/number.h"

#include <algorithm>

namespace {
constexpr int gap = 4;           // pixels around a name
constexpr double darkPart = 0.2; // of a band's hue in a dark ground
} // namespace

Band::Band(QCustomPlot *plot, double from, const QString &name, const QColor &colour)
    : QCPAbstractItem(plot), from_(from), name_(name), colour_(colour)
{
    setLayer(QStringLiteral("background"));
}

/// On a dark ground a little of the same hue.
void Band::PaintOn(const QColor &ground)
{
    fill_ = colour_;
    if (IsDark(ground))
        fill_ = Mixed(ground, QColor::fromHslF(colour_.hslHueF(), colour_.hslSaturationF(), 0.5F), darkPart);
    ink_ = Readable(fill_, fill_, textContrast);
}

void Band::draw(QCPPainter *painter)
{
    const QRectF frame = clipRect();
    const QCPAxis *keys = parentPlot()->xAxis;
    const double left = std::max(frame.left(), keys->coordToPixel(from_));
    const double right = std::min(frame.right() + 1, to_ ? keys->coordToPixel(*to_) : frame.right() + 1);
    if (right <= left)
        return;
    const QRectF band(left, frame.top(), right - left, frame.height());
    painter->fillRect(band, fill_);
    painter->setFont(parentPlot()->font());
    if (painter->fontMetrics().horizontalAdvance(name_) + 2 * gap > band.width())
        return;
    painter->setPen(ink_);
    painter->drawText(band.adjusted(gap, gap, -gap, 0), Qt::AlignTop | Qt::AlignHCenter, name_);
}

Level::Level(QCPAxis *axis, const QString &name, const QColor &colour)
    : QCPAbstractItem(axis->parentPlot()), axis_(axis), name_(name), colour_(colour)
{
    setLayer(QStringLiteral("overlay"));
}

void Level::draw(QCPPainter *painter)
{
    if (!value_)
        return;
    const QRectF frame = clipRect();
    const double y = axis_->coordToPixel(*value_);
    painter->setPen(QPen(ink_, 0, Qt::DashLine));
    painter->drawLine(QLineF(frame.left(), y, frame.right(), y));
    painter->setFont(parentPlot()->font());
    painter->drawText(QRectF(frame.left() + gap, y - frame.height(), frame.width() - 2 * gap, frame.height()),
                      Qt::AlignBottom | Qt::AlignLeft, name_ + number::Str(*value_));
}
