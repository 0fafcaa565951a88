// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/tone.h"

#include "support/palettes.h"
#include "support/suite.h"

#include <QLabel>
#include <QLineEdit>
#include <QtTest>

using palettes::Dark, palettes::Light;

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

    void AnyColourCanBeRead_data()
    {
        QTest::addColumn<QColor>("ground");
        for (const QColor &ground : {QColor(Qt::white), QColor(239, 239, 239), QColor(53, 53, 53), QColor(Qt::black)})
            QTest::newRow(qPrintable(ground.name())) << ground;
    }
    void AnyColourCanBeRead()
    {
        QFETCH(QColor, ground);
        for (int hue = 0; hue < 360; hue += 15)
            for (const int lightness : {0, 60, 128, 200, 255})
                QVERIFY(Contrast(Readable(QColor::fromHsl(hue, 200, lightness), ground, textContrast), ground) >=
                        textContrast);
        const QColor readable = Readable(ground, ground, textContrast);
        QCOMPARE(Readable(readable, ground, textContrast), readable);
    }

    void AMarkedGroundFollowsThePaletteAndGoes()
    {
        QWidget window;
        QLineEdit entry(&window);
        for (const QPalette &palette : {Light(), Dark()}) {
            window.setPalette(palette);
            SetGround(entry, Tone::Danger);
            const QColor ground = entry.palette().color(QPalette::Base);
            QVERIFY(ground != palette.color(QPalette::Base));
            QVERIFY(Contrast(entry.palette().color(QPalette::Text), ground) >= textContrast);
        }
        SetGround(entry, Tone::Plain);
        QCOMPARE(entry.palette().color(QPalette::Base), Dark().color(QPalette::Base));
    }
};

REGISTER_TEST(TestTone)
#include "tst_tone.moc"
