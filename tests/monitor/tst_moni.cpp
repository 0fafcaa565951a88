// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "monitor/moni.h"
#include "monitor/monitorchart.h"
#include "records.h"
#include "runs/chargeur.h"
#include "simulation/simulatedboard.h"
#include "support/boxes.h"
#include "support/controls.h"
#include "support/linkfixture.h"
#include "support/suite.h"
#include "support/tones.h"

#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {
const QByteArray header("Prompt,Echantillon,Temps,=,VBat,Cour,Temper,Vdelta,Resist,Capacité,Type,CDV,Valim,Vdbl,"
                        "Vmoy,Maxidv\r\n");

/// The log line of a record that differs from the ordinary one in its sample number, and in its current perhaps.
QByteArray LineOf(int sample, int cour = 1000)
{
    return ">, " + QByteArray::number(sample) + " , 3723 ,=, 500 , " + QByteArray::number(cour) +
           " , 251 , 700 , 40 , 123 , 2 , 3 , 1365 , 2304 , 9 , 11 \r\n";
}

Record Sample(int sample)
{
    Record record;
    record.sample = sample;
    return record;
}

/// So many records, samples numbered from `first`.
QByteArray Records(int first, int count, Record record = {})
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        record.sample = first + i;
        bytes += record.Bytes();
    }
    return bytes;
}

Task<void> Ask(Codebas *link, QByteArray request, Reply reply, QByteArray *answer)
{
    Task<QByteArray> exchange = link->Exchange(request, reply);
    *answer = co_await exchange;
}

/// What the main window does without a handshake when it becomes active.
Task<void> ReopenAtOrdinarySpeed(Codebas *link)
{
    Task<void> closing = link->ClosePort();
    co_await closing;
    link->InitSerialPort();
    link->OpenPort();
}

Task<void> Reconnect(Codebas *link)
{
    Task<void> closing = link->ClosePort();
    co_await closing;
    Task<void> connecting = link->handshake.ConnectBoard();
    co_await connecting;
}

/// The monitor on a scripted board, with a drive of its own.
struct Bench : LinkFixture
{
    Bench()
    {
        drive::SetRoot(folder.filePath(QStringLiteral("c")));
        drive::Prepare();
    }
    ~Bench()
    {
        QDir::setCurrent(QStringLiteral("/"));
        AnswerBoxes();
    }

    void Open()
    {
        window.Open();
        SOON(link.Streaming);
        QCOMPARE(board.TakeReceived(), Bytes({27, 3}));
    }
    void Start()
    {
        Click("CbDepart");
        QVERIFY(window.MonitorRunning());
    }
    void OpenAndStart()
    {
        Open();
        Start();
    }
    void Click(const char *button) { Find<QPushButton>(button)->click(); }
    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    QString Text(const char *label) { return Find<QLabel>(label)->text(); }
    MonitorChart *Chart() { return Find<MonitorChart>("MSChart1"); }

    QByteArray Log() const
    {
        QFile file(window.LogPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no log");
    }
    QByteArray Lines() const { return Log().mid(header.size()); }
    qsizetype LineCount() const { return Log().count("\r\n") - 1; }

    /// Sends bytes and sees the program take them all.
    void Feed(const QByteArray &bytes)
    {
        board.Send(bytes);
        QVERIFY(Arrived(static_cast<int>(bytes.size())));
        SOON_EQUAL(com.InBufferCount(), 0);
    }

    QTemporaryDir folder;
    Kept<Moni> window{link};
};
} // namespace

