// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/flag.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QtTest>

#include <optional>

namespace {
Task<void> Wait(QStringList *log, QString name, Flag *flag)
{
    co_await *flag;
    log->append(name);
}

Task<void> WaitTwice(QStringList *log, Flag *flag)
{
    co_await *flag;
    log->append(QStringLiteral("once"));
    co_await *flag;
    log->append(QStringLiteral("twice"));
}

Task<void> ClearWhenWoken(QStringList *log, Flag *flag)
{
    co_await *flag;
    flag->Clear();
    log->append(QStringLiteral("cleared"));
}

Task<void> DropWhenWoken(Flag *flag, Runner *others)
{
    co_await *flag;
    others->Drop();
}
} // namespace

class TestFlag : public QObject
{
    Q_OBJECT

private:
    const QString a_ = QStringLiteral("a");
    const QString b_ = QStringLiteral("b");

private Q_SLOTS:
    void IsClearAtFirst()
    {
        Flag flag;
        QVERIFY(!flag.IsSet());
        flag.Set();
        QVERIFY(flag.IsSet());
        flag.Clear();
        QVERIFY(!flag.IsSet());
    }

    void WakesAllThatWaitInTheirOrder()
    {
        QStringList log;
        Flag flag;
        Runner runner;
        runner.Start(Wait(&log, a_, &flag));
        runner.Start(Wait(&log, b_, &flag));
        QCOMPARE(log, QStringList());
        flag.Set();
        QCOMPARE(log, QStringList({a_, b_}));
        QVERIFY(runner.Idle());
    }

    void IsNotWaitedForWhileItIsSet()
    {
        QStringList log;
        Flag flag;
        flag.Set();
        Runner runner;
        runner.Start(WaitTwice(&log, &flag));
        QCOMPARE(log, QStringList({QStringLiteral("once"), QStringLiteral("twice")}));
    }

    void WakeLeavesItClear()
    {
        QStringList log;
        Flag flag;
        Runner runner;
        runner.Start(WaitTwice(&log, &flag));
        flag.Wake();
        QVERIFY(!flag.IsSet());
        QCOMPARE(log, QStringList({QStringLiteral("once")})); // it waits again, for the next time
        flag.Wake();
        QCOMPARE(log, QStringList({QStringLiteral("once"), QStringLiteral("twice")}));
    }

    void AWaiterThatClearsItHoldsNobodyUp()
    {
        QStringList log;
        Flag flag;
        Runner runner;
        runner.Start(ClearWhenWoken(&log, &flag));
        runner.Start(Wait(&log, b_, &flag));
        flag.Set();
        QCOMPARE(log, QStringList({QStringLiteral("cleared"), b_}));
        QVERIFY(!flag.IsSet());
    }

    void ACancelledWaiterIsNotWoken()
    {
        QStringList log;
        Flag flag;
        Runner stays;
        Runner goes;
        goes.Start(Wait(&log, a_, &flag));
        stays.Start(Wait(&log, b_, &flag));
        goes.Drop();
        flag.Set();
        QCOMPARE(log, QStringList({b_}));
    }

    void AWaiterMayCancelAnother()
    {
        QStringList log;
        Flag flag;
        Runner others;
        Runner runner;
        runner.Start(DropWhenWoken(&flag, &others));
        others.Start(Wait(&log, a_, &flag));
        others.Start(Wait(&log, b_, &flag));
        flag.Set();
        QCOMPARE(log, QStringList());
        QVERIFY(others.Idle());
        QVERIFY(runner.Idle());
    }

    void MayGoBeforeItsWaiters()
    {
        QStringList log;
        std::optional<Flag> flag(std::in_place);
        Runner runner;
        runner.Start(Wait(&log, a_, &*flag));
        flag.reset();
        QVERIFY(!runner.Idle());
        runner.Drop(); // a sanitizer sees it if the waiter still believed in the flag
        QCOMPARE(log, QStringList());
    }
};

REGISTER_TEST(TestFlag)
#include "tst_flag.moc"
