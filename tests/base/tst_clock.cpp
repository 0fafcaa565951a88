// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/clock.h"
#include "simulation/simulatedclock.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QEventLoop>
#include <QtTest>

namespace {
Task<void> WaitFor(Clock::Duration length, int *done)
{
    Delay delay(length);
    co_await delay;
    ++*done;
}
} // namespace

class TestClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- the one of the tests

    void ItStandsStillUntilItIsLetGo()
    {
        SimulatedClock clock;
        QCOMPARE(&Clock::Current(), &clock);
        QCOMPARE(&Simulated(), &clock);
        const Stopwatch watch;
        QCOMPARE(watch.Elapsed(), Clock::Duration::zero());
        clock.Run(90s);
        QCOMPARE(watch.Elapsed(), Clock::Duration(90s));
    }

    void TheSystemsIsThereAgainBehindIt()
    {
        const Clock *const system = &Clock::Current();
        {
            const SimulatedClock clock;
            QVERIFY(&Clock::Current() != system);
        }
        QCOMPARE(&Clock::Current(), system);
    }

    void AlarmsRingOnceInTheOrderOfTheirMoments()
    {
        SimulatedClock clock;
        QStringList rung;
        const Stopwatch watch;
        const auto note = [&](const char *name) {
            rung.append(QStringLiteral("%1 %2").arg(QLatin1String(name)).arg(watch.Elapsed() / 1ms));
        };
        Alarm late([&] { note("late"); });
        Alarm first([&] { note("first"); });
        Alarm second([&] { note("second"); });
        Alarm never([&] { note("never"); });
        QVERIFY(!late.IsSet());
        late.Start(30ms);
        never.Start(15ms);
        first.Start(20ms);
        second.Start(20ms); // at the same moment: in the order in which they were set
        QVERIFY(late.IsSet());
        never.Stop();
        QVERIFY(!never.IsSet());
        clock.Run(1s);
        QCOMPARE(rung,
                 (QStringList{QStringLiteral("first 20"), QStringLiteral("second 20"), QStringLiteral("late 30")}));
        QVERIFY(!late.IsSet());
    }

    void OneThatIsSetStartsAfresh()
    {
        SimulatedClock clock;
        int rung = 0;
        Alarm alarm([&rung] { ++rung; });
        alarm.Start(20ms);
        clock.Run(15ms);
        alarm.Start(20ms);
        clock.Run(19ms);
        QCOMPARE(rung, 0);
        clock.Run(1ms);
        QCOMPARE(rung, 1);
    }

    void AnAlarmMayBeSetAgainOrDestroyedByItsOwnRing()
    {
        SimulatedClock clock;
        int rung = 0;
        std::unique_ptr<Alarm> alarm;
        alarm = std::make_unique<Alarm>([&] {
            if (++rung < 3)
                alarm->Start(10ms);
            else
                alarm.reset();
        });
        alarm->Start(10ms);
        clock.Run(1s);
        QCOMPARE(rung, 3);
        QVERIFY(!alarm);
    }

    void AThreadThatIsHeldUpRingsLate()
    {
        SimulatedClock clock;
        const Stopwatch watch;
        Clock::Duration rung{};
        Alarm alarm([&] { rung = watch.Elapsed(); });
        alarm.Start(20ms);
        clock.Stall(300ms);
        QCOMPARE(rung, Clock::Duration::zero());
        clock.Run(0ms);
        QCOMPARE(rung, Clock::Duration(300ms));
    }

    void ADelayGoesOnWhenItIsOver()
    {
        SimulatedClock clock;
        int done = 0;
        Runner runner;
        runner.Start(WaitFor(50ms, &done));
        runner.Start(WaitFor(0ms, &done));
        QCOMPARE(done, 0); // never at once
        clock.Run(49ms);
        QCOMPARE(done, 1);
        clock.Run(1ms);
        QCOMPARE(done, 2);
        QVERIFY(runner.Idle());
    }

    void ADelayEndsWithItsCoroutine()
    {
        SimulatedClock clock;
        int done = 0;
        Runner runner;
        runner.Start(WaitFor(50ms, &done));
        runner.Drop();
        QVERIFY(!clock.RunUntil([&] { return done > 0; }));
    }

    void ItRunsUntilSomethingHolds()
    {
        SimulatedClock clock;
        const Stopwatch watch;
        bool rung = false;
        Alarm alarm([&rung] { rung = true; });
        alarm.Start(20ms);
        QVERIFY(clock.RunUntil([&] { return rung; }));
        QCOMPARE(watch.Elapsed(), Clock::Duration(20ms));
        QVERIFY(!clock.RunUntil([] { return false; }, 5s)); // in vain, but the time has passed
        QCOMPARE(watch.Elapsed(), Clock::Duration(5020ms));
    }

    void TheClockOnTheWallGoesWithIt()
    {
        SimulatedClock clock;
        const QDateTime midnight(QDate(2027, 1, 1), QTime(0, 0));
        clock.SetLocalTime(midnight.addSecs(-1));
        QCOMPARE(Clock::Current().LocalTime(), midnight.addSecs(-1));
        clock.Run(1500ms);
        QCOMPARE(Clock::Current().LocalTime(), midnight.addMSecs(500));
    }

    // ---- the system's

    void TheSystemsAlarmRingsOnceAndNotBeforeItsTime()
    {
        QEventLoop loop;
        const Stopwatch watch;
        int rung = 0;
        Alarm alarm([&] {
            ++rung;
            loop.quit();
        });
        alarm.Start(3ms);
        QVERIFY(alarm.IsSet());
        loop.exec();
        QVERIFY(watch.Elapsed() >= 3ms);
        QVERIFY(!alarm.IsSet());
        QCOMPARE(rung, 1);
    }

    void TheSystemsAlarmsKeepTheirOrder()
    {
        QEventLoop loop;
        QStringList rung;
        Alarm later([&] {
            rung.append(QStringLiteral("later"));
            loop.quit();
        });
        Alarm sooner([&] { rung.append(QStringLiteral("sooner")); });
        Alarm never([&] { rung.append(QStringLiteral("never")); });
        later.Start(8ms);
        sooner.Start(2ms);
        never.Start(1ms);
        never.Stop();
        loop.exec();
        QCOMPARE(rung, (QStringList{QStringLiteral("sooner"), QStringLiteral("later")}));
    }

    void ASystemsAlarmMayBeDestroyedByItsOwnRing()
    {
        QEventLoop loop;
        std::unique_ptr<Alarm> alarm;
        alarm = std::make_unique<Alarm>([&] {
            alarm.reset();
            loop.quit();
        });
        alarm->Start(1ms);
        loop.exec();
        QVERIFY(!alarm);
    }

    void TheSystemsClockGoesOn()
    {
        const auto before = Clock::Current().Now();
        const QDateTime wallBefore = QDateTime::currentDateTime();
        const QDateTime wall = Clock::Current().LocalTime();
        QVERIFY(Clock::Current().Now() >= before);
        QVERIFY(wallBefore <= wall && wall <= QDateTime::currentDateTime());
    }
};

REGISTER_TEST(TestClock)
#include "tst_clock.moc"
