// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "base/flag.h"
#include "base/handlers.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QtTest>

namespace {
struct AskNumber
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

Task<void> TakeNumber(std::vector<HandlerNumber> *numbers)
{
    AskNumber ask;
    const HandlerNumber number = co_await ask;
    numbers->push_back(number);
}

Task<void> Wait(QStringList *log, QString name, Flag *flag)
{
    const Trace trace(log, name);
    log->append(name);
    co_await *flag;
    log->append(name + QStringLiteral(" went on"));
}

Task<void> FailAfter(Flag *flag)
{
    co_await *flag;
    throw FileError(QStringLiteral("journal"), QStringLiteral("disque plein"));
}

Task<void> StartAnother(Handlers *handlers, QStringList *log, Flag *flag)
{
    handlers->Start(Wait(log, QStringLiteral("inner"), flag));
    log->append(QStringLiteral("outer"));
    co_return;
}

void Ignore(std::exception_ptr)
{
}
} // namespace

class TestHandlers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void StartAtOnceAndAreForgottenAtTheirEnd()
    {
        QStringList log;
        Flag flag;
        Handlers handlers(Ignore);
        QVERIFY(handlers.Empty());
        handlers.Start(Wait(&log, QStringLiteral("a"), &flag));
        QCOMPARE(log, QStringList({QStringLiteral("a")}));
        QVERIFY(!handlers.Empty());
        flag.Set();
        QCOMPARE(log, QStringList({QStringLiteral("a"), QStringLiteral("a went on"), QStringLiteral("~a")}));
        QVERIFY(handlers.Empty());
    }

    void AreNumberedInTheOrderOfTheirStarts()
    {
        std::vector<HandlerNumber> numbers;
        Handlers one(Ignore);
        Handlers other(Ignore);
        one.Start(TakeNumber(&numbers));
        other.Start(TakeNumber(&numbers));
        one.Start(TakeNumber(&numbers));
        QCOMPARE(numbers.size(), size_t(3));
        QVERIFY(numbers[0] > 0);
        QVERIFY(numbers[1] > numbers[0]);
        QVERIFY(numbers[2] > numbers[1]);
    }

    void MayStartOthers()
    {
        QStringList log;
        Flag flag;
        Handlers handlers(Ignore);
        handlers.Start(StartAnother(&handlers, &log, &flag));
        QCOMPARE(log, QStringList({QStringLiteral("inner"), QStringLiteral("outer")}));
        QVERIFY(!handlers.Empty());
        flag.Set();
        QVERIFY(handlers.Empty());
    }

    void DropEndsThemWhereTheyWait()
    {
        QStringList log;
        Flag flag;
        Handlers handlers(Ignore);
        handlers.Start(Wait(&log, QStringLiteral("a"), &flag));
        handlers.Start(Wait(&log, QStringLiteral("b"), &flag));
        handlers.Drop();
        QVERIFY(handlers.Empty());
        flag.Set();
        QCOMPARE(log.filter(QStringLiteral("went on")), QStringList());
        QCOMPARE(log.filter(QStringLiteral("~")).size(), 2);
        flag.Clear();
        handlers.Start(Wait(&log, QStringLiteral("c"), &flag)); // and can be used again
        QVERIFY(!handlers.Empty());
    }

    void EndWithTheirOwner()
    {
        QStringList log;
        Flag flag;
        {
            Handlers handlers(Ignore);
            handlers.Start(Wait(&log, QStringLiteral("a"), &flag));
        }
        flag.Set();
        QCOMPARE(log, QStringList({QStringLiteral("a"), QStringLiteral("~a")}));
    }

    void AFailureIsToldWhenItsHandlerIsOver()
    {
        Flag flag;
        QString told;
        bool empty = false;
        Handlers *itself = nullptr;
        Handlers handlers([&](std::exception_ptr thrown) {
            empty = itself->Empty();
            try {
                std::rethrow_exception(thrown);
            } catch (const Error &error) {
                told = error.Text();
            }
        });
        itself = &handlers;
        handlers.Start(FailAfter(&flag));
        QCOMPARE(told, QString());
        flag.Set();
        QCOMPARE(told, QStringLiteral("Erreur de fichier : journal (disque plein)"));
        QVERIFY(empty);
        QVERIFY(handlers.Empty());
    }

    void AFailureMayDropTheOthers()
    {
        QStringList log;
        Flag flag;
        Flag failure;
        Handlers *itself = nullptr;
        Handlers handlers([&](std::exception_ptr) { itself->Drop(); });
        itself = &handlers;
        handlers.Start(Wait(&log, QStringLiteral("a"), &flag));
        handlers.Start(FailAfter(&failure));
        failure.Set();
        QVERIFY(handlers.Empty());
        flag.Set();
        QCOMPARE(log, QStringList({QStringLiteral("a"), QStringLiteral("~a")}));
    }
};

REGISTER_TEST(TestHandlers)
#include "tst_handlers.moc"
