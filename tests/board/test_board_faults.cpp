// SPDX-License-Identifier: GPL-3.0-or-later
#include "faults.h"
#include "support/suite.h"

#include <QtTest>

using Board::Bytes;
using Board::FaultRule;
using Board::Faults;

namespace {

std::vector<FaultRule> Rules(std::initializer_list<const char *> texts)
{
    std::vector<FaultRule> rules;
    for (const char *text : texts)
        rules.push_back(Board::ParseFault(text).value());
    return rules;
}

/// What leaves a board that sends 1, 2, 3 and so on.
Bytes Sent(Faults &faults, int count)
{
    std::vector<Faults::Delayed> sent;
    for (int i = 1; i <= count; ++i)
        faults.Send(static_cast<std::uint8_t>(i), sent);
    Bytes bytes;
    for (const Faults::Delayed &each : sent)
        bytes.push_back(each.byte);
    return bytes;
}

Bytes Heard(Faults &faults, int count)
{
    Bytes bytes;
    for (int i = 1; i <= count; ++i)
        faults.Hear(static_cast<std::uint8_t>(i), bytes);
    return bytes;
}

} // namespace

class TestBoardFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ReadsItsTexts_data();
    void ReadsItsTexts();
    void DoesNothingUnasked();
    void LosesBytes();
    void AddsBytes();
    void DelaysBytes();
    void FallsSilentAndRestarts();
    void StrikesByChance();
    void FollowsItsSeed();
};

void TestBoardFaults::ReadsItsTexts_data()
{
    QTest::addColumn<bool>("good");
    for (const char *text :
         {"lost:p=0.5", "lost:at=3", "lost:at=3,dir=in", "lost:p=1,at=7,dir=both", "added:p=0.001,dir=out", "late:at=1",
          "late:p=0.1,ms=12.5", "silence:at=10", "silence:at=10,ms=500", "restart:p=0.01", "restart:at=2"})
        QTest::newRow(text) << true;
    for (const char *text : {"",
                             "lost",
                             "lost:",
                             "lost:p",
                             "lost:p=",
                             "lost:p=2",
                             "lost:p=-1",
                             "lost:p=nan",
                             "lost:p=0",
                             "lost:at=0",
                             "lost:at=-1",
                             "lost:at=1.5",
                             "lost:ms=3",
                             "lost:at=1,dir=up",
                             "late:at=1,dir=in",
                             "late:ms=5",
                             "late:at=1,ms=0",
                             "late:at=1,ms=inf",
                             "restart:at=1,ms=5",
                             "broken:p=1",
                             "lost:at=1;dir=in",
                             "lost:at=1 "})
        QTest::newRow(text) << false;
}

void TestBoardFaults::ReadsItsTexts()
{
    QFETCH(bool, good);
    QCOMPARE(Board::ParseFault(QTest::currentDataTag()).has_value(), good);
}

void TestBoardFaults::DoesNothingUnasked()
{
    Faults faults({}, 1);
    QCOMPARE(Sent(faults, 4), Bytes({1, 2, 3, 4}));
    QCOMPARE(Heard(faults, 4), Bytes({1, 2, 3, 4}));
    QCOMPARE(faults.AfterCommand(), Faults::Event::None);
}

void TestBoardFaults::LosesBytes()
{
    Faults out(Rules({"lost:at=2", "lost:at=4"}), 1);
    QCOMPARE(Sent(out, 5), Bytes({1, 3, 5}));
    QCOMPARE(Heard(out, 5), Bytes({1, 2, 3, 4, 5}));
    Faults in(Rules({"lost:at=2,dir=in"}), 1);
    QCOMPARE(Sent(in, 3), Bytes({1, 2, 3}));
    QCOMPARE(Heard(in, 3), Bytes({1, 3}));
    Faults both(Rules({"lost:at=1,dir=both"}), 1);
    QCOMPARE(Sent(both, 2), Bytes({2}));
    QCOMPARE(Heard(both, 2), Bytes({2}));
}

void TestBoardFaults::AddsBytes()
{
    Faults faults(Rules({"added:at=2,dir=both"}), 1);
    const Bytes sent = Sent(faults, 3);
    QCOMPARE(sent.size(), 4u);
    QCOMPARE(Bytes({sent[0], sent[1], sent[3]}), Bytes({1, 2, 3}));
    QCOMPARE(Heard(faults, 3).size(), 4u);
}

void TestBoardFaults::DelaysBytes()
{
    Faults faults(Rules({"late:at=2,ms=40", "late:at=3"}), 1);
    std::vector<Faults::Delayed> sent;
    for (int i = 1; i <= 4; ++i)
        faults.Send(static_cast<std::uint8_t>(i), sent);
    QCOMPARE(sent.size(), 4u);
    QCOMPARE(sent[0].seconds, 0.0);
    QCOMPARE(sent[1].seconds, 0.040);
    QCOMPARE(sent[2].seconds, 0.300);
    QCOMPARE(sent[3].seconds, 0.0);
}

void TestBoardFaults::FallsSilentAndRestarts()
{
    Faults faults(Rules({"silence:at=2,ms=500", "restart:at=3", "silence:at=4"}), 1);
    QCOMPARE(faults.AfterCommand(), Faults::Event::None);
    QCOMPARE(faults.AfterCommand(), Faults::Event::Silence);
    QCOMPARE(faults.SilenceSeconds(), 0.5);
    QCOMPARE(faults.AfterCommand(), Faults::Event::Restart);
    QCOMPARE(faults.AfterCommand(), Faults::Event::Silence);
    QCOMPARE(faults.SilenceSeconds(), 0.0);
    QCOMPARE(faults.AfterCommand(), Faults::Event::None);
}

void TestBoardFaults::StrikesByChance()
{
    Faults faults(Rules({"lost:p=0.1"}), 5);
    std::vector<Faults::Delayed> sent;
    for (int i = 0; i < 10000; ++i)
        faults.Send(1, sent);
    QCOMPARE_GT(sent.size(), 8800u);
    QCOMPARE_LT(sent.size(), 9200u);
    Faults always(Rules({"lost:p=1"}), 5);
    QCOMPARE(Sent(always, 5), Bytes{});
}

void TestBoardFaults::FollowsItsSeed()
{
    const auto run = [](std::uint64_t seed) {
        Faults faults(Rules({"lost:p=0.2", "added:p=0.2"}), seed);
        return Sent(faults, 200);
    };
    QCOMPARE(run(7), run(7));
    QVERIFY(run(7) != run(8));
}

REGISTER_TEST(TestBoardFaults)
#include "test_board_faults.moc"
