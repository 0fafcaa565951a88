// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/tone.h"

#include "support/suite.h"

#include <QLabel>
#include <QtTest>

namespace {
QPalette Light()
{
    return {QColor(239, 239, 239)};
}
QPalette Dark()
{
    return {QColor(50, 50, 50), QColor(45, 45, 48)};
}
} // namespace

class TestTone : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EveryToneIsReadableOnLightAndDark()
    {
        for (const QPalette &palette : {Light(), Dark()})
            for (const Tone tone : {Tone::Plain, Tone::Quiet, Tone::Good, Tone::Caution, Tone::Danger})
                for (const QPalette::ColorRole ground : {QPalette::Window, QPalette::Base, QPalette::Button}) {
                    const double contrast = Contrast(Ink(tone, palette), palette.color(ground));
                    QVERIFY2(contrast >= 4.5, qPrintable(QStringLiteral("tone %1: %2").arg(int(tone)).arg(contrast)));
                }
    }

    void ContrastIsAsTheStandardSays()
    {
        QCOMPARE(Contrast(Qt::black, Qt::white), 21.0);
        QCOMPARE(Contrast(Qt::white, Qt::black), 21.0);
        QCOMPARE(Contrast(Qt::red, Qt::red), 1.0);
        QVERIFY(qAbs(Contrast(QColor(0x77, 0x77, 0x77), Qt::white) - 4.48) < 0.01);
    }

    void AToneFollowsThePalette()
    {
        QWidget window;
        QLabel label(&window);
        window.setPalette(Light());
        SetTone(label, Tone::Danger);
        QCOMPARE(label.palette().color(QPalette::WindowText), Ink(Tone::Danger, Light()));
        window.setPalette(Dark());
        QCOMPARE(label.palette().color(QPalette::WindowText), Ink(Tone::Danger, Dark()));
        SetTone(label, Tone::Plain);
        QCOMPARE(label.palette().color(QPalette::WindowText), Dark().color(QPalette::WindowText));
    }
};

REGISTER_TEST(TestTone)
#include "tst_tone.moc"
