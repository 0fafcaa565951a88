// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/newest.h"
#include "base/onset.h"
#include "base/opening.h"
#include "support/suite.h"

#include <QtTest>

/// The small counters of the windows.
class TestNewest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TheNextOneMakesThoseBeforeItVoid()
    {
        Newest moves;
        const auto first = moves.Next();
        const auto same = moves.Present();
        QVERIFY(first());
        QVERIFY(same());
        const auto second = moves.Next();
        QVERIFY(!first());
        QVERIFY(!same());
        QVERIFY(second());
    }

    void AnOpeningLastsUntilTheWindowIsClosed()
    {
        Opening opening;
        opening.Begin();
        const auto lasts = opening.Lasts();
        QVERIFY(lasts());
        opening.End();
        QVERIFY(!lasts());
        opening.Begin();
        QVERIFY(!lasts()); // it is another one
        QVERIFY(opening.Lasts()());
    }

    void ATroubleBeginsOnce()
    {
        Onset trouble;
        QVERIFY(!trouble.Begins(false));
        QVERIFY(trouble.Begins(true));
        QVERIFY(!trouble.Begins(true));
        QVERIFY(!trouble.Begins(false));
        QVERIFY(trouble.Begins(true));
        trouble.Forget();
        QVERIFY(trouble.Begins(true));
    }
};

REGISTER_TEST(TestNewest)
#include "tst_newest.moc"
