#include "base/timer.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QtTest>

class TestTimer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { Timer::SetScale(1); }

    void StartsDisabledUnderItsName()
    {
        const Timer timer(QStringLiteral("Timer1"), 200, nullptr);
        QCOMPARE(timer.objectName(), QStringLiteral("Timer1"));
        QCOMPARE(timer.interval(), 200);
        QVERIFY(!timer.Enabled());
    }

    void TicksWhileItIsEnabled()
    {
        Timer timer(QStringLiteral("t"), 1, nullptr);
        QSignalSpy ticks(&timer, &QTimer::timeout);
        timer.SetEnabled(true);
        QVERIFY(timer.Enabled());
        QTRY_VERIFY(ticks.count() >= 3);
        timer.SetEnabled(false);
        QVERIFY(!timer.Enabled());
        ticks.clear();
        QTest::qWait(20);
        QCOMPARE(ticks.count(), 0);
    }

    void ANewIntervalBeginsAtOnce()
    {
        Timer timer(QStringLiteral("t"), 1000000, nullptr);
        timer.SetEnabled(true);
        timer.SetInterval(5000000);
        QVERIFY(timer.Enabled());
        QVERIFY(timer.remainingTime() > 1000000);
        timer.SetEnabled(false);
        timer.SetInterval(150);
        QVERIFY(!timer.Enabled());
        QCOMPARE(timer.interval(), 150);
    }

    void TheScaleMakesAllFaster()
    {
        QCOMPARE(Timer::Scale(), 1.0);
        Timer::SetScale(20);
        QCOMPARE(Timer::Scale(), 20.0);
        Timer timer(QStringLiteral("t"), 200, nullptr);
        QCOMPARE(timer.interval(), 10);
        timer.SetInterval(1000);
        QCOMPARE(timer.interval(), 50);
        Timer::SetScale(2.5);
        timer.SetInterval(150);
        QCOMPARE(timer.interval(), 60);
    }

    void NeverTicksFasterThanEveryMillisecond()
    {
        Timer::SetScale(100000);
        const Timer timer(QStringLiteral("t"), 20, nullptr);
        QCOMPARE(timer.interval(), 1);
    }

    void NeverRunsSlowerThanRealTime()
    {
        Timer::SetScale(0.1);
        QCOMPARE(Timer::Scale(), 1.0);
    }
};

REGISTER_TEST(TestTimer)
#include "tst_timer.moc"
