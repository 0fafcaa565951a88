// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/sliderbox.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

namespace {
/// A slider of 0 to 255 in a window, with its box.
struct Bench
{
    explicit Bench(SliderBox::Amount amount = {})
        : slider(new QSlider(Qt::Horizontal, &window)), row(new QHBoxLayout(&window))
    {
        slider->setObjectName(QStringLiteral("Courant"));
        slider->setRange(0, 255);
        row->addWidget(slider);
        box = new SliderBox(slider, std::move(amount), QStringLiteral("A"));
        QObject::connect(slider, &QSlider::valueChanged, &window, [this](int value) { sent.append(value); });
        window.show();
    }
    void Type(const QString &text)
    {
        box->selectAll();
        QTest::keyClicks(box, text);
    }
    void Enter() { QTest::keyClick(box, Qt::Key_Return); }

    QList<int> sent; ///< what a window would send, until it is gone
    QWidget window;
    QSlider *slider;
    QHBoxLayout *row;
    SliderBox *box;
};

std::optional<double> Fiftieths(int setting)
{
    return setting / 50.0;
}
} // namespace

/// The number box beside a slider.
class TestSliderBox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ItStandsBesideItsSlider()
    {
        Bench bench;
        QCOMPARE(bench.box->objectName(), QStringLiteral("CourantBox"));
        QCOMPARE(bench.box->minimum(), 0);
        QCOMPARE(bench.box->maximum(), 255);
        const auto left = [&bench](QWidget *widget) { return widget->mapTo(&bench.window, QPoint()).x(); };
        QVERIFY(left(bench.box) >= left(bench.slider) + bench.slider->width());
        bench.slider->setRange(1, 100);
        QCOMPARE(bench.box->minimum(), 1);
        QCOMPARE(bench.box->maximum(), 100);
        bench.slider->setEnabled(false);
        QVERIFY(!bench.box->isEnabled());
        bench.slider->setEnabled(true);
        QVERIFY(bench.box->isEnabled());
    }

    void ADigitOnTheSliderBeginsANumber()
    {
        Bench bench;
        bench.slider->setValue(96);
        bench.sent.clear();
        QTest::keyClick(bench.slider, Qt::Key_1);
        QTest::keyClick(bench.box, Qt::Key_2);
        QCOMPARE(bench.box->text(), QStringLiteral("12"));
        QCOMPARE(bench.sent, QList<int>());
        bench.Enter();
        QCOMPARE(bench.sent, QList<int>{12});
        QTest::keyClick(bench.slider, Qt::Key_Right); // is the slider's own
        QCOMPARE(bench.sent, (QList<int>{12, 13}));
    }

    void TheTabulatorPassesItBy()
    {
        Bench bench;
        auto *before = new QLineEdit;
        auto *behind = new QLineEdit;
        bench.row->insertWidget(0, before);
        bench.row->addWidget(behind);
        QWidget::setTabOrder(before, bench.slider);
        QWidget::setTabOrder(bench.slider, bench.box);
        QWidget::setTabOrder(bench.box, behind);
        bench.window.activateWindow();
        const SimulatedClock clock;
        SOON_EQUAL(QGuiApplication::focusWindow(), bench.window.windowHandle());
        before->setFocus();
        const QList<std::pair<Qt::Key, QWidget *>> steps{{Qt::Key_Tab, bench.slider},
                                                         {Qt::Key_Tab, behind},
                                                         {Qt::Key_Backtab, bench.slider},
                                                         {Qt::Key_Backtab, before}};
        for (const auto &[key, reached] : steps) {
            QTest::keyClick(QApplication::focusWidget(), key);
            QCOMPARE(QApplication::focusWidget(), reached);
        }
    }

    void ItStandsBelowAnUprightOne()
    {
        QWidget window;
        auto *slider = new QSlider(Qt::Vertical, &window);
        (new QHBoxLayout(&window))->addWidget(slider);
        const SliderBox box(slider);
        window.show();
        QVERIFY(box.mapTo(&window, QPoint()).y() >= slider->mapTo(&window, QPoint()).y() + slider->height());
    }

    void ItFollowsTheSlider()
    {
        Bench bench;
        bench.slider->setValue(96);
        QCOMPARE(bench.box->text(), QStringLiteral("96"));
        QCOMPARE(bench.sent, QList<int>{96});
        const QSignalBlocker quiet(bench.slider);
        bench.slider->setValue(97);
        bench.box->Follow();
        QCOMPARE(bench.box->text(), QStringLiteral("97"));
        QCOMPARE(bench.sent, QList<int>{96});
    }

    void ANumberMovesTheSliderOnceItIsEntered()
    {
        Bench bench;
        bench.Type(QStringLiteral("120"));
        QCOMPARE(bench.sent, QList<int>());
        bench.Enter();
        QCOMPARE(bench.slider->value(), 120);
        QCOMPARE(bench.sent, QList<int>{120});
        bench.Enter();
        bench.Type(QStringLiteral("120"));
        bench.Enter();
        QCOMPARE(bench.sent, QList<int>{120}); // nothing has changed
        QTest::keyClick(bench.box, Qt::Key_Up);
        QCOMPARE(bench.sent, (QList<int>{120, 121}));
    }

    void ANumberIsEnteredByLeavingTheBox()
    {
        Bench bench;
        bench.Type(QStringLiteral("12"));
        QFocusEvent leaves(QEvent::FocusOut);
        QApplication::sendEvent(bench.box, &leaves);
        QCOMPARE(bench.sent, QList<int>{12});
    }

    void WhatIsNoSettingCannotBeTyped_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::newRow("letters") << "abc" << "";
        QTest::newRow("beyond the end") << "300" << "30";
        QTest::newRow("before the beginning") << "-7" << "7";
        QTest::newRow("between two") << "1.5" << "15";
    }
    void WhatIsNoSettingCannotBeTyped()
    {
        QFETCH(QString, typed);
        Bench bench;
        bench.box->selectAll();
        QTest::keyClick(bench.box, Qt::Key_Delete);
        QTest::keyClicks(bench.box, typed);
        QTEST(bench.box->text(), "shown");
    }

    void AnEmptyEntryLeavesTheSliderWhereItIs()
    {
        Bench bench;
        bench.slider->setValue(96);
        bench.box->selectAll();
        QTest::keyClick(bench.box, Qt::Key_Delete);
        bench.Enter();
        QCOMPARE(bench.slider->value(), 96);
        QCOMPARE(bench.box->text(), QStringLiteral("96"));
        QCOMPARE(bench.sent, QList<int>{96});
    }

    void AnAmountIsShownAndTyped_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("setting");
        QTest::addColumn<QString>("shown");
        QTest::newRow("point") << "1.92" << 96 << "1.92 A";
        QTest::newRow("comma") << "1,92" << 96 << "1.92 A";
        QTest::newRow("with its unit") << "1.92 A" << 96 << "1.92 A";
        QTest::newRow("the nearest") << "1.93" << 96 << "1.92 A"; // 1.94 is as far
        QTest::newRow("whole") << "5" << 250 << "5.00 A";
    }
    void AnAmountIsShownAndTyped()
    {
        QFETCH(QString, typed);
        Bench bench(Fiftieths);
        bench.Type(typed);
        bench.Enter();
        QTEST(bench.slider->value(), "setting");
        QTEST(bench.box->text(), "shown");
        QCOMPARE(bench.sent.size(), 1);
    }

    void AnAmountThatNobodyKnowsIsTheSetting()
    {
        Bench bench([](int) { return std::nullopt; });
        bench.Type(QStringLiteral("96"));
        bench.Enter();
        QCOMPARE(bench.slider->value(), 96);
        QCOMPARE(bench.box->text(), QStringLiteral("96"));
    }

    void AnEmptyBoxTakesAnyNumberForAMove()
    {
        Bench bench;
        const int width = bench.box->width();
        bench.box->Empty();
        QVERIFY(bench.box->IsEmpty());
        QCOMPARE(bench.box->text(), QStringLiteral("–"));
        QCOMPARE(bench.box->width(), width);
        bench.Enter(); // nothing was typed
        QCOMPARE(bench.sent, QList<int>());
        bench.Type(QStringLiteral("0"));
        bench.Enter();
        QCOMPARE(bench.sent, QList<int>{0}); // where the slider stands
        QCOMPARE(bench.box->text(), QStringLiteral("0"));
        QVERIFY(!bench.box->IsEmpty());
        bench.box->Empty();
        bench.Type(QStringLiteral("3"));
        bench.Enter();
        QCOMPARE(bench.sent, (QList<int>{0, 3}));
        bench.box->Empty();
        bench.slider->setValue(4);
        QCOMPARE(bench.box->text(), QStringLiteral("4"));
    }
};

REGISTER_TEST(TestSliderBox)
#include "tst_sliderbox.moc"
