#include "base/flag.h"
#include "link/com.h"
#include "link/line.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QtTest>

#include <map>

namespace {
using Overtaking = Line::Overtaking;

/// Milliseconds of silence after which the next handler goes ahead.
constexpr int silence = 250;

/// A line and handlers that talk on it; each exchange lasts until the test ends it.
struct Talk
{
    /// Starts a handler that waits for `wake`, if it has one, and then wants so many exchanges, one right after the
    /// other.
    void Start(const QString &name, int exchanges = 1, Overtaking overtaking = Overtaking::Allowed)
    {
        runner.Start(Handler(this, name, exchanges, overtaking));
    }
    void StartLater(const QString &name, int exchanges = 1) { runner.Start(Later(this, name, exchanges)); }
    void Wake(const QString &name) { wake[name].Set(); }
    /// Ends the exchange that the handler has under way.
    void End(const QString &name) { over[name].Wake(); }

    static Task<void> Handler(Talk *talk, QString name, int exchanges, Overtaking overtaking)
    {
        for (int i = 0; i < exchanges; ++i) {
            const Line::Turn turn = co_await talk->line.Begin(overtaking);
            talk->log.append(name);
            talk->number[name] = talk->line.Reader();
            co_await talk->over[name];
        }
    }
    static Task<void> Later(Talk *talk, QString name, int exchanges)
    {
        co_await talk->wake[name];
        Task<void> handler = Handler(talk, name, exchanges, Overtaking::Allowed);
        co_await handler;
    }

    Line line;
    QStringList log; ///< who began an exchange
    std::map<QString, HandlerNumber> number;
    std::map<QString, Flag> wake;
    std::map<QString, Flag> over;
    Runner runner;
};

const QString a = QStringLiteral("a");
const QString b = QStringLiteral("b");
const QString c = QStringLiteral("c");
const QString d = QStringLiteral("d");
} // namespace

class TestLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AFreeLineIsGivenAtOnce()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        QCOMPARE(talk.line.Reader(), HandlerNumber(0));
        talk.Start(a);
        QCOMPARE(talk.log, QStringList({a}));
        QVERIFY(talk.line.Reader() != 0);
        talk.End(a);
        QCOMPARE(talk.line.Reader(), HandlerNumber(0));
        talk.Start(b);
        QCOMPARE(talk.log, QStringList({a, b}));
    }

    void OneExchangeAtATime()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        QCoreApplication::processEvents();
        QCOMPARE(talk.log, QStringList({a}));
        QCOMPARE(talk.line.Reader(), talk.number[a]);
        talk.End(a);
        QTRY_COMPARE(talk.log, QStringList({a, b}));
        QVERIFY(talk.number[b] > talk.number[a]);
        QCOMPARE(talk.line.Reader(), talk.number[b]);
    }

    void TheYoungestGoesFirst()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        talk.Start(c);
        talk.Start(d);
        talk.End(a);
        QTRY_COMPARE(talk.log, QStringList({a, d}));
        talk.End(d);
        QTRY_COMPARE(talk.log, QStringList({a, d, c}));
        talk.End(c);
        QTRY_COMPARE(talk.log, QStringList({a, d, c, b}));
    }

    void AClickGoesBeforeTheStepThatItInterrupted()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a, 3);
        talk.Start(b, 2);
        talk.End(a); // a asks for its next exchange at once, but b is younger
        QTRY_COMPARE(talk.log, QStringList({a, b}));
        talk.End(b);
        QTRY_COMPARE(talk.log, QStringList({a, b, b}));
        talk.End(b);
        QTRY_COMPARE(talk.log, QStringList({a, b, b, a}));
        talk.End(a);
        QTRY_COMPARE(talk.log, QStringList({a, b, b, a, a}));
    }

    void ConsecutiveExchangesKeepTheLineAheadOfOlderHandlers()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.StartLater(a);
        talk.Start(b, 3);
        talk.Wake(a); // wants the line while the younger one has it
        QCoreApplication::processEvents();
        talk.End(b);
        QCOMPARE(talk.log, QStringList({b, b})); // at once, the line was never free
        QCoreApplication::processEvents();
        talk.End(b);
        QCoreApplication::processEvents();
        QCOMPARE(talk.log, QStringList({b, b, b}));
        talk.End(b);
        QTRY_COMPARE(talk.log, QStringList({b, b, b, a}));
    }

    void ASilentExchangeIsOvertakenAndReadsOnAfterwards()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        QSignalSpy changed(&talk.line, &Line::ReaderChanged);
        QElapsedTimer watch;
        watch.start();
        talk.Start(a);
        talk.Start(b);
        talk.Start(c);
        QTRY_COMPARE(talk.log, QStringList({a, c})); // the youngest
        QVERIFY2(watch.elapsed() >= silence - 1, qPrintable(QString::number(watch.elapsed())));
        QCOMPARE(talk.line.Reader(), talk.number[c]);
        // c is not silent for long enough; when it ends, a has still been silent, and b overtakes it.
        talk.End(c);
        QCOMPARE(talk.line.Reader(), talk.number[a]);
        QCOMPARE(changed.count(), 1);
        QTRY_COMPARE(talk.log, QStringList({a, c, b}));
        talk.End(b);
        QCOMPARE(talk.line.Reader(), talk.number[a]);
        talk.End(a);
        QCOMPARE(talk.line.Reader(), HandlerNumber(0));
        QVERIFY(talk.runner.Idle());
        QCOMPARE(talk.log.count(a), 1);
    }

    void OneThatOvertookMayBeOvertakenToo()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        QTRY_COMPARE(talk.log, QStringList({a, b}));
        talk.Start(c);
        QCOMPARE(talk.log, QStringList({a, b})); // b has not been silent for long enough
        QTRY_COMPARE(talk.log, QStringList({a, b, c}));
        talk.End(a); // its answer came meanwhile, somehow
        QCOMPARE(talk.line.Reader(), talk.number[c]);
        talk.End(c);
        QCOMPARE(talk.line.Reader(), talk.number[b]);
        talk.End(b);
        QCOMPARE(talk.line.Reader(), HandlerNumber(0));
    }

    void AnExchangeThatIsHeardIsNotOvertaken()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        QElapsedTimer sinceHeard;
        QElapsedTimer watch;
        watch.start();
        while (watch.elapsed() < 3 * silence) { // by far longer than the patience with a silent one
            talk.line.Heard();
            sinceHeard.start();
            QTest::qWait(20);
            if (sinceHeard.elapsed() >= silence)
                QSKIP("the machine is too busy to tell");
            QCOMPARE(talk.log, QStringList({a}));
        }
        QTRY_COMPARE(talk.log, QStringList({a, b})); // and then it is silent
        QVERIFY(sinceHeard.elapsed() >= silence - 1);
    }

    void ASilenceThatIsLongEnoughIsNotWaitedForAgain()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        QTest::qWait(silence + 10);
        talk.Start(b);
        QCOMPARE(talk.log, QStringList({a, b}));
    }

    void RefusedOvertakingIsRespected()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a, 1, Overtaking::Refused);
        talk.Start(b);
        QTest::qWait(3 * silence);
        QCOMPARE(talk.log, QStringList({a}));
        QCOMPARE(talk.line.Reader(), talk.number[a]);
        talk.End(a);
        QTRY_COMPARE(talk.log, QStringList({a, b}));
    }

    void OneThatRefusesMayOvertake()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b, 1, Overtaking::Refused);
        QTRY_COMPARE(talk.log, QStringList({a, b}));
        talk.Start(c);
        QTest::qWait(2 * silence);
        QCOMPARE(talk.log, QStringList({a, b}));
    }

    void AClosedLineRefusesEverybody()
    {
        Talk talk;
        talk.Start(a);
        QVERIFY(talk.runner.Idle());
        QVERIFY(talk.runner.Threw<PortClosed>());

        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        talk.line.SetState(Line::State::Closed);
        talk.runner.Start(Talk::Handler(&talk, c, 1, Overtaking::Allowed));
        QVERIFY(talk.runner.Threw<PortClosed>()); // c at once
        QTRY_COMPARE(talk.runner.Failures(), 1);
        QVERIFY(talk.runner.Threw<PortClosed>()); // b, who was waiting
        QCOMPARE(talk.log, QStringList({a}));
    }

    void AnUnusableLineKeepsEverybodyWaiting()
    {
        Talk talk;
        talk.line.SetState(Line::State::Unusable);
        talk.Start(a);
        talk.Start(b);
        QTest::qWait(2 * silence);
        QCOMPARE(talk.log, QStringList());
        QVERIFY(talk.runner.ThrewNothing());
        talk.line.SetState(Line::State::Usable);
        QTRY_COMPARE(talk.log, QStringList({b}));
        talk.line.SetState(Line::State::Unusable);
        talk.End(b);
        QTest::qWait(10);
        QCOMPARE(talk.log, QStringList({b}));
        talk.line.SetState(Line::State::Usable);
        QTRY_COMPARE(talk.log, QStringList({b, a}));
    }

    void ALineClosedAndOpenedAtOnceRefusesNobody()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        talk.Start(a);
        talk.Start(b);
        talk.line.SetState(Line::State::Closed);
        talk.line.SetState(Line::State::Usable);
        talk.End(a);
        QTRY_COMPARE(talk.log, QStringList({a, b}));
        QVERIFY(talk.runner.ThrewNothing());
    }

    void AHandlerThatEndsGivesTheLineBack()
    {
        Talk talk;
        talk.line.SetState(Line::State::Usable);
        Runner doomed;
        doomed.Start(Talk::Handler(&talk, a, 1, Overtaking::Allowed));
        doomed.Start(Talk::Handler(&talk, b, 1, Overtaking::Allowed));
        talk.StartLater(c);
        talk.Wake(c);
        doomed.Drop(); // one that talks and one that waits
        QTRY_COMPARE(talk.log, QStringList({a, c}));
    }
};

REGISTER_TEST(TestLine)
#include "tst_line.moc"
