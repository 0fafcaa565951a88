// SPDX-License-Identifier: GPL-3.0-or-later
#include "runs/awake.h"
#include "simulation/simulatedclock.h"
#include "support/loginmanager.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QtTest>

class TestAwake : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(manager_.Start());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", manager_.Address().toLatin1());
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
    LoginManager manager_;
};

REGISTER_TEST(TestAwake)
#include "tst_awake.moc"
