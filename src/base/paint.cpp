// SPDX-License-Identifier: GPL-3.0-or-later
#include "paint.h"

#include "tone.h"

#include <QPainter>
#include <QVBoxLayout>

namespace {
/// What a lamp's colour says, as a shape that covers the lamp.
class LampMark : public QWidget
{
public:
    explicit LampMark(QLabel *lamp) : QWidget(lamp)
    {
        setObjectName(markName);
        setAttribute(Qt::WA_TransparentForMouseEvents);
        auto *room = new QVBoxLayout(lamp);
        room->setContentsMargins({});
        room->addWidget(this);
        show(); // the lamp may be there already
    }

    static LampMark *Of(QLabel *lamp)
    {
        auto *mark = lamp->findChild<QWidget *>(markName);
        return mark ? static_cast<LampMark *>(mark) : new LampMark(lamp);
    }

    void Show(const QColor &colour)
    {
        colour_ = colour;
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const double side = std::min(width(), height());
        painter.translate((width() - side) / 2, (height() - side) / 2);
        painter.scale(side, side);
        painter.setPen(QPen(Qt::black, thickness, Qt::SolidLine, Qt::RoundCap));
        if (colour_.green() > colour_.red())
            painter.drawEllipse(QRectF(0.25, 0.25, 0.5, 0.5));
        else if (colour_.red() > colour_.green())
            for (const QPointF arm : {QPointF(-1, -1), {1, -1}, {1, 1}, {-1, 1}})
                painter.drawLine(middle + 0.12 * arm, middle + 0.25 * arm);
        else
            for (const QPointF arm : {QPointF(-1, 0), {1, 0}})
                painter.drawLine(middle + 0.12 * arm, middle + 0.25 * arm);
    }

private:
    static inline const QString markName = QStringLiteral("lampMark");
    static constexpr QPointF middle{0.5, 0.5}; // is left in the lamp's colour
    static constexpr double thickness = 0.12;  // of the lamp's side

    QColor colour_;
};
} // namespace

namespace paint {
void Lamp(QLabel *lamp, const QColor &colour)
{
    QPalette palette = lamp->palette();
    palette.setColor(QPalette::Window, colour);
    lamp->setPalette(palette);
    LampMark::Of(lamp)->Show(colour);
}

void Refused(QLineEdit *entry, bool refused)
{
    SetGround(*entry, refused ? Tone::Danger : Tone::Plain);
}
} // namespace paint
