// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/sliderbox.h"
#include "house.h"
#include "support/suite.h"

#include <QSlider>
#include <QSpinBox>

/// The sliders of all windows.
class TestSliders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EachHasItsNumberBox()
    {
        House house;
        house.Load();
        QStringList sliders;
        for (const QWidget *window : QApplication::topLevelWidgets())
            for (const QSlider *slider : window->findChildren<QSlider *>()) {
                const QString name = window->objectName() + u'.' + slider->objectName();
                sliders.append(name);
                const auto *box = window->findChild<QSpinBox *>(slider->objectName() + QStringLiteral("Box"));
                QVERIFY2(box, qUtf8Printable(name));
                QCOMPARE(box->minimum(), slider->minimum());
                QCOMPARE(box->maximum(), slider->maximum());
            }
        sliders.sort();
        QCOMPARE(sliders.join(u' '),
                 QStringLiteral("Chargeur.Slider1 Chargeur.Slider2 Chargeur.Slider3 Dechargeur.Slider1 EEprom.Vscroll1 "
                                "Exteepr.Slider1 FEtat.Slider1 FEtat.Slider2 FEtat.Slider3 FEtat.Slider4 "
                                "FEtat.SliderPWMDelta FEtat.SliderPWMFreq MesCapa.SlIChrg MesCapa.SlIDech "
                                "Rcourant.Slcour RegLIPO.REGDelta RegLIPO.REGOfs RglDech.SlDech"));
    }

    /// A window, its slider and what a move to 7 sends.
    void WhatIsTypedIsSentAsAMoveIs_data()
    {
        QTest::addColumn<QString>("way");
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("slider");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("discharge") << "CbDechargeur" << "Dechargeur" << "Slider1" << Bytes({27, 20, 7});
        QTest::newRow("charge of a capacity") << "CbCapa" << "MesCapa" << "SlIChrg" << Bytes({27, 19, 7});
        QTest::newRow("its discharge") << "CbCapa" << "MesCapa" << "SlIDech" << Bytes({27, 20, 7});
        QTest::newRow("offset") << "Cb_Debug CBEtat" << "FEtat" << "Slider3" << Bytes({27, 21, 7});
        QTest::newRow("gain") << "Cb_Debug CBEtat" << "FEtat" << "Slider4" << Bytes({27, 22, 7});
    }
    void WhatIsTypedIsSentAsAMoveIs()
    {
        QFETCH(QString, way);
        QFETCH(QString, window);
        QFETCH(QString, slider);
        QFETCH(QByteArray, sent);
        House house;
        house.Load();
        for (const QString &button : way.split(u' ')) {
            for (const QWidget *each : QApplication::topLevelWidgets())
                if (auto *found = each->findChild<QPushButton *>(button))
                    found->click();
            Simulated().Run(1s);
        }
        house.board.TakeReceived();
        QWidget *const shown = House::Named(qUtf8Printable(window));
        QVERIFY(shown->isVisible());
        auto *const box = shown->findChild<SliderBox *>(slider + QStringLiteral("Box"));
        QVERIFY(shown->findChild<QLabel *>(slider + QStringLiteral("Note"))->isVisible());
        box->selectAll();
        QTest::keyClicks(box, box->Text(7));
        Simulated().Run(1s);
        QCOMPARE(house.board.Received(), QByteArray());
        QTest::keyClick(box, Qt::Key_Return);
        SOON_EQUAL(house.board.Received(), sent);
        QVERIFY(!shown->findChild<QLabel *>(slider + QStringLiteral("Note"))->isVisible());
        QCOMPARE(shown->findChild<QSlider *>(slider)->value(), 7);
    }
};

REGISTER_TEST(TestSliders)
#include "tst_sliders.moc"
