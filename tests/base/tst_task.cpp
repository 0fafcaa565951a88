// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "base/flag.h"
#include "base/task.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QtTest>

#include <memory>

namespace {
/// Gives the number of the handler on whose behalf the awaiting coroutine runs.
struct MyHandler
{
    bool await_ready() const noexcept { return false; }
    template <class Promise>
    bool await_suspend(std::coroutine_handle<Promise> self) noexcept
    {
        number = self.promise().handler;
        return false;
    }
    HandlerNumber await_resume() const noexcept { return number; }
    HandlerNumber number = 0;
};

Task<int> Answer()
{
    co_return 42;
}

Task<std::unique_ptr<int>> Owned()
{
    co_return std::make_unique<int>(7);
}

Task<int> Refuse()
{
    throw Overflow(QStringLiteral("essai"));
    co_return 0; // what makes it a coroutine
}

Task<void> Note(QStringList *log, QString text)
{
    log->append(text);
    co_return;
}

Task<void> Leaf(QStringList *log, Flag *flag)
{
    const Trace trace(log, QStringLiteral("leaf"));
    co_await *flag;
    log->append(QStringLiteral("leaf went on"));
}

Task<int> Branch(QStringList *log, Flag *flag)
{
    const Trace trace(log, QStringLiteral("branch"));
    Task<void> leaf = Leaf(log, flag);
    co_await leaf;
    log->append(QStringLiteral("branch went on"));
    co_return 5;
}

Task<HandlerNumber> NumberBelow(int depth)
{
    if (depth == 0) {
        MyHandler ask;
        const HandlerNumber mine = co_await ask;
        co_return mine;
    }
    Task<HandlerNumber> below = NumberBelow(depth - 1);
    const HandlerNumber number = co_await below;
    co_return number;
}
} // namespace

class TestTask : public QObject
{
    Q_OBJECT

private:
    static Task<void> TakeValues(int *number, std::unique_ptr<int> *owned)
    {
        Task<int> answer = Answer();
        *number = co_await answer;
        Task<std::unique_ptr<int>> task = Owned();
        *owned = co_await task;
    }

    static Task<void> CatchRefusal(QString *text)
    {
        Task<int> refusal = Refuse();
        try {
            co_await refusal;
        } catch (const Overflow &error) {
            *text = error.Text();
        }
    }

    static Task<void> PassRefusalOn(bool *wentOn)
    {
        Task<int> refusal = Refuse();
        co_await refusal;
        *wentOn = true;
    }

    static Task<void> AwaitLate(QStringList *log)
    {
        Task<void> note = Note(log, QStringLiteral("inner"));
        log->append(QStringLiteral("outer"));
        co_await note;
        log->append(QStringLiteral("outer again"));
    }

    static Task<void> Trunk(QStringList *log, Flag *flag, int *value)
    {
        const Trace trace(log, QStringLiteral("trunk"));
        Task<int> branch = Branch(log, flag);
        *value = co_await branch;
    }

    static Task<void> Numbers(HandlerNumber *own, HandlerNumber *below)
    {
        MyHandler ask;
        *own = co_await ask;
        Task<HandlerNumber> deep = NumberBelow(3);
        *below = co_await deep;
    }

private Q_SLOTS:
    void GivesItsValue()
    {
        int number = 0;
        std::unique_ptr<int> owned;
        Runner runner;
        runner.Start(TakeValues(&number, &owned));
        QCOMPARE(number, 42);
        QVERIFY(owned);
        QCOMPARE(*owned, 7);
        QVERIFY(runner.Idle());
    }

    void WhatItThrowsComesOutOfTheAwait()
    {
        QString text;
        Runner runner;
        runner.Start(CatchRefusal(&text));
        QCOMPARE(text, QStringLiteral("Dépassement de capacité : essai"));
        QVERIFY(runner.ThrewNothing());

        bool wentOn = false;
        runner.Start(PassRefusalOn(&wentOn));
        QVERIFY(!wentOn);
        QVERIFY(runner.Threw<Overflow>());
    }

    void StartsWhenItIsAwaited()
    {
        QStringList log;
        {
            const Task<void> never = Note(&log, QStringLiteral("never"));
        }
        QCOMPARE(log, QStringList());
        Runner runner;
        runner.Start(AwaitLate(&log));
        QCOMPARE(log, QStringList({QStringLiteral("outer"), QStringLiteral("inner"), QStringLiteral("outer again")}));
    }

    void GoesOnThroughAllItsCallers()
    {
        QStringList log;
        Flag flag;
        int value = 0;
        Runner runner;
        runner.Start(Trunk(&log, &flag, &value));
        QCOMPARE(log, QStringList());
        flag.Set();
        QCOMPARE(log,
                 QStringList({QStringLiteral("leaf went on"), QStringLiteral("~leaf"), QStringLiteral("branch went on"),
                              QStringLiteral("~branch"), QStringLiteral("~trunk")}));
        QCOMPARE(value, 5);
    }

    void IsDestroyedWhereItWaits()
    {
        QStringList log;
        Flag flag;
        int value = 0;
        {
            Runner runner;
            runner.Start(Trunk(&log, &flag, &value));
        }
        QCOMPARE(log, QStringList({QStringLiteral("~leaf"), QStringLiteral("~branch"), QStringLiteral("~trunk")}));
        flag.Set(); // wakes nobody
        QCOMPARE(log.size(), 3);
        QCOMPARE(value, 0);
    }

    void RunsOnBehalfOfItsCallersHandler()
    {
        HandlerNumber own[2] = {};
        HandlerNumber below[2] = {};
        Runner runner;
        runner.Start(Numbers(&own[0], &below[0]));
        runner.Start(Numbers(&own[1], &below[1]));
        QVERIFY(own[0] > 0);
        QCOMPARE(below[0], own[0]);
        QVERIFY(own[1] > own[0]);
        QCOMPARE(below[1], own[1]);
    }
};

REGISTER_TEST(TestTask)
#include "tst_task.moc"
