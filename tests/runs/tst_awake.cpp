#include "runs/awake.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {
/// A login manager as far as the program knows it.
class LoginManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    struct Inhibitor
    {
        QString what, mode;
        int pipe; ///< at its end once the inhibitor is given back

        bool IsHeld() const
        {
            pollfd state{pipe, POLLIN, 0};
            return poll(&state, 1, 0) == 0;
        }
    };
    ~LoginManager() override
    {
        for (const Inhibitor &inhibitor : inhibitors)
            close(inhibitor.pipe);
    }

    std::vector<Inhibitor> inhibitors;

public Q_SLOTS:
    QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &, const QString &, const QString &mode)
    {
        int ends[2] = {-1, -1};
        [[maybe_unused]] const int made = pipe2(ends, O_CLOEXEC);
        inhibitors.push_back({what, mode, ends[0]});
        QDBusUnixFileDescriptor lock;
        lock.giveFileDescriptor(ends[1]);
        return lock;
    }

Q_SIGNALS:
    void PrepareForSleep(bool coming);
};
} // namespace

class TestAwake : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// A bus of our own stands for the system's.
    void initTestCase()
    {
        bus_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        bus_.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        QVERIFY(bus_.waitForReadyRead());
        const QString address = QString::fromLatin1(bus_.readLine().trimmed());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toLatin1());
        QDBusConnection own = QDBusConnection::connectToBus(address, QStringLiteral("login manager"));
        QVERIFY(own.isConnected());
        QVERIFY(own.registerService(QStringLiteral("org.freedesktop.login1")));
        QVERIFY(own.registerObject(QStringLiteral("/org/freedesktop/login1"), &manager_,
                                   QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
    }
    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("login manager"));
        bus_.terminate();
        bus_.waitForFinished();
    }

    void SleepIsHeldUpUntilAMomentAfterTheEnd()
    {
        SimulatedClock clock;
        Awake awake;
        QSignalSpy coming(&awake, &Awake::SleepComing);
        awake.Hold();
        QTRY_COMPARE(manager_.inhibitors.size(), size_t(2));
        QCOMPARE(manager_.inhibitors[0].what, QStringLiteral("sleep:idle"));
        QCOMPARE(manager_.inhibitors[0].mode, QStringLiteral("block"));
        QCOMPARE(manager_.inhibitors[1].what, QStringLiteral("sleep"));
        QCOMPARE(manager_.inhibitors[1].mode, QStringLiteral("delay"));

        Q_EMIT manager_.PrepareForSleep(true);
        QTRY_COMPARE(coming.size(), 1);
        awake.Release();
        clock.Run(1900ms);
        QVERIFY(manager_.inhibitors[0].IsHeld());
        QVERIFY(manager_.inhibitors[1].IsHeld());
        clock.Run(200ms);
        QVERIFY(!manager_.inhibitors[0].IsHeld());
        QVERIFY(!manager_.inhibitors[1].IsHeld());

        // Nothing is held any more. Another one's second word comes behind the first one's.
        Awake other;
        QSignalSpy toOther(&other, &Awake::SleepComing);
        other.Hold();
        for (int i = 0; i < 2; ++i) {
            Q_EMIT manager_.PrepareForSleep(false);
            Q_EMIT manager_.PrepareForSleep(true);
        }
        QTRY_COMPARE(toOther.size(), 2);
        QCOMPARE(coming.size(), 1);
    }

private:
    QProcess bus_;
    LoginManager manager_;
};

REGISTER_TEST(TestAwake)
#include "tst_awake.moc"
