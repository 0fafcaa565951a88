// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/paint.h"
#include "support/suite.h"

#include <QImage>
#include <QtTest>

namespace {
/// Where a lamp of this colour is not of this colour.
QImage MarkOn(QLabel &lamp, const QColor &colour)
{
    paint::Lamp(&lamp, colour);
    return lamp.grab().toImage().createMaskFromColor(colour.rgb(), Qt::MaskOutColor);
}

bool IsMarked(const QImage &mark)
{
    for (int y = 0; y < mark.height(); ++y)
        for (int x = 0; x < mark.width(); ++x)
            if (mark.pixelColor(x, y) != mark.pixelColor(0, 0))
                return true;
    return false;
}
} // namespace

class TestPaint : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ALampIsToldByItsShapeToo()
    {
        QLabel lamp;
        lamp.setAutoFillBackground(true);
        lamp.resize(18, 18);
        lamp.show();
        const QImage green = MarkOn(lamp, QColor(0, 255, 0));
        const QImage red = MarkOn(lamp, QColor(255, 0, 0));
        const QImage grey = MarkOn(lamp, QColor(128, 128, 128));
        for (const QImage &mark : {green, red, grey})
            QVERIFY(IsMarked(mark));
        QVERIFY(green != red && red != grey && grey != green);
        QCOMPARE(MarkOn(lamp, QColor(0, 255, 0)), green);
        QCOMPARE(lamp.text(), QString());
        QCOMPARE(lamp.size(), QSize(18, 18));
    }

    void ALampThatGrowsIsMarkedAroundItsMiddle()
    {
        QLabel lamp;
        lamp.setAutoFillBackground(true);
        lamp.resize(18, 18);
        lamp.show();
        paint::Lamp(&lamp, Qt::red);
        lamp.resize(100, 30);
        const QImage grown = lamp.grab().toImage();
        QCOMPARE(grown.pixelColor(50, 15), QColor(Qt::red)); // whoever looks there sees its colour
        QCOMPARE(grown.pixelColor(55, 20), QColor(Qt::black));
        QCOMPARE(grown.pixelColor(9, 9), QColor(Qt::red));
    }
};

REGISTER_TEST(TestPaint)
#include "tst_paint.moc"
