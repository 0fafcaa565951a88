// SPDX-License-Identifier: GPL-3.0-or-later
#include "replay.h"
#include "support/suite.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using Board::Bytes;
using Board::Replay;
using Board::ReplayScript;

namespace {
ReplayScript Read(const QByteArray &lines, bool booster = false)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("trace"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(lines) != lines.size())
        throw std::runtime_error("not written");
    file.close();
    return ReplayScript::Read(path.toStdString(), booster);
}

/// A replay, and the PC in front of it.
struct Pc
{
    explicit Pc(const QByteArray &lines)
        : replay(Read(lines), false, [this](const std::string &text) { said.append(QString::fromStdString(text)); })
    {
    }
    /// The bytes that are answered to these, as text.
    QByteArray Ask(std::initializer_list<int> bytes)
    {
        QByteArray text;
        delays.clear();
        for (const int byte : bytes)
            if (const auto answer = replay.Take(static_cast<std::uint8_t>(byte)); answer.bytes)
                for (const auto &each : *answer.bytes) {
                    text += (text.isEmpty() ? "" : " ") + QByteArray::number(each.byte);
                    delays.append(each.after);
                }
        return text;
    }

    QStringList said;
    QList<double> delays;
    Replay replay;
};

const QByteArray steps = "# a head\n"
                         "0 = ouvert\n"
                         "100 > 85 → appel\n"
                         "200100 > 85\n"
                         "200400 < 27 ← la carte répond\n"
                         "300000 > 27\n"
                         "300100 > 6\n"
                         "302100 < 27 1\n"
                         "303100 < 2 0\n"
                         "400000 > 27 13\n"
                         "400500 < 27 0 13 0\n"
                         "500000 > 27 12\n"
                         "500500 < 27 0 12 0\n"
                         "600000 > 27 13\n"
                         "600500 < 27 0 14 0\n"
                         "700000 > 27 15 0\n"
                         "700500 < 6\n";
} // namespace

class TestBoardReplay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AnswersInOrderWithThePausesOfThen()
    {
        Pc pc(steps);
        QCOMPARE(pc.Ask({85}), QByteArray());
        QCOMPARE(pc.Ask({85}), QByteArray("27"));
        QCOMPARE(pc.Ask({27, 6}), QByteArray("27 1 2 0"));
        QCOMPARE(pc.delays,
                 QList<double>({0.302100 - 0.300100, 0.302100 - 0.300100, 0.303100 - 0.300100, 0.303100 - 0.300100}));
        QCOMPARE(pc.Ask({27, 13}), QByteArray("27 0 13 0"));
        QCOMPARE(pc.Ask({27, 12}), QByteArray("27 0 12 0"));
        QCOMPARE(pc.Ask({27, 13}), QByteArray("27 0 14 0"));
        QCOMPARE(pc.Ask({27, 15, 0}), QByteArray("6"));
        QCOMPARE(pc.said, QStringList());
    }

    void ARequestMoreIsSaidAndHasItsLastAnswer()
    {
        Pc pc(steps);
        pc.Ask({85, 85, 27, 6, 27, 13, 27, 12});
        QCOMPARE(pc.Ask({27, 6}), QByteArray("27 1 2 0"));
        QCOMPARE(pc.said,
                 QStringList({QStringLiteral("ligne 14 de la trace, « 27 13 » : le programme demande « 27 6 »")}));
        QCOMPARE(pc.Ask({27, 13}), QByteArray("27 0 14 0"));
        QCOMPARE(pc.said.size(), 1);
    }

    void ARequestLessIsSaidAndPassedOver()
    {
        Pc pc(steps);
        pc.Ask({85, 85, 27, 6, 27, 13});
        QCOMPARE(pc.Ask({27, 15, 0}), QByteArray("6")); // two were left out
        QCOMPARE(pc.said,
                 QStringList({QStringLiteral("ligne 12 de la trace, « 27 12 » : le programme demande « 27 15 0 »")}));
    }

    void WhatWasNeverAskedHasNoAnswer()
    {
        Pc pc(steps);
        QCOMPARE(pc.Ask({27, 41}), QByteArray());
        QCOMPARE(pc.said,
                 QStringList({QStringLiteral("ligne 3 de la trace, « 85 » : le programme demande « 27 41 »")}));
        QCOMPARE(pc.Ask({85}), QByteArray());
        QCOMPARE(pc.Ask({85}), QByteArray("27"));
    }

    void AnotherValueIsAnotherRequest()
    {
        Pc pc("0 > 27 15 1\n1 < 6\n2 > 27 13\n3 < 27 1 1 0\n");
        QCOMPARE(pc.Ask({27, 15, 0}), QByteArray());
        QCOMPARE(pc.said,
                 QStringList({QStringLiteral("ligne 1 de la trace, « 27 15 1 » : le programme demande « 27 15 0 »")}));
    }

    void TheEndOfTheTraceIsSaidOnce()
    {
        Pc pc("0 > 27 13\n1 < 27 1 1 0\n");
        pc.Ask({27, 13});
        QCOMPARE(pc.Ask({27, 13}), QByteArray("27 1 1 0"));
        pc.Ask({27, 13});
        QCOMPARE(pc.said, QStringList({QStringLiteral("la trace est finie : le programme demande « 27 13 »")}));
    }

    void AGreetingIsToldFromARequest()
    {
        Pc pc("0 > 27 3\n1 < 10 1\n2 > 85\n3 < 27\n");
        QVERIFY(!pc.replay.Take(27).greeting);
        QVERIFY(!pc.replay.Take(3).greeting);
        QVERIFY(pc.replay.Take(85).greeting);
    }

    void ABoosterTakesMoreBytes()
    {
        QCOMPARE(Read("0 > 27 51 1 40 0 9\n", true).steps.size(), 1u);
        QCOMPARE(Read("0 > 27 51 1 40 0 9\n", false).steps.size(), 4u);
    }

    void DamageIsNamed_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QByteArray>("why");
        const auto row = [](const char *name, const char *lines, const char *why) {
            QTest::newRow(name) << QByteArray(lines) << QByteArray(why);
        };
        row("no trace", "hello\n", ", ligne 1 : temps « hello »");
        row("a byte", "# head\n0 > 27 256\n", ", ligne 2 : octet « 256 »");
        row("a direction", "0 in 27\n", ", ligne 1 : sens « in »");
        row("no bytes", "0 >\n", ", ligne 1 : il manque les octets");
        row("the wrong order", "2 > 85\n1 < 27\n", ", ligne 2 : le temps recule");
        row("empty", "", " : aucune demande à la carte dans cette trace");
        row("nothing whole", "0 > 85", " : aucune demande à la carte dans cette trace");
    }
    void DamageIsNamed()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QByteArray, why);
        try {
            Read(lines);
            QFAIL("nothing thrown");
        } catch (const std::runtime_error &error) {
            QVERIFY2(QByteArray(error.what()).endsWith(why), error.what());
        }
    }
    void AFileThatIsNotThereIsNamed()
    {
        QVERIFY_EXCEPTION_THROWN(ReplayScript::Read("/nowhere/trace", false), std::system_error);
    }
};

REGISTER_TEST(TestBoardReplay)
#include "test_board_replay.moc"
