#include "base/errors.h"
#include "link/com.h"
#include "support/linkfixture.h"
#include "support/plug.h"
#include "support/scriptedboard.h"
#include "support/suite.h"

#include <QAbstractEventDispatcher>
#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace {
/// Runs as nobody in particular while it lives, where the test runs as root, who may do everything.
class Unprivileged
{
public:
    Unprivileged()
    {
        if (geteuid() == 0)
            changed_ = setresuid(65534, 65534, 0) == 0;
    }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;
    ~Unprivileged()
    {
        if (changed_ && setresuid(0, 0, 0) != 0)
            qFatal("root again, please");
    }

private:
    bool changed_ = false;
};

QString ErrorOfOpening(Com &com)
{
    try {
        com.SetPortOpen(true);
    } catch (const PortError &error) {
        return error.Text();
    }
    return {};
}
} // namespace

class TestCom : public QObject
{
    Q_OBJECT

private:
    /// Waits without letting events run.
    template <class Condition>
    static bool Soon(Condition condition)
    {
        QElapsedTimer watch;
        for (watch.start(); !condition() && watch.elapsed() < 5000;)
            QThread::usleep(200);
        return condition();
    }

private Q_SLOTS:
    void IsConfiguredByTheLink()
    {
        Com com;
        Timer timer1(QStringLiteral("Timer1"), 200, nullptr);
        Timer timer2(QStringLiteral("Timer2"), 20, nullptr);
        com.SetSettings(QStringLiteral("19200,e,7,2"));
        com.SetCommPort(4);
        com.SetHandshaking(2);
        com.SetInputMode(0);
        com.SetInputLen(0);
        com.SetRTSEnable(false);
        com.SetDTREnable(false);
        Codebas link(com, timer1, timer2);
        link.LinkState = 1;
        link.InitSerialPort();
        QCOMPARE(com.objectName(), QStringLiteral("Com"));
        QCOMPARE(com.Settings(), QStringLiteral("9600,n,8,1"));
        QCOMPARE(com.CommPort(), 1);
        QCOMPARE(com.Handshaking(), 0);
        QCOMPARE(com.InputMode(), 1);
        QCOMPARE(com.InputLen(), 1);
        QCOMPARE(com.RTSEnable(), true);
        QCOMPARE(com.DTREnable(), true);
        QCOMPARE(com.PortOpen(), false);
        QCOMPARE(link.LinkState, 0);
    }

    void PortsHaveNumbersOrNames()
    {
        Com com;
#ifdef Q_OS_WIN
        QCOMPARE(com.PortName(), QStringLiteral("COM1"));
        com.SetCommPort(3);
        QCOMPARE(com.PortName(), QStringLiteral("COM3"));
#else
        QCOMPARE(com.PortName(), QStringLiteral("ttyS0"));
        com.SetCommPort(3);
        QCOMPARE(com.PortName(), QStringLiteral("ttyS2"));
#endif
        com.SetPortName(QStringLiteral("ttyUSB7"));
        QCOMPARE(com.PortName(), QStringLiteral("ttyUSB7"));
        com.SetPortName({});
        QVERIFY(com.PortName() != QStringLiteral("ttyUSB7"));
    }

