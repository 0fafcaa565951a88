// SPDX-License-Identifier: GPL-3.0-or-later
#include "link/settingbox.h"
#include "support/programlink.h"
#include "support/suite.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QtTest>

namespace {
/// A slider of the charge current in a window, with its box, at a scale of 50 for an ampere.
struct Bench : ProgramLink
{
    explicit Bench(std::function<bool()> sends = {})
    {
        link.SlaveEeprom[4] = 50;
        slider->setObjectName(QStringLiteral("Courant"));
        slider->setRange(0, 255);
        slider->setToolTip(QStringLiteral("Le courant"));
        (new QHBoxLayout(&window))->addWidget(slider);
        box = new SettingBox(slider, link, SettingBox::Amperes(link, 4), std::move(sends));
        window.resize(600, 50);
        window.show();
    }
    QLabel *Note() { return slider->findChild<QLabel *>(QStringLiteral("CourantNote")); }
    /// Whether the slider says that the board's setting is not known.
    bool SaysUnknown()
    {
        const bool noted = Note()->isVisible();
        const bool grey = slider->palette().color(QPalette::Highlight) == window.palette().color(QPalette::Mid);
        const bool told = slider->toolTip().contains(QStringLiteral("inconnu"));
        if (noted != grey || noted != told || noted != box->IsEmpty())
            qFatal("it says this and that");
        return noted;
    }

    QWidget window;
    QSlider *slider = new QSlider(Qt::Horizontal, &window);
    SettingBox *box;
};
} // namespace

/// The number box of a slider whose setting the board is sent.
class TestSettingBox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TheSettingIsUnknownUntilTheFirstMove()
    {
        Bench bench;
        QVERIFY(bench.SaysUnknown());
        QCOMPARE(bench.Note()->text(), QStringLiteral("réglage de la carte inconnu"));
        QVERIFY(bench.slider->isEnabled() && bench.box->isEnabled());
        bench.slider->setValue(96);
        QVERIFY(!bench.SaysUnknown());
        QCOMPARE(bench.box->text(), QStringLiteral("1.92 A"));
        QCOMPARE(bench.slider->toolTip(), QStringLiteral("Le courant"));
    }

    void ItIsUnknownAgainAfterAnOpening()
    {
        Bench bench;
        bench.slider->setValue(96);
        bench.window.hide();
        bench.window.show();
        QVERIFY(bench.SaysUnknown());
    }

    void ItIsUnknownAgainAfterAConnection()
    {
        Bench bench;
        bench.slider->setValue(96);
        Q_EMIT bench.link.handshake.Connected();
        QVERIFY(bench.SaysUnknown());
        QCOMPARE(bench.slider->value(), 96); // it stays where it is
        bench.box->Enter(96);
        QVERIFY(!bench.SaysUnknown());
    }

    void AMoveThatIsNotSentSaysNothingOfTheBoard()
    {
        bool sends = false;
        Bench bench([&sends] { return sends; });
        bench.slider->setValue(96);
        QVERIFY(bench.SaysUnknown());
        sends = true;
        bench.slider->setValue(97);
        QVERIFY(!bench.SaysUnknown());
        sends = false;
        bench.slider->setValue(98);
        QVERIFY(bench.SaysUnknown());
    }

    void TheNoteKeepsAwayFromTheHandle_data()
    {
        QTest::addColumn<int>("value");
        for (const int value : {0, 60, 127, 128, 200, 255})
            QTest::addRow("%d", value) << value;
    }
    void TheNoteKeepsAwayFromTheHandle()
    {
        QFETCH(int, value);
        Bench bench([] { return false; });
        bench.slider->setValue(value);
        bench.window.resize(601, 50);
        const int handle = bench.slider->width() * value / 255;
        const QRect note = bench.Note()->geometry();
        QVERIFY(QRect(0, 0, bench.slider->width(), bench.slider->height()).contains(note));
        QVERIFY2(handle < note.left() - 8 || handle > note.right() + 8, "the handle is under the note");
    }

    void WithoutACalibrationTheSettingItselfIsShown()
    {
        Bench bench;
        bench.link.SlaveEeprom[4] = 0;
        bench.slider->setValue(96);
        QCOMPARE(bench.box->text(), QStringLiteral("96"));
    }
};

REGISTER_TEST(TestSettingBox)
#include "tst_settingbox.moc"
