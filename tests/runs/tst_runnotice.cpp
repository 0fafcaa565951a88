// SPDX-License-Identifier: GPL-3.0-or-later
#include "runs/runnotice.h"
#include "simulation/simulatedclock.h"
#include "support/notifications.h"
#include "support/suite.h"

#include <QtTest>

/// What the desktop is told of the end of a run.
class TestRunNotice : public QObject
{
    Q_OBJECT

private:
    Notifications desktop_;

    /// A run of so long that has measured 1480.9 mAh.
    static void Run(RunNews &news, Clock::Duration length)
    {
        news.Begin({});
        Simulated().Run(length);
        RunPoint point;
        point.milliampereHours = 1480.9;
        news.Tell(point);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(desktop_.Start());
        qputenv("DBUS_SESSION_BUS_ADDRESS", desktop_.Address().toLatin1());
    }
    void init() { desktop_.shown.clear(); }

    void Ends_data()
    {
        QTest::addColumn<RunNews::Kind>("kind");
        QTest::addColumn<RunEnd::How>("how");
        QTest::addColumn<QString>("why");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("body");
        QTest::addColumn<int>("urgency");
        using enum RunNews::Kind;
        using enum RunEnd::How;
        QTest::newRow("rule") << Charge << Rule << "" << "Charge terminée" << "01:12 · 1480 mAh" << 1;
        QTest::newRow("discharge") << Discharge << Rule << "" << "Décharge terminée" << "01:12 · 1480 mAh" << 1;
        QTest::newRow("capacity") << Capacity << Rule << "" << "Mesure de capacité terminée" << "01:12 · 1480 mAh" << 1;
        QTest::newRow("limit") << Charge << Cause << "température 60 °C (limite 60 °C)"
                               << "Charge arrêtée" << "température 60 °C (limite 60 °C)\n01:12 · 1480 mAh" << 2;
        QTest::newRow("error") << Discharge << Error << "a < b & c"
                               << "Décharge interrompue" << "a &lt; b &amp; c\n01:12 · 1480 mAh" << 2;
    }
    void Ends()
    {
        QFETCH(RunNews::Kind, kind);
        QFETCH(RunEnd::How, how);
        QFETCH(QString, why);
        const SimulatedClock clock;
        RunNews news(kind);
        const RunProgress progress(news, nullptr);
        const RunNotice notice(progress, nullptr);
        Run(news, 72min);
        news.End(how, why);
        QTRY_COMPARE(desktop_.shown.size(), size_t(1));
        QCOMPARE(desktop_.shown[0].application, QStringLiteral("Voltaire"));
        QTEST(desktop_.shown[0].summary, "summary");
        QTEST(desktop_.shown[0].body, "body");
        QTEST(desktop_.shown[0].urgency, "urgency");
    }

    void WhatTheUserDoesIsNoNews()
    {
        const SimulatedClock clock;
        RunNews news(RunNews::Kind::Charge);
        const RunProgress progress(news, nullptr);
        const RunNotice notice(progress, nullptr);
        for (const RunEnd::How how : {RunEnd::How::Stop, RunEnd::How::Left, RunEnd::How::Restart, RunEnd::How::Rule}) {
            Run(news, 1min);
            news.End(how);
        }
        QTRY_VERIFY(!desktop_.shown.empty()); // the last one, which any before it would have come before
        QCOMPARE(desktop_.shown[0].summary, QStringLiteral("Charge terminée"));
    }
};

REGISTER_TEST(TestRunNotice)
#include "tst_runnotice.moc"
