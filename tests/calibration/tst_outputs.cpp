#include "calibration/switching.h"
#include "support/linkfixture.h"
#include "support/suite.h"

#include <QtTest>

namespace {
struct Bench : LinkFixture
{
    Bench()
    {
        board.Healthy();
        link.OpenPort();
        link.line.SetPatience(2000); // however long the test takes between two of its steps
    }
    void HoldBack(int command)
    {
        board.On(static_cast<quint8>(command), 1, [](const QByteArray &) { return QByteArray(); });
    }

    int closed = 0;
    Switching switching{link, [this](std::exception_ptr thrown) {
                            try {
                                std::rethrow_exception(thrown);
                            } catch (const PortClosed &) {
                                ++closed;
                            }
                        }};
};
} // namespace

class TestSwitching : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void WritesKeepTheirOrder()
    {
        Bench bench;
        QStringList done;
        bench.switching.Write({{15, 0}, {17, 0}}, [&] { done.append(QStringLiteral("left")); });
        bench.switching.Write({{17, 1}, {16, 1}, {15, 0}, {18, 1}}, [&] { done.append(QStringLiteral("opened")); });
        QVERIFY(done.isEmpty());
        QTRY_COMPARE(done, QStringList({QStringLiteral("left"), QStringLiteral("opened")}));
        QCOMPARE(bench.board.Received(), Bytes({27, 15, 0, 27, 17, 0, 27, 17, 1, 27, 16, 1, 27, 15, 0, 27, 18, 1}));
    }

    void EachWaitsForItsAnswer()
    {
        Bench bench;
        bench.HoldBack(15);
        bench.switching.Write({{15, 0}, {17, 0}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 0}));
        bench.board.Send(Bytes({99})); // whatever it says
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 0, 27, 17, 0}));
    }

    void ALostAnswerHoldsNothingUp()
    {
        Bench bench;
        bench.HoldBack(15);
        bench.HoldBack(17);
        bench.link.line.SetPatience(Line::usualPatience);
        bool done = false;
        QElapsedTimer watch;
        watch.start();
        bench.switching.Write({{15, 0}, {17, 0}});
        bench.switching.Write({{16, 1}}, [&] { done = true; });
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 0, 27, 17, 0, 27, 16, 1}));
        QVERIFY(watch.elapsed() >= 2 * 249);
        QTRY_VERIFY(done);
    }

    void WritesWaitForTheLineWithoutOvertakingEachOther()
    {
        Bench bench;
        bench.board.On(12, 0, [](const QByteArray &) { return QByteArray(); });
        const auto hold = [](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(12), Reply::Framed(2), {}, Line::Overtaking::Refused);
            co_await exchange;
        };
        bench.runner.Start(hold(&bench.link));
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 12}));
        bench.switching.Write({{15, 0}, {17, 0}, {17, 1}});
        QTest::qWait(600); // more than the patience of two writes
        QCOMPARE(bench.board.Received(), Bytes({27, 12}));
        bench.board.Send(Bytes({27, 0, 0, 0}));
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 12, 27, 15, 0, 27, 17, 0, 27, 17, 1}));
    }

    void WritesKeepTheirOrderThroughAConnection()
    {
        Bench bench;
        bench.HoldBack(15);
        bench.link.line.SetPatience(Line::usualPatience);
        bench.switching.Write({{15, 0}, {17, 0}});
        bench.switching.Write({{17, 1}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 0}));
        bench.link.ClosePort();
        bench.link.OpenPort();
        bench.link.line.SetState(Line::State::Unusable); // as long as a connection takes
        QTest::qWait(600);                               // more than the patience of two writes
        bench.board.On(15, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.link.line.SetState(Line::State::Usable);
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 0, 27, 15, 0, 27, 17, 0, 27, 17, 1}));
        QCOMPARE(bench.closed, 0);
    }

    void AClosedPortIsToldOnceAndForgetsTheRest()
    {
        Bench bench;
        bench.link.ClosePort();
        bench.switching.Write({{15, 0}, {17, 0}});
        QTRY_COMPARE(bench.closed, 1);
        bench.link.OpenPort();
        bench.switching.Write({{18, 1}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 18, 1}));
        QCOMPARE(bench.closed, 1);
    }

    void OverrideForgetsWhatWaitsAndSendsAtOnce()
    {
        Bench bench;
        bench.HoldBack(15);
        bench.switching.Write({{15, 1}, {17, 1}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 1}));
        bench.switching.Override({{15, 0}, {17, 0}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 1, 27, 15, 0, 27, 17, 0}));
        bench.board.Send(Bytes({6, 6}));
        bench.switching.Write({{18, 0}});
        QTRY_COMPARE(bench.board.Received(), Bytes({27, 15, 1, 27, 15, 0, 27, 17, 0, 27, 18, 0}));
    }
};

REGISTER_TEST(TestSwitching)
#include "tst_switching.moc"