    void SettingsMustBeWellFormed_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("ordinary") << "9600,n,8,1" << true;
        QTest::newRow("monitor") << "19200,n,8,1" << true;
        QTest::newRow("even, 7, 2") << "300,e,7,2" << true;
        QTest::newRow("odd") << "300,o,5,1" << true;
        QTest::newRow("space") << "300,s,6,1" << true;
        QTest::newRow("mark") << "300,m,6,1" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("speed alone") << "9600" << false;
        QTest::newRow("no stop bits") << "9600,n,8" << false;
        QTest::newRow("too much") << "9600,n,8,1,x" << false;
        QTest::newRow("speed zero") << "0,n,8,1" << false;
        QTest::newRow("negative speed") << "-9600,n,8,1" << false;
        QTest::newRow("speed no number") << "fast,n,8,1" << false;
        QTest::newRow("parity unknown") << "9600,x,8,1" << false;
        QTest::newRow("parity empty") << "9600,,8,1" << false;
        QTest::newRow("parity too long") << "9600,ne,8,1" << false;
        QTest::newRow("four data bits") << "9600,n,4,1" << false;
        QTest::newRow("nine data bits") << "9600,n,9,1" << false;
        QTest::newRow("no stop bit") << "9600,n,8,0" << false;
        QTest::newRow("three stop bits") << "9600,n,8,3" << false;
    }
    void SettingsMustBeWellFormed()
    {
        QFETCH(QString, settings);
        QFETCH(bool, accepted);
        Com com;
        if (accepted) {
            com.SetSettings(settings);
            QCOMPARE(com.Settings(), settings);
            return;
        }
        try {
            com.SetSettings(settings);
            QFAIL("nothing thrown");
        } catch (const Error &error) {
            QCOMPARE(error.Text(), QStringLiteral("Réglage de port série incorrect : ") + settings);
        }
        QCOMPARE(com.Settings(), QStringLiteral("9600,n,8,1")); // as it was
    }

    void APortWithoutModemLinesIsNoError()
    {
        ScriptedBoard board;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        QVERIFY(com.PortOpen());
        QCOMPARE(board.Speed(), 9600);
        QCOMPARE(board.StopBits(), 1);
        com.SetRTSEnable(false);
        com.SetDTREnable(false);
        com.SetRTSEnable(true);
        com.SetDTREnable(true);
        com.Output(Bytes({85}));
        QTRY_COMPARE(board.Received(), Bytes({85}));
        QVERIFY(com.PortOpen());
        QCOMPARE(lost.count(), 0);
        com.SetPortOpen(false);
        QVERIFY(!com.PortOpen());
        QVERIFY(!com.Lost());
    }

    void APortThatIsMissingIsNamed()
    {
        Com com;
        com.SetPortName(QStringLiteral("/dev/ttyNotThere"));
        const QString text = ErrorOfOpening(com);
        QVERIFY2(text.startsWith(QStringLiteral("Le port série /dev/ttyNotThere ne peut pas être ouvert : ")),
                 qPrintable(text));
        QVERIFY2(text.endsWith(QString::fromLocal8Bit(std::strerror(ENOENT))), qPrintable(text));
        QVERIFY(!com.PortOpen());
        com.SetPortName(QStringLiteral("ttyNotThere"));
        QVERIFY(ErrorOfOpening(com).contains(QStringLiteral(" ttyNotThere ")));
    }

    void APortThatIsForbiddenNamesItsGroup()
    {
        const QTemporaryDir folder;
        QFile device(folder.filePath(QStringLiteral("ttyClosed")));
        QVERIFY(device.open(QIODevice::WriteOnly));
        const QString group = QFileInfo(device.fileName()).group();
        QVERIFY(chmod(qPrintable(folder.path()), 0755) == 0);
        QVERIFY(chmod(qPrintable(device.fileName()), 0) == 0);
        Com com;
        com.SetPortName(device.fileName());
        const Unprivileged user;
        const QString text = ErrorOfOpening(com);
        QVERIFY2(text.startsWith(QStringLiteral("Le port série %1 ne peut pas être ouvert : ").arg(device.fileName())),
                 qPrintable(text));
        QVERIFY2(text.endsWith(
                     QStringLiteral("\nVous devez appartenir au groupe « %1 », propriétaire de ce port.").arg(group)),
                 qPrintable(text));
    }

    void CountsWhatWaitsWithoutEvents()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        QCOMPARE(com.InBufferCount(), 0);
        com.SetPortOpen(true);
        QCOMPARE(com.InBufferCount(), 0);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 3; }));
        com.SetInputLen(1);
        QCOMPARE(com.Input(), Bytes({1}));
        QCOMPARE(com.InBufferCount(), 2);
        board.Send(Bytes({4})); // some are fetched already, some are not
        QVERIFY(Soon([&] { return com.InBufferCount() == 3; }));
        QCoreApplication::processEvents();
        QCOMPARE(com.InBufferCount(), 3);
        com.SetPortOpen(false);
        QCOMPARE(com.InBufferCount(), 0);
    }

    void InputTakesInputLenBytes()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        QCOMPARE(com.Input(), QByteArray());
        board.Send(Bytes({1, 2, 3, 4, 5, 0, 255}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 7; }));
        com.SetInputLen(1);
        QCOMPARE(com.Input(), Bytes({1}));
        com.SetInputLen(2);
        QCOMPARE(com.Input(), Bytes({2, 3}));
        com.SetInputLen(0);
        QCOMPARE(com.Input(), Bytes({4, 5, 0, 255}));
        QCOMPARE(com.Input(), QByteArray());
    }

    void InputMissesNoneOfTheBytesThatWereCounted()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        com.SetInputLen(1);
        board.Send(Bytes({1, 2}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 2; }));
        QCOMPARE(com.Input(), Bytes({1}));
        board.Send(Bytes({3, 4}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 3; }));
        com.SetInputLen(2);
        QCOMPARE(com.Input(), Bytes({2, 3}));
        board.Send(Bytes({5}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 2; }));
        com.SetInputLen(0);
        QCOMPARE(com.Input(), Bytes({4, 5}));
    }

    void TheOldestBytesMayBeThrownAway()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.KeepNewest(0); // closed: nothing happens
        com.SetPortOpen(true);
        com.SetInputLen(1);
        board.Send(Bytes({1, 2, 3, 4, 5}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 5; }));
        com.KeepNewest(5);
        QCOMPARE(com.InBufferCount(), 5);
        QCOMPARE(com.Input(), Bytes({1})); // the others are fetched by this
        board.Send(Bytes({6, 7}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 6; }));
        com.KeepNewest(3);
        QCOMPARE(com.InBufferCount(), 3);
        com.SetInputLen(0);
        QCOMPARE(com.Input(), Bytes({5, 6, 7}));
    }

    void TellsOfWhatArrives()
    {
        ScriptedBoard board;
        Com com;
        QSignalSpy received(&com, &Com::Received);
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        board.Send(Bytes({6}));
        QTRY_COMPARE(received.count(), 1);
        QCOMPARE(com.InBufferCount(), 1);
    }

    void BytesTakenJustBeforeTheirEventAreNoLoss()
    {
        ScriptedBoard board;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        com.SetInputLen(0);
        for (int round = 0; round < 20; ++round) {
            board.Send(Bytes({round}));
            QVERIFY(Soon([&] { return com.InBufferCount() == 1; }));
            // Taken in the same turn of the loop in which the port's own reading is due: that one finds nothing, and
            // what the last failed call of the process left in errno.
            QByteArray taken;
            const auto take = [&] {
                taken = com.Input();
                errno = EAGAIN;
            };
            if (round % 2 == 0)
                QMetaObject::invokeMethod(&com, take, Qt::QueuedConnection);
            else
                QTimer::singleShot(0, &com, take);
            QTRY_COMPARE(taken, Bytes({round}));
            QCoreApplication::processEvents();
            QCOMPARE(lost.count(), 0);
            QVERIFY(com.PortOpen());
            QSignalSpy received(&com, &Com::Received);
            board.Send(Bytes({99}));
            QTRY_COMPARE(received.count(), 1); // it still tells of what comes
            QCOMPARE(com.Input(), Bytes({99}));
        }
    }

    void NothingIsSentWhileItIsClosed()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        QVERIFY_EXCEPTION_THROWN(com.Output(Bytes({27})), PortClosed);
        com.SetPortOpen(true);
        com.SetPortOpen(false);
        QVERIFY_EXCEPTION_THROWN(com.Output(Bytes({27})), PortClosed);
    }

    void ClosingLetsOutWhatWasSent()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        com.Output(Bytes({27}));
        com.Output(Bytes({3}));
        com.SetPortOpen(false);
        QVERIFY(Soon([&] { return board.Pull() == Bytes({27, 3}); }));
    }

    void ClosingDropsWhatWaited()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 3; }));
        com.SetPortOpen(false);
        com.SetPortOpen(true);
        QCOMPARE(com.InBufferCount(), 0);
        board.Send(Bytes({4}));
        QVERIFY(Soon([&] { return com.InBufferCount() == 1; }));
        QCOMPARE(com.Input(), Bytes({4}));
    }

    void TheSpeedChangesWhileItIsOpen()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetPortOpen(true);
        QCOMPARE(board.Speed(), 9600);
        com.Output(Bytes({27, 3}));
        com.SetSettings(QStringLiteral("19200,n,8,2"));
        QCOMPARE(board.Speed(), 19200);
        QCOMPARE(board.StopBits(), 2);
        // What was sent before went out at the speed of before.
        QVERIFY(Soon([&] { return board.Pull() == Bytes({27, 3}); }));
        com.SetSettings(QStringLiteral("9600,n,8,1"));
        QCOMPARE(board.Speed(), 9600);
        QCOMPARE(board.StopBits(), 1);
        QVERIFY(com.PortOpen());
    }

    void TheSpeedIsSetAtTheOpening()
    {
        ScriptedBoard board;
        Com com;
        com.SetPortName(board.Port());
        com.SetSettings(QStringLiteral("19200,n,8,1"));
        com.SetPortOpen(true);
        QCOMPARE(board.Speed(), 19200);
    }

    void AnUnpluggedDeviceIsLostAndComesBack()
    {
        Plug plug;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        QSignalSpy back(&com, &Com::PortBack);
        com.SetPortName(plug.Path());
        com.SetSettings(QStringLiteral("19200,n,8,1"));
        com.SetPortOpen(true);
        QVERIFY(!com.Lost());
        plug.Out();
        QTRY_VERIFY(com.Lost());
        QVERIFY(!com.PortOpen());
        QVERIFY2(!lost.at(0).at(0).toString().isEmpty(), "no reason given");
        QCOMPARE(com.InBufferCount(), 0);
        QVERIFY_EXCEPTION_THROWN(com.Output(Bytes({27})), PortClosed);

        // Waiting for its return takes next to no turns of the event loop, and is told of once.
        int turns = 0;
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &com, [&turns] { ++turns; });
        QTest::qWait(300);
        QVERIFY2(turns < 150, qPrintable(QString::number(turns)));
        QCOMPARE(lost.count(), 1);
        QCOMPARE(back.count(), 0);

        plug.In();
        QTRY_COMPARE(back.count(), 1);
        QVERIFY(com.PortOpen());
        QVERIFY(!com.Lost());
        QCOMPARE(plug.Board().Speed(), 19200);
        com.Output(Bytes({85}));
        QTRY_COMPARE(plug.Board().Received(), Bytes({85}));
        plug.Board().Send(Bytes({27}));
        QTRY_COMPARE(com.InBufferCount(), 1);
        QCOMPARE(lost.count(), 1);

        plug.Out();
        QTRY_COMPARE(lost.count(), 2);
    }

    void ALossWhileSomethingIsSentIsALossToo()
    {
        Plug plug;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        com.SetPortName(plug.Path());
        com.SetPortOpen(true);
        plug.Out();
        com.Output(Bytes({27, 1}));
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(com.Lost());
    }

    void ADeviceThatIsBackButNotReadyIsTriedAgain()
    {
        Plug plug;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        QSignalSpy back(&com, &Com::PortBack);
        com.SetPortName(plug.Path());
        com.SetPortOpen(true);
        plug.Out();
        QTRY_VERIFY(com.Lost());
        // Something else holds it for a while, or its rights are not set yet.
        QFile inItsPlace(plug.Path());
        QVERIFY(inItsPlace.open(QIODevice::WriteOnly));
        QTest::qWait(1500); // past the second look
        QCOMPARE(back.count(), 0);
        ScriptedBoard board;
        com.SetPortName(board.Port()); // now it opens, and no change of a folder says so
        QTRY_COMPARE(back.count(), 1);
    }

    void ALostPortThatIsClosedStaysClosed()
    {
        Plug plug;
        Com com;
        QSignalSpy lost(&com, &Com::PortLost);
        QSignalSpy back(&com, &Com::PortBack);
        com.SetPortName(plug.Path());
        com.SetPortOpen(true);
        plug.Out();
        QTRY_COMPARE(lost.count(), 1);
        com.SetPortOpen(false);
        QVERIFY(!com.Lost());
        plug.In();
        QTest::qWait(1300); // longer than the second look
        QVERIFY(!com.PortOpen());
        QCOMPARE(back.count(), 0);
        com.SetPortOpen(true);
        QVERIFY(com.PortOpen());
    }
};

REGISTER_TEST(TestCom)
#include "tst_com.moc"
