// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/timer.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QtTest>

#include <vector>

namespace {
/// A timer and the moments of its ticks, counted from the start.
struct Ticking
{
    explicit Ticking(int milliseconds) : timer(QStringLiteral("t"), milliseconds, nullptr)
    {
        QObject::connect(&timer, &Timer::Tick, &timer, [this] { at.push_back(began.Elapsed() / 1ms); });
    }
    SimulatedClock clock;
    Timer timer;
    Stopwatch began;
    std::vector<long> at;
};

using Moments = std::vector<long>;
} // namespace

class TestTimer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { Timer::SetScale(1); }

    void StartsDisabledUnderItsName()
    {
        const Ticking t(200);
        QCOMPARE(t.timer.objectName(), QStringLiteral("t"));
        QCOMPARE(t.timer.Interval(), 200);
        QVERIFY(!t.timer.Enabled());
        Simulated().Run(1s);
        QVERIFY(t.at.empty());
    }

    void TicksWhileItIsEnabled()
    {
        Ticking t(200);
        t.timer.SetEnabled(true);
        QVERIFY(t.timer.Enabled());
        Simulated().Run(799ms);
        QCOMPARE(t.at, (Moments{200, 400, 600}));
        t.timer.SetEnabled(false);
        QVERIFY(!t.timer.Enabled());
        Simulated().Run(1s);
        QCOMPARE(t.at.size(), size_t(3));
    }

    void ANewIntervalBeginsAtOnce()
    {
        Ticking t(200);
        t.timer.SetEnabled(true);
        Simulated().Run(150ms);
        t.timer.SetInterval(300);
        QVERIFY(t.timer.Enabled());
        Simulated().Run(600ms);
        QCOMPARE(t.at, (Moments{450, 750}));
        t.timer.SetEnabled(false);
        t.timer.SetInterval(150);
        QVERIFY(!t.timer.Enabled());
        QCOMPARE(t.timer.Interval(), 150);
        Simulated().Run(1s);
        QCOMPARE(t.at.size(), size_t(2));
    }

    void OneThatIsEnabledAgainStartsAfresh()
    {
        Ticking t(200);
        t.timer.SetEnabled(true);
        Simulated().Run(150ms);
        t.timer.SetEnabled(true);
        Simulated().Run(250ms);
        QCOMPARE(t.at, (Moments{350}));
    }

    void ALateTickDoesNotPutOffTheOthers()
    {
        Ticking t(200);
        t.timer.SetEnabled(true);
        Simulated().Stall(250ms);
        Simulated().Run(400ms);
        QCOMPARE(t.at, (Moments{250, 400, 600}));
    }

    void TicksThatWereMissedAreNotMadeUpFor()
    {
        Ticking t(200);
        t.timer.SetEnabled(true);
        Simulated().Stall(900ms);
        Simulated().Run(400ms);
        QCOMPARE(t.at, (Moments{900, 1000, 1200}));
    }

    void AHandlerMayStopIt()
    {
        Ticking t(200);
        connect(&t.timer, &Timer::Tick, &t.timer, [&t] { t.timer.SetEnabled(false); });
        t.timer.SetEnabled(true);
        Simulated().Run(1s);
        QCOMPARE(t.at, (Moments{200}));
    }

    void TheScaleMakesAllFaster_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("interval");
        QTest::addColumn<int>("real");
        QTest::newRow("real time") << 1.0 << 200 << 200;
        QTest::newRow("twenty times") << 20.0 << 200 << 10;
        QTest::newRow("a fraction") << 2.5 << 150 << 60;
        QTest::newRow("never slower than real time") << 0.1 << 200 << 200;
        QTest::newRow("never faster than every millisecond") << 100000.0 << 20 << 1;
    }
    void TheScaleMakesAllFaster()
    {
        QFETCH(double, scale);
        QFETCH(int, interval);
        QFETCH(int, real);
        Timer::SetScale(scale);
        QCOMPARE(Timer::Scale(), std::max(1.0, scale));
        Ticking t(interval);
        QCOMPARE(t.timer.Interval(), interval);
        t.timer.SetEnabled(true);
        Simulated().Run(2 * real * 1ms);
        QCOMPARE(t.at, (Moments{real, 2 * real}));
        t.at.clear();
        t.timer.SetInterval(2 * interval);
        Simulated().Run(1ms * std::max(1, 2 * real));
        QVERIFY(!t.at.empty());
    }
};

REGISTER_TEST(TestTimer)
#include "tst_timer.moc"
