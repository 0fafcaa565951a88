// SPDX-License-Identifier: GPL-3.0-or-later
#include "link/activity.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QtTest>

class TestActivity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { AnswerBoxes(); }

    void NothingBarsWhatIsAlone()
    {
        Activity::All all;
        const Activity only(all, Activity::Kind::Run, QStringLiteral("Une charge"), [] { return true; });
        QVERIFY(!only.IsBarred(nullptr, {}));
        QVERIFY(BoxTexts().isEmpty());
    }

    void ARunBarsAllOthersWhileItIsOn()
    {
        Activity::All all;
        bool on = true;
        const Activity run(all, Activity::Kind::Run, QStringLiteral("Une charge"), [&on] { return on; });
        const Activity other(all, Activity::Kind::Run, QStringLiteral("Une décharge"), [] { return false; });
        const Activity current(all, Activity::Kind::Current, QStringLiteral("La fenêtre"), [] { return false; });
        QVERIFY(other.IsBarred(nullptr, {}));
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral(
                                 "Une charge est en cours, et c'est le programme qui la termine.\n"
                                 "Arrêtez-la d'abord : les deux se disputeraient les sorties de la carte.")));
        QVERIFY(current.IsBarred(nullptr, {}));
        on = false;
        QVERIFY(!other.IsBarred(nullptr, {}));
        QVERIFY(!current.IsBarred(nullptr, {}));
    }

    void ACurrentBarsRunsOnly()
    {
        Activity::All all;
        const Activity current(all, Activity::Kind::Current, QStringLiteral("La fenêtre"), [] { return true; });
        const Activity run(all, Activity::Kind::Run, QStringLiteral("Une charge"), [] { return false; });
        const Activity beside(all, Activity::Kind::Current, QStringLiteral("L'autre"), [] { return false; });
        QVERIFY(run.IsBarred(nullptr, {}));
        QCOMPARE(BoxTexts(),
                 QStringList(QStringLiteral("La fenêtre est ouverte et laisse passer un courant.\n"
                                            "Fermez-la d'abord : les deux se disputeraient les sorties de la carte.")));
        QVERIFY(!beside.IsBarred(nullptr, {}));
    }

    void WhatIsGoneBarsNothing()
    {
        Activity::All all;
        const Activity run(all, Activity::Kind::Run, QStringLiteral("Une charge"), [] { return false; });
        {
            const Activity gone(all, Activity::Kind::Run, QStringLiteral("Une décharge"), [] { return true; });
            QVERIFY(run.IsBarred(nullptr, {}));
        }
        QVERIFY(!run.IsBarred(nullptr, {}));
    }
};

REGISTER_TEST(TestActivity)
#include "tst_activity.moc"