class TestMoni : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        AnswerBoxes();
        QLocale::setDefault(QLocale::c());
    }

    // ---- the window

    void Controls_data()
    {
        AddControls({
            {"CbDepart", "QPushButton", "Départ"},
            {"CbArret", "QPushButton", "Arrêt"},
            {"CbQuit", "QPushButton", "Retour"},
            {"MonLabel1", "QLabel", "V Batterie"},
            {"MonLabel2", "QLabel", "Temperature Systeme"},
            {"MonLabel3", "QLabel", "Variation Moyenne"},
            {"MSChart1", "MonitorChart", nullptr},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        QCOMPARE(bench.window.objectName(), QStringLiteral("Moni"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Moniteur"));
        CheckControl(bench.window);
    }

    void OpensWhereTheMainWindowWas()
    {
        Bench bench;
        bench.link.MainLeft = 61;
        bench.link.MainTop = 43;
        bench.Open();
        QCOMPARE(bench.window.pos(), QPoint(61, 43));
        const QRect room = bench.window.screen()->availableGeometry();
        QVERIFY(room.contains(bench.window.geometry()) || bench.window.size() == bench.window.minimumSize());
    }

    // ---- activation

    void OpeningSwitchesTheBoardAndTheLine()
    {
        Bench bench;
        bench.link.OpenPort();
        QCOMPARE(bench.board.Speed(), 9600);
        bench.board.Send("old bytes");
        QVERIFY(bench.Arrived(9));
        const Clock::Duration opened = bench.clock.Now();
        QSignalSpy cut(&bench.link, &Codebas::PortCut);
        bench.window.Open();
        SOON_EQUAL(cut.size(), 1);
        QCOMPARE(bench.board.TakeReceived(), Bytes({27, 3}));
        QVERIFY(bench.clock.Now() - opened > 2ms); // they have left before the port was closed
        QVERIFY(bench.com.PortOpen());
        QCOMPARE(bench.com.InBufferCount(), 0);
        QCOMPARE(bench.board.Speed(), 19200);
        QCOMPARE(bench.board.StopBits(), 1);
        QCOMPARE(bench.com.Settings(), QStringLiteral("19200,n,8,1"));
        QCOMPARE(bench.com.CommPort(), 1);
        QCOMPARE(bench.com.Handshaking(), 0);
        QCOMPARE(bench.com.InputMode(), 1);
        QCOMPARE(bench.com.InputLen(), 1);
        QVERIFY(bench.com.RTSEnable() && bench.com.DTREnable());
        // The focus that comes with the showing is the same activation.
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        bench.clock.Run(1s);
        QVERIFY(bench.board.Received().isEmpty());
    }

    void OpeningOpensAClosedPort()
    {
        Bench bench;
        QVERIFY(!bench.com.PortOpen());
        bench.Open();
        QVERIFY(bench.com.PortOpen());
        QCOMPARE(bench.board.Speed(), 19200);
    }

    void APortThatCannotBeOpenedIsSaid()
    {
        Bench bench;
        bench.com.SetPortName(QStringLiteral("/dev/no-such-port"));
        bench.board.Unplug();
        bench.window.Open();
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().contains(QStringLiteral("/dev/no-such-port")));
        AnswerBoxes();
        bench.Click("CbQuit");
        QVERIFY(!bench.window.isVisible());
    }

    void ActiveAgainWhileIdleSwitchesAgain()
    {
        Bench bench;
        bench.Open();
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), other.windowHandle());
        QSignalSpy cut(&bench.link, &Codebas::PortCut);
        bench.window.activateWindow();
        SOON_EQUAL(cut.size(), 1);
        QCOMPARE(bench.board.TakeReceived(), Bytes({27, 3}));
        QCOMPARE(bench.board.Speed(), 19200);
        bench.Start();
        bench.board.Send(Sample(1).Bytes());
        SOON_EQUAL(bench.Lines(), LineOf(1));
    }

    void ValuesThatAreNotReadAnyMoreTurnQuiet()
    {
        Bench bench;
        bench.Open();
        const auto *value = bench.Find<QLabel>("MonValue1");
        const auto *freshness = bench.Find<Freshness>("");
        const auto ink = [value] { return value->palette().color(QPalette::WindowText); };
        const QColor colour = ink(); // that of its curve
        QVERIFY(colour != Ink(Tone::Plain, QGuiApplication::palette()));
        bench.Start();
        bench.Feed(Sample(1).Bytes());
        QCOMPARE(ink(), colour);
        bench.Click("CbArret");
        QVERIFY(HasTone(value, Tone::Quiet));
        QVERIFY(freshness->Text().startsWith(QStringLiteral("dernière mesure à ")));
        bench.Start();
        QVERIFY(HasTone(value, Tone::Quiet)); // nothing was read yet
        bench.Feed(Sample(2).Bytes());
        QCOMPARE(ink(), colour);
        QCOMPARE(freshness->Text(), QString());
        bench.board.Unplug();
        bench.clock.Run(1s);
        QVERIFY(HasTone(value, Tone::Quiet));
    }

    void ActiveAgainWhileRunningLeavesTheLineAlone()
    {
        Bench bench;
        bench.OpenAndStart();
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        const QByteArray record = Sample(1).Bytes();
        bench.Feed(record.left(12));
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), other.windowHandle());
        QSignalSpy cut(&bench.link, &Codebas::PortCut);
        bench.window.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        bench.board.Send(record.mid(12));
        SOON_EQUAL(bench.Lines(), LineOf(1));
        QVERIFY(cut.isEmpty());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ABoxThatClosesIsNoActivation()
    {
        Bench bench;
        bench.Open();
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        QSignalSpy cut(&bench.link, &Codebas::PortCut);
        bench.Find<QAction>("MnuPng")->trigger();
        auto *dialog = bench.window.findChild<QFileDialog *>();
        QVERIFY(dialog);
        SOON_EQUAL(qGuiApp->focusWindow(), dialog->windowHandle());
        dialog->reject();
        bench.window.activateWindow(); // which not every system does by itself
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        QVERIFY(cut.isEmpty());
        QVERIFY(bench.board.Received().isEmpty());
    }

    // ---- the log

    void LogByteForByte_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::newRow("C") << QLocale::c();
        QTest::newRow("French") << QLocale(QLocale::French, QLocale::France);
    }
    void LogByteForByte()
    {
        QFETCH(QLocale, locale);
        QLocale::setDefault(locale);
        Bench bench;
        bench.OpenAndStart();
        const QString folder = bench.folder.filePath(QStringLiteral("c/temp"));
        QCOMPARE(QFileInfo(bench.window.LogPath()).absolutePath(), folder);
        QCOMPARE(QDir::currentPath(), QDir(folder).canonicalPath());
        QCOMPARE(QFileInfo(bench.window.LogPath()).fileName(), QStringLiteral("MOni_CHrg_D11_15_26T09_07.txt"));
        QCOMPARE(bench.Log(), header);
        Record other = Sample(32767);
        other.prompt = 0xe9;
        other.hours = 23;
        other.minutes = 59;
        other.seconds = 59;
        other.type = 1;
        bench.board.Send("noise" + Sample(1).Bytes() + "\r" + other.Bytes());
        SOON_EQUAL(bench.Log(), header + LineOf(1) +
                                    "é, 32767 , 86399 ,=, 500 , 1000 , 251 , 700 , 40 , 123 , 1 , 3 , 1365 , 2304 "
                                    ", 9 , 11 \r\n");
    }

    void LineFeedsAndEscapesAreData()
    {
        Bench bench;
        bench.OpenAndStart();
        Record record;
        record.prompt = 27;
        record.sample = 10 * 256 + 27;
        record.hours = record.minutes = record.seconds = 10;
        record.unused = 10;
        record.vbat = record.cour = record.temper = record.vdelta = 10 * 256 + 10;
        record.resist = record.capacity = record.valim = record.vdbl = 27 * 256 + 3;
        record.type = 10;
        record.cdv = 27;
        record.vmoy = record.maxidv = 10;
        bench.board.Send(record.Bytes() + Sample(7).Bytes());
        SOON_EQUAL(bench.Lines(), "\x1b, 2587 , 36610 ,=, 2570 , 2570 , 2570 , 2570 , 6915 , 6915 , 10 , 27 , 6915 "
                                  ", 6915 , 10 , 10 \r\n" +
                                      LineOf(7));
    }

    void ARecordInPieces()
    {
        Bench bench;
        bench.OpenAndStart();
        for (const char byte : Sample(5).Bytes())
            bench.Feed(QByteArray(1, byte));
        SOON_EQUAL(bench.Lines(), LineOf(5));
    }

    void ANewStartMakesANewLog()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.board.Send(Records(1, 25));
        SOON_EQUAL(bench.LineCount(), 25);
        SOON_EQUAL(bench.Chart()->Rows(), 2);
        bench.Click("CbArret");
        QCOMPARE(bench.LineCount(), 25);
        bench.Start();
        QCOMPARE(bench.Log(), header); // within the same minute it has the same name
        bench.board.Send(Records(100, 9));
        SOON_EQUAL(bench.LineCount(), 9);
        QCOMPARE(bench.Chart()->Rows(), 2);
        bench.board.Send(Sample(109).Bytes());
        SOON_EQUAL(bench.LineCount(), 10);
        QCOMPARE(bench.Chart()->Rows(), 1);
    }

    void ASecondStartIsIgnored()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.board.Send(Records(1, 5));
        SOON_EQUAL(bench.LineCount(), 5);
        bench.Click("CbDepart");
        const QByteArray record = Sample(6).Bytes();
        bench.Feed(record.left(10));
        bench.Click("CbDepart");
        bench.board.Send(record.mid(10) + Records(7, 4));
        SOON_EQUAL(bench.LineCount(), 10);
        QCOMPARE(bench.Chart()->Rows(), 1);
    }

    // ---- the chart

    void ChartOfACharge()
    {
        Bench bench;
        bench.OpenAndStart();
        QByteArray bytes;
        for (int i = 1; i <= 20; ++i) {
            Record record = Sample(i);
            record.vbat = 500 + i;
            record.cour = 1000 + 2 * i;
            record.capacity = 3 * i;
            bytes += record.Bytes();
        }
        bench.board.Send(bytes.left(9 * 30));
        SOON_EQUAL(bench.LineCount(), 9);
        QCOMPARE(bench.Chart()->Rows(), 0);
        bench.board.Send(bytes.mid(9 * 30));
        SOON_EQUAL(bench.LineCount(), 20);
        const auto series = [&](int i) { return bench.Chart()->graph(i)->data(); };
        for (int i = 0; i < 3; ++i)
            QCOMPARE(series(i)->size(), 2);
        QCOMPARE(series(0)->at(0)->key, 1.0);
        QCOMPARE(series(0)->at(0)->value, 505.5);
        QCOMPARE(series(1)->at(0)->value, 1011.0);
        QCOMPARE(series(2)->at(0)->value, 30.0);
        QCOMPARE(series(0)->at(1)->key, 2.0);
        QCOMPARE(series(0)->at(1)->value, 515.5);
        QCOMPARE(series(1)->at(1)->value, 1031.0);
        QCOMPARE(series(2)->at(1)->value, 60.0);
        SOON_EQUAL(bench.Text("MonValue1"), QStringLiteral(" 515.5"));
        QCOMPARE(bench.Text("MonValue2"), QStringLiteral(" 1031"));
        QCOMPARE(bench.Text("MonValue3"), QStringLiteral(" 60"));
    }

    void ChartOfAnythingElse()
    {
        Bench bench;
        bench.OpenAndStart();
        Record record;
        record.type = 5;
        bench.board.Send(Records(1, 10, record));
        SOON_EQUAL(bench.LineCount(), 10);
        QCOMPARE(bench.Chart()->Cell(1, 1), 500.0);
        QCOMPARE(bench.Chart()->Cell(1, 2), 251.0);
        QCOMPARE(bench.Chart()->Cell(1, 3), 9.0);
    }

    void TypeChangesInTheTenthRecord()
    {
        Bench bench;
        bench.OpenAndStart();
        Record other;
        other.type = 1;
        bench.board.Send(Records(1, 9, other) + Sample(10).Bytes());
        SOON_EQUAL(bench.LineCount(), 10);
        QCOMPARE(bench.Chart()->Cell(1, 2), 251.0);
        QVERIFY(std::isnan(bench.Chart()->Cell(1, 3)));
        bench.board.Send(Records(11, 9) + other.Bytes());
        SOON_EQUAL(bench.LineCount(), 20);
        QCOMPARE(bench.Chart()->Cell(2, 2), 2000.0); // twenty currents by ten
        QCOMPARE(bench.Chart()->Cell(2, 3), 9.0);
    }

    void LabelsSwitchWithTheFirstRecordOfType2()
    {
        Bench bench;
        bench.OpenAndStart();
        Record other;
        other.type = 1;
        bench.board.Send(Records(1, 3, other));
        SOON_EQUAL(bench.LineCount(), 3);
        QCOMPARE(bench.Text("MonLabel2"), QStringLiteral("Temperature Systeme"));
        QCOMPARE(bench.Chart()->graph(2)->name(), QStringLiteral("Variation Moyenne"));
        const QByteArray charge = Sample(4).Bytes();
        bench.Feed(charge.left(20)); // all but Type
        QCOMPARE(bench.Text("MonLabel2"), QStringLiteral("Temperature Systeme"));
        bench.board.Send(charge.mid(20, 1));
        SOON_EQUAL(bench.Text("MonLabel2"), QStringLiteral("Courant"));
        QCOMPARE(bench.Text("MonLabel3"), QStringLiteral("Capacité"));
        QCOMPARE(bench.Text("MonLabel1"), QStringLiteral("V Batterie"));
        QCOMPARE(bench.Chart()->graph(0)->name(), QStringLiteral("V Batterie"));
        QCOMPARE(bench.Chart()->graph(1)->name(), QStringLiteral("Courant"));
        QCOMPARE(bench.Chart()->graph(2)->name(), QStringLiteral("Capacité"));
        bench.board.Send(charge.mid(21) + Records(5, 3, other));
        SOON_EQUAL(bench.LineCount(), 7);
        QCOMPARE(bench.Text("MonLabel2"), QStringLiteral("Courant"));
        bench.Click("CbArret");
        bench.Start();
        QCOMPARE(bench.Text("MonLabel2"), QStringLiteral("Courant"));
    }

    void OpensAfresh()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.board.Send(Records(1, 10));
        SOON_EQUAL(bench.Chart()->Rows(), 1);
        SOON_EQUAL(bench.LineCount(), 10);
        bench.Click("CbQuit");
        bench.Open();
        QVERIFY(!bench.window.MonitorRunning());
        QCOMPARE(bench.Chart()->Rows(), 0);
        QCOMPARE(bench.Text("MonLabel2"), QStringLiteral("Temperature Systeme"));
        QCOMPARE(bench.Text("MonLabel3"), QStringLiteral("Variation Moyenne"));
        QCOMPARE(bench.Chart()->graph(1)->name(), QStringLiteral("Temperature Systeme"));
        bench.Start();
        bench.board.Send(Records(1, 10));
        SOON_EQUAL(bench.Text("MonLabel2"), QStringLiteral("Courant"));
        SOON_EQUAL(bench.Chart()->Rows(), 1);
    }

    // ---- stop, return and close

    void PointsOfARecord_data()
    {
        QTest::addColumn<int>("bytes");
        for (const int bytes : {0, 1, 2, 3, 4, 7, 8, 9, 20, 21, 28, 29, 30})
            QTest::addRow("%d bytes", bytes) << bytes;
    }
    void StopAtEachPoint_data() { PointsOfARecord_data(); }
    void StopAtEachPoint()
    {
        QFETCH(int, bytes);
        Bench bench;
        bench.OpenAndStart();
        const QByteArray record = Sample(3).Bytes();
        bench.Feed(Records(1, 2) + record.left(bytes));
        SOON_EQUAL(bench.LineCount(), bytes < 30 ? 2 : 3);
        bench.Click("CbArret");
        QVERIFY(!bench.window.MonitorRunning());
        bench.board.Send(record.mid(bytes) + Records(4, 2));
        // Before its line feed there is no record to finish; all that is not read stays for the next start.
        const int left = bytes == 0 || bytes == 30 ? 30 - bytes + 60 : 60;
        SOON_EQUAL(bench.com.InBufferCount(), left);
        QCOMPARE(bench.Lines(), bytes == 0 ? LineOf(1) + LineOf(2) : LineOf(1) + LineOf(2) + LineOf(3));
        QVERIFY(bench.window.isVisible());
        bench.Start();
        SOON_EQUAL(bench.Lines(), bytes == 0 ? LineOf(3) + LineOf(4) + LineOf(5) : LineOf(4) + LineOf(5));
    }

    void ReturnAtEachPoint_data() { PointsOfARecord_data(); }
    void ReturnAtEachPoint()
    {
        LeaveAtAPoint([](Bench &bench) { bench.Click("CbQuit"); });
    }
    void CloseAtEachPoint_data() { PointsOfARecord_data(); }
    void CloseAtEachPoint()
    {
        LeaveAtAPoint([](Bench &bench) { bench.window.close(); });
    }

    void AStartWaitsForTheRecordInHand()
    {
        Bench bench;
        bench.OpenAndStart();
        const QByteArray record = Sample(1).Bytes();
        bench.Feed(record.left(15));
        bench.Click("CbArret");
        bench.Click("CbDepart");
        bench.Click("CbDepart");
        QCOMPARE(bench.Log(), header);
        bench.board.Send(record.mid(15) + Sample(2).Bytes());
        SOON_EQUAL(bench.Lines(), LineOf(2));
        QVERIFY(bench.window.MonitorRunning());
    }

    void AStopCallsOffAStartThatWaits()
    {
        Bench bench;
        bench.OpenAndStart();
        const QByteArray record = Sample(1).Bytes();
        bench.Feed(record.left(15));
        bench.Click("CbArret");
        bench.Click("CbDepart");
        bench.Click("CbArret");
        bench.board.Send(record.mid(15) + Sample(2).Bytes());
        SOON_EQUAL(bench.com.InBufferCount(), 30);
        QVERIFY(!bench.window.MonitorRunning());
        QCOMPARE(bench.Lines(), LineOf(1));
    }

    void ClosingKeepsTheSpeedAndReopensThePort()
    {
        Bench bench;
        bench.Open();
        bench.link.ReconnectOnActivate = 1;
        bench.board.Send("rest");
        QVERIFY(bench.Arrived(4));
        QSignalSpy cut(&bench.link, &Codebas::PortCut);
        QSignalSpy returning(&bench.window, &Window::Returning);
        bool open = false;
        connect(&bench.window, &Window::Returning, this, [&] { open = bench.com.PortOpen(); });
        bench.Click("CbQuit");
        QCOMPARE(returning.size(), 1);
        QVERIFY(open);
        QCOMPARE(cut.size(), 1);
        QCOMPARE(bench.com.InBufferCount(), 0);
        QCOMPARE(bench.com.Settings(), QStringLiteral("19200,n,8,1"));
        QCOMPARE(bench.board.Speed(), 19200);
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ClosingInTheMidstOfTheOpeningKeepsTheSpeedToo()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.board.TakeReceived(), Bytes({27, 3})); // and has not left the wire yet
        QCOMPARE(bench.board.Speed(), 9600);
        bench.Click("CbQuit");
        bench.clock.Run(1s);
        QVERIFY(bench.com.PortOpen());
        QCOMPARE(bench.board.Speed(), 19200);
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ClosingLeavesAClosedPortClosed()
    {
        Bench bench;
        bench.Open();
        bench.ClosePort();
        bench.Click("CbQuit");
        QVERIFY(!bench.com.PortOpen());
        QVERIFY(!bench.window.isVisible());
        QVERIFY(OpenBoxes().isEmpty());
    }

    // ---- bytes that come while nobody reads, bursts

    void IdleKeepsTheNewestBytes()
    {
        Bench bench;
        bench.Open();
        for (int i = 0; i < 5; ++i) {
            const int waiting = bench.com.InBufferCount();
            bench.board.Send(Records(1 + 20 * i, 20));
            QVERIFY(bench.Arrived(waiting + 600)); // all of it, so that the count does not go up and down below
            SOON(bench.com.InBufferCount() <= Moni::keptBytes);
        }
        SOON_EQUAL(bench.com.InBufferCount(), Moni::keptBytes);
        bench.Start();
        // 34 records are 1020 bytes; before them are the last four of another.
        QByteArray lines;
        for (int sample = 67; sample <= 100; ++sample)
            lines += LineOf(sample);
        SOON_EQUAL(bench.Lines(), lines);
    }

    void IdleAfterAStopKeepsTheNewestBytes()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.Click("CbArret");
        bench.board.Send(Records(1, 60));
        QVERIFY(bench.Arrived(1800));
        SOON_EQUAL(bench.com.InBufferCount(), Moni::keptBytes);
        bench.Start();
        SOON_EQUAL(bench.LineCount(), 34);
        QVERIFY(bench.Lines().startsWith(LineOf(27)));
        QVERIFY(bench.Lines().endsWith(LineOf(60)));
    }

    void BytesThatEventsHaveNotBroughtInAreCutTooAtTheStart()
    {
        Bench bench;
        bench.Open();
        bench.board.Send(Records(1, 60));
        QVERIFY(bench.Arrived(1800));
        bench.Start();
        SOON_EQUAL(bench.LineCount(), 34);
        QVERIFY(bench.Lines().endsWith(LineOf(60)));
    }

    void BurstWithoutLoss()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.clock.SetWork(200us);
        constexpr int records = 5000;
        bench.board.Send(Records(1, records));
        SOON_EQUAL(bench.LineCount(), records);
        QByteArray lines;
        for (int sample = 1; sample <= records; ++sample)
            lines += LineOf(sample);
        QCOMPARE(bench.Lines(), lines);
        QCOMPARE(bench.Chart()->Rows(), records / 10);
    }

    void AStopInABurstIsHeard()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.clock.SetWork(200us);
        bench.board.Send(Records(1, 3000));
        SOON(bench.LineCount() > 0);
        bench.Click("CbArret");
        const qsizetype lines = bench.LineCount();
        QVERIFY(lines < 100); // events had their turn
        bench.clock.Run(1s);
        QVERIFY(bench.LineCount() <= lines + 1);
    }

    void WaitingUsesNoProcessor()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.board.Send(Records(1, 20));
        SOON_EQUAL(bench.LineCount(), 20);
        bench.board.Send(Sample(21).Bytes().left(12)); // it waits within a record
        bench.clock.Run(1s);
        int moments = 0;
        bench.clock.RunUntil([&moments] { return ++moments, false; }, 1h);
        QCOMPARE(moments, 1); // this one: nothing happened in the hour
    }

    // ---- errors

    void AMissingFolderIsFatal()
    {
        Bench bench;
        QVERIFY(QDir(bench.folder.filePath(QStringLiteral("c/temp"))).removeRecursively());
        bench.Open();
        bench.Click("CbDepart");
        QVERIFY(!bench.window.MonitorRunning());
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().startsWith(QStringLiteral("Erreur de fichier")));
        ExpectTheEnd();
    }

    void AFileThatCannotBeWrittenIsFatal()
    {
        Bench bench;
        bench.Open();
        const QString folder = bench.folder.filePath(QStringLiteral("c/temp/"));
        QDir().mkpath(folder + QStringLiteral("MOni_CHrg_D11_15_26T09_07.txt")); // in the place of the log
        bench.Click("CbDepart");
        QVERIFY(!bench.window.MonitorRunning());
        QCOMPARE(OpenBoxes().size(), 1);
        ExpectTheEnd();
    }

    void AWordTooLargeIsFatal()
    {
        Bench bench;
        bench.OpenAndStart();
        Record large = Sample(3);
        large.capacity = 32768;
        bench.board.Send(Records(1, 2) + large.Bytes() + Records(4, 2));
        SOON_EQUAL(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(), QStringLiteral("Dépassement de capacité : Capacité"));
        QVERIFY(!bench.window.MonitorRunning());
        QCOMPARE(bench.Lines(), LineOf(1) + LineOf(2));
        ExpectTheEnd();
    }

    // ---- others on the line

    void NobodyElseTalksWhileTheMonitorIsOpen()
    {
        Bench bench;
        bench.board.Healthy();
        bench.link.OpenPort();
        bench.OpenAndStart();
        QByteArray answer;
        QSignalSpy wanted(&bench.link.line, &Exchanges::SessionWanted);
        bench.runner.Start(Ask(&bench.link, Request(41), Reply::Framed(3), &answer));
        bench.board.Send(Records(1, 20));
        SOON_EQUAL(bench.LineCount(), 20);
        bench.clock.Run(Exchanges::patience + Exchanges::lost); // longer than others wait for a silent exchange
        QVERIFY(bench.board.Received().isEmpty());
        bench.Click("CbQuit");
        SOON(wanted.size() > 0);
        QVERIFY(bench.board.Received().isEmpty()); // it would not be heard
        bench.link.SessionBegun();
        SOON_EQUAL(answer.size(), 4);
        QVERIFY(bench.runner.ThrewNothing());
    }

    void AStopReachesTheBoardThroughTheStream()
    {
        Bench bench;
        bench.board.Healthy();
        bench.board.lines = {{15, 1}, {17, 1}};
        Kept<Chargeur> charge(bench.link);
        charge.Open();
        bench.OpenAndStart();
        bench.board.SetSilent(true); // a board that streams does not hear
        const QByteArray stop = Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1});
        static_cast<QWidget &>(charge).findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
        SOON_EQUAL(bench.board.Received(), stop);
        SOON_EQUAL(static_cast<QWidget &>(charge).findChild<QLabel *>(QStringLiteral("Label18"))->text(),
                   QStringLiteral("Arret"));
        QVERIFY(bench.link.outputs.Unconfirmed());
        bench.board.Send(Records(1, 2));
        SOON_EQUAL(bench.LineCount(), 2); // the stream goes on
        bench.clock.Run(1min);
        QCOMPARE(bench.board.TakeReceived(), stop); // and is left alone
        bench.board.SetSilent(false);
        bench.Click("CbQuit");
        bench.link.SessionBegun();
        SOON(!bench.link.outputs.Unconfirmed());
        const QByteArray looks = Bytes({27, 31, 27, 31});
        // The first answer only shows that the board is there; the last word is one that was answered.
        QCOMPARE(bench.board.Received(), looks.first(2) + looks + stop + looks);
    }

    void NoRunBeginsOnTheStream()
    {
        Bench bench;
        bench.board.Healthy();
        Kept<Chargeur> charge(bench.link);
        charge.Open();
        auto *start = static_cast<QWidget &>(charge).findChild<QPushButton *>(QStringLiteral("CBstart"));
        bench.Open();
        start->click();
        SOON_EQUAL(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(),
                 QStringLiteral("Le moniteur garde la liaison pour lui seul : fermez-le d'abord."));
        QVERIFY(!charge.Running());
        QVERIFY(bench.board.Received().isEmpty());
        AnswerBoxes();
        bench.Click("CbQuit");
        start->click();
        QVERIFY(charge.Running());
        bench.link.SessionBegun();
        SOON(bench.board.Received().endsWith(Bytes({27, 20, 35})));
    }

    void ARunKeepsItsLine()
    {
        Bench bench;
        bool mayTake = false;
        bench.window.AskBefore([&mayTake] { return mayTake; });
        bench.link.OpenPort();
        bench.window.Open();
        bench.clock.Run(1s);
        QVERIFY(bench.board.Received().isEmpty()); // it was active, and left the line alone
        QVERIFY(!bench.link.Streaming);
        bench.window.close();
        mayTake = true;
        bench.window.Open();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 3}));
        SOON(bench.link.Streaming);
    }

    void AnExchangeThatWasUnderWayStartsAgainAfterwards()
    {
        Bench bench;
        bench.board.Healthy();
        bench.link.OpenPort();
        bench.board.SetSilent(true);
        QByteArray answer;
        bench.runner.Start(Ask(&bench.link, Request(41), Reply::Framed(3), &answer));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 41}));
        bench.board.TakeReceived();
        bench.window.Open();
        bench.Start();
        SOON(bench.link.Streaming); // the answer that was due is waited for and thrown away
        bench.board.Send(Records(1, 3));
        SOON_EQUAL(bench.Lines(), LineOf(1) + LineOf(2) + LineOf(3));
        QCOMPARE(bench.board.TakeReceived(), Bytes({27, 3}));
        bench.board.SetSilent(false);
        bench.Click("CbQuit");
        bench.link.SessionBegun();
        SOON_EQUAL(answer.size(), 4);
    }

    void AHandshakeThatTheMainWindowBeginsGoesFirst()
    {
        Bench bench;
        bench.board.Healthy();
        bench.OpenAndStart();
        bench.Feed(Sample(1).Bytes() + Sample(2).Bytes().left(9));
        SOON_EQUAL(bench.LineCount(), 1);
        QSignalSpy connected(&bench.link.handshake, &Handshake::Connected);
        bench.runner.Start(Reconnect(&bench.link));
        SOON_EQUAL(connected.size(), 1);
        QCOMPARE(bench.board.Speed(), 19200);
        QVERIFY(bench.window.MonitorRunning());
        bench.board.Send(Records(3, 10)); // the record that was cut counts for nothing
        SOON_EQUAL(bench.LineCount(), 11);
        QVERIFY(bench.Lines().startsWith(LineOf(1) + LineOf(3)));
        QCOMPARE(bench.Chart()->Rows(), 1);
    }

    void ActiveAgainInARunAfterTheMainWindowHadTheLineSwitchesAgain_data()
    {
        QTest::addColumn<bool>("greeted");
        QTest::newRow("a handshake") << true;
        QTest::newRow("the ordinary speed") << false;
    }
    void ActiveAgainInARunAfterTheMainWindowHadTheLineSwitchesAgain()
    {
        QFETCH(bool, greeted);
        Bench bench;
        bench.board.Healthy();
        bench.OpenAndStart();
        bench.Feed(Sample(1).Bytes());
        SOON_EQUAL(bench.LineCount(), 1);
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), other.windowHandle());
        bench.runner.Start(greeted ? Reconnect(&bench.link) : ReopenAtOrdinarySpeed(&bench.link));
        SOON(bench.runner.Idle() && bench.link.Streaming);
        bench.board.TakeReceived();
        bench.window.activateWindow();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 3}));
        SOON_EQUAL(bench.board.Speed(), 19200);
        SOON(bench.link.Streaming);
        QVERIFY(bench.window.MonitorRunning());
        bench.board.Send(Sample(2).Bytes());
        SOON_EQUAL(bench.Lines(), LineOf(1) + LineOf(2)); // in the same log
    }

    void ADisconnectionLeavesTheMonitorWaiting()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.ClosePort();
        bench.clock.Run(1s);
        QVERIFY(!bench.com.PortOpen());
        QVERIFY(bench.window.MonitorRunning());
        QVERIFY(OpenBoxes().isEmpty());
        bench.Click("CbArret");
        QVERIFY(!bench.window.MonitorRunning());
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), other.windowHandle());
        bench.window.activateWindow();
        SOON(bench.link.Streaming);
        QVERIFY(bench.com.PortOpen());
        bench.Start();
        bench.board.Send(Sample(1).Bytes());
        SOON_EQUAL(bench.Lines(), LineOf(1));
    }

    void AnUnpluggedBoardGoesOnWhenItIsBack()
    {
        Bench bench;
        bench.OpenAndStart();
        bench.board.Send(Records(1, 2) + Sample(3).Bytes().left(15));
        SOON_EQUAL(bench.Lines(), LineOf(1) + LineOf(2));
        bench.board.Unplug();
        SOON(bench.com.Lost());
        QVERIFY(bench.window.MonitorRunning());
        bench.board.Plug();
        SOON(!bench.com.Lost());
        QCOMPARE(bench.board.Speed(), 19200);
        // The board streamed all the time; the record that was cut counts for nothing.
        bench.board.Send(Sample(7).Bytes().mid(20) + Records(8, 2));
        SOON_EQUAL(bench.Lines(), LineOf(1) + LineOf(2) + LineOf(8) + LineOf(9));
        QVERIFY(bench.board.Received().isEmpty());
        bench.Click("CbArret");
        QVERIFY(!bench.window.MonitorRunning());
    }

    void AnActivationWithoutABoardWaitsForItsReturn()
    {
        Bench bench;
        bench.Open();
        bench.board.Unplug();
        SOON(bench.com.Lost());
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), other.windowHandle());
        bench.window.activateWindow();
        SOON_EQUAL(qGuiApp->focusWindow(), bench.window.windowHandle());
        QVERIFY(bench.com.Lost());
        bench.board.Plug();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 3}));
        bench.Start();
        SOON(bench.link.Streaming);
        bench.board.Send(Sample(1).Bytes());
        SOON_EQUAL(bench.Lines(), LineOf(1));
    }

    // ---- the menu

    void ThePictureIsSaved_data()
    {
        QTest::addColumn<QByteArray>("item");
        QTest::addColumn<QByteArray>("begin");
        QTest::newRow("png") << QByteArray("MnuPng") << QByteArray("\x89PNG");
        QTest::newRow("pdf") << QByteArray("MnuPdf") << QByteArray("%PDF");
    }
    void ThePictureIsSaved()
    {
        QFETCH(QByteArray, item);
        QFETCH(QByteArray, begin);
        Bench bench;
        bench.Open();
        bench.Find<QAction>(item.constData())->trigger();
        auto *dialog = bench.window.findChild<QFileDialog *>();
        QVERIFY(dialog);
        const QString path = bench.folder.filePath(QStringLiteral("picture"));
        Q_EMIT dialog->fileSelected(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().startsWith(begin));
        dialog->close();
    }

    // ---- the virtual board

    void RecordsOfTheVirtualBoard_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("charge") << 2;
        QTest::newRow("other") << 1;
    }
    void RecordsOfTheVirtualBoard()
    {
        QFETCH(int, type);
        Bench bench;
        SimulatedBoard board(*bench.port); // the scripted one only listens
        board.SwitchOn({QStringLiteral("--stream-type"), QString::number(type)});
        QByteArray sent;
        connect(&board, &SimulatedBoard::Sent, this, [&sent](const QByteArray &bytes) { sent += bytes; });
        bench.window.Open();
        bench.Start();
        constexpr int records = 120;
        QVERIFY(bench.clock.RunUntil([&bench] { return bench.LineCount() == records; }, 5min));
        bench.Click("CbArret");

        // What the board sent, decoded by other means.
        QCOMPARE(sent.size(), 30 * records);
        QByteArray expected;
        for (int record = 0; record < records; ++record) {
            const auto at = [&](int i) { return int(static_cast<quint8>(sent[30 * record + i])); };
            const auto number = [&](int value) { return ' ' + QByteArray::number(value) + ' '; };
            const auto word = [&](int i) { return number(256 * at(i) + at(i + 1)); };
            QCOMPARE(at(0), 10);
            QByteArrayList columns{QByteArray(1, static_cast<char>(at(1))), word(2),
                                   number(3600 * at(4) + 60 * at(5) + at(6)), "="};
            for (const int i : {8, 10, 12, 14, 16, 18})
                columns.append(word(i));
            columns.append({number(at(20)), number(at(21)), word(22), word(24), word(26), word(28)});
            expected += columns.join(',') + "\r\n";
        }
        QCOMPARE(bench.Lines(), expected);
        QCOMPARE(bench.Chart()->Rows(), records / 10);
        QCOMPARE(bench.Text("MonLabel2"),
                 type == 2 ? QStringLiteral("Courant") : QStringLiteral("Temperature Systeme"));
        const double volts = bench.Chart()->Cell(5, 1) / 100;
        QVERIFY(volts > 4 && volts < 7); // four cells that are being charged
        if (type == 2)
            QVERIFY(bench.Chart()->Cell(10, 3) > bench.Chart()->Cell(1, 3));
    }

private:
    template <class Leave>
    void LeaveAtAPoint(Leave leave)
    {
        QFETCH(int, bytes);
        Bench bench;
        bench.OpenAndStart();
        const QByteArray record = Sample(3).Bytes();
        bench.Feed(Records(1, 2) + record.left(bytes));
        SOON_EQUAL(bench.LineCount(), bytes < 30 ? 2 : 3);
        QSignalSpy returning(&bench.window, &Window::Returning);
        leave(bench);
        QVERIFY(!bench.window.MonitorRunning());
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(returning.size(), 1);
        bench.board.Send(record.mid(bytes) + Records(4, 2));
        QVERIFY(bench.Arrived(30 - bytes + 60));
        bench.clock.Run(1s);
        QCOMPARE(bench.Lines(), bytes < 30 ? LineOf(1) + LineOf(2) : LineOf(1) + LineOf(2) + LineOf(3));
        QCOMPARE(bench.board.Speed(), 19200);
    }

    /// The message box that is open ends the program with status 1.
    static void ExpectTheEnd()
    {
        QTimer::singleShot(0, [] { AnswerBoxes(); });
        QCOMPARE(QCoreApplication::exec(), 1);
    }
};

REGISTER_TEST(TestMoni)
#include "tst_moni.moc"
