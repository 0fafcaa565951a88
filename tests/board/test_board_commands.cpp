// SPDX-License-Identifier: GPL-3.0-or-later
#include "pc.h"
#include "support/suite.h"

#include "random.h"

#include <QtTest>

#include <cmath>
#include <optional>

using Board::Bytes;

namespace {

Board::DeviceOptions Plain()
{
    return {};
}

std::optional<int> Masked(const Bytes &reply)
{
    if (reply.size() != 3 || reply[0] != 27)
        return std::nullopt;
    return reply[1];
}

} // namespace

/// Every command, byte for byte.
class TestBoardCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Greets();
    void AnswersWithoutAGreeting();
    void TellsAboutTheBus();
    void AnswersTheDashboard();
    void ReadsChannels_data();
    void ReadsChannels();
    void ConvertsWithItsTrueGains();
    void AcknowledgesWrites_data();
    void AcknowledgesWrites();
    void MovesTheDeltaCount();
    void SwitchesCurrents_data();
    void SwitchesCurrents();
    void ReportsPorts();
    void ReportsButtons_data();
    void ReportsButtons();
    void KeepsTheClock();
    void ReadsAndWritesOnChipEeproms();
    void ReadsAndWritesExternalEeproms();
    void ReadsAndWritesTheMastersFlash();
    void ReadsAndWritesTheSlavesFlash();
    void CutsTheDoubler();
    void TakesTheBoosterBlock();
    void DoesWithoutASlave();
    void IgnoresUnknownCommands();
    void TakesBytesOneByOne();
    void SurvivesGarbage();
    void StartsAnew();
    void TakesALaboratorySupply();
};

void TestBoardCommands::Greets()
{
    Pc pc(Plain());
    QCOMPARE(pc.Exchange({85}), Bytes({27}));
    QCOMPARE(pc.Exchange({170}), Bytes({85}));
    QCOMPARE(pc.Exchange({170}), Bytes{});
    QCOMPARE(pc.Exchange({85, 85, 85}), Bytes({27, 27, 27}));
    QCOMPARE(pc.Exchange({170}), Bytes({85}));
    // Something else in between: the second half alone is not a greeting.
    QCOMPARE(pc.Exchange({85, 0, 170}), Bytes({27}));
    // A greeting's byte inside a command is a parameter.
    QCOMPARE(pc.Exchange({27, 19, 85}), Bytes({6}));
    QCOMPARE(pc.board.Hardware().Setting(19), 85);
}

void TestBoardCommands::AnswersWithoutAGreeting()
{
    Pc pc(Plain());
    QCOMPARE(pc.Exchange({27, 41}), Bytes({27, 0, 0, 0, 0}));
}

void TestBoardCommands::TellsAboutTheBus()
{
    Pc pc(Plain());
    QCOMPARE(pc.Exchange({27, 1}), Bytes({27, 0, 0, 6, 0}));
}

void TestBoardCommands::AnswersTheDashboard()
{
    Pc pc(Plain());
    QCOMPARE(pc.Exchange({27, 0}), Bytes({6}));
}

void TestBoardCommands::ReadsChannels_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("least");
    QTest::addColumn<int>("most");
    QTest::newRow("temperature") << 5 << 940 << 946;
    QTest::newRow("supply") << 6 << 870 << 885;
    QTest::newRow("doubler") << 7 << 805 << 825;
    QTest::newRow("inverter") << 8 << 100 << 1023;
    QTest::newRow("battery temperature") << 9 << 700 << 900;
    QTest::newRow("charge current") << 10 << 0 << 1;
    QTest::newRow("discharge current") << 11 << 0 << 1;
    QTest::newRow("delta") << 12 << 40 << 80;
    QTest::newRow("battery") << 13 << 473 << 479;
}

void TestBoardCommands::ReadsChannels()
{
    QFETCH(int, channel);
    QFETCH(int, least);
    QFETCH(int, most);
    Pc pc(Plain());
    for (int i = 0; i < 50; ++i) {
        const int count = pc.ReadChannel(channel);
        QCOMPARE_GE(count, least);
        QCOMPARE_LE(count, most);
    }
    QCOMPARE(pc.Exchange({27, channel}).back(), 0);
}

void TestBoardCommands::ConvertsWithItsTrueGains()
{
    // With the true words in the place of the birth words, every reading comes within a step of the truth.
    Pc pc(Plain());
    pc.Write({{18, 0}, {16, 0}, {17, 1}, {15, 1}});
    pc.Wait(1);
    const Board::Gains gains = Board::TrueGains(Board::Chemistry::NiMh, 4);
    const Board::Gains birth = Board::BirthGains(Board::Chemistry::NiMh, 4);
    const auto value = [](int count, double word) { return count * 1024 / word / 100; };
    const int supply = pc.ReadChannel(6);
    const int doubler = pc.ReadChannel(7);
    const int charge = pc.ReadChannel(10);
    const int battery = pc.ReadChannel(13);
    const int temperature = pc.ReadChannel(5);
    const Board::TrueValues truth = pc.board.Hardware().Truth();
    QCOMPARE_LT(std::abs(value(supply, gains.supplyWord) - truth.supplyVolts), 0.03);
    QCOMPARE_LT(std::abs(value(doubler, gains.doublerWord) - truth.doublerVolts), 0.05);
    QCOMPARE_LT(std::abs(value(charge, gains.chargeWord) - truth.chargeAmps), 0.012);
    QCOMPARE_LT(std::abs(value(battery, gains.batteryWord) - truth.packVolts), 0.02);
    QCOMPARE_LT(std::abs(1024 * (gains.temperatureZero - temperature) / gains.temperatureSlope - truth.celsius), 0.6);
    QCOMPARE_LT(std::abs(truth.chargeAmps - 100 / gains.chargeScale), 1e-9);
    // And the birth words are off by one to three percent.
    const std::pair<double, double> words[] = {
        {birth.supplyWord, gains.supplyWord},
        {birth.doublerWord, gains.doublerWord},
        {birth.chargeWord, gains.chargeWord},
        {birth.dischargeWord, gains.dischargeWord},
        {birth.chargeScale, gains.chargeScale},
        {birth.dischargeScale, gains.dischargeScale},
        {birth.batteryWord, gains.batteryWord},
        {birth.temperatureSlope, gains.temperatureSlope},
        {birth.batteryTemperatureSlope, gains.batteryTemperatureSlope},
    };
    for (const auto &[born, real] : words) {
        QCOMPARE_GE(std::abs(real / born - 1), 0.01);
        QCOMPARE_LE(std::abs(real / born - 1), 0.03);
    }
}

void TestBoardCommands::AcknowledgesWrites_data()
{
    QTest::addColumn<int>("command");
    for (const int command : {15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 51})
        QTest::addRow("%d", command) << command;
}

void TestBoardCommands::AcknowledgesWrites()
{
    QFETCH(int, command);
    Pc pc(Plain());
    for (const int value : {0, 1, 27, 85, 255})
        QCOMPARE(pc.Exchange({27, command, value}), Bytes({6}));
    if (command >= 19 && command <= 22)
        QCOMPARE(pc.board.Hardware().Setting(command), 255);
    if (command == 24)
        QCOMPARE(pc.board.Hardware().Beeps(), 5);
}

void TestBoardCommands::MovesTheDeltaCount()
{
    Pc pc(Plain());
    pc.Write({{21, 20}, {22, 200}});
    const int middle = pc.ReadChannel(12);
    pc.Write(21, 30);
    const int up = pc.ReadChannel(12);
    QCOMPARE_GT(up, middle + 100);
    QCOMPARE_LT(up, middle + 140);
    pc.Write({{21, 20}, {22, 250}});
    const int down = pc.ReadChannel(12);
    QCOMPARE_LT(down, middle - 90);
    QCOMPARE_GT(down, middle - 110);
    pc.Write({{21, 255}, {22, 0}});
    QCOMPARE(pc.ReadChannel(12), 1023);
    Board::DeviceOptions empty;
    empty.pack.stateOfCharge = 0;
    Pc low(empty);
    low.Write({{21, 0}, {22, 255}});
    QCOMPARE(low.ReadChannel(12), 0);
}

void TestBoardCommands::SwitchesCurrents_data()
{
    QTest::addColumn<int>("l15");
    QTest::addColumn<int>("l16");
    QTest::addColumn<int>("l17");
    QTest::addColumn<int>("l18");
    QTest::addColumn<double>("amps");
    QTest::newRow("charge") << 1 << 0 << 1 << 0 << 100 / 51.0;
    QTest::newRow("discharge") << 0 << 1 << 0 << 1 << -40 / 40.8;
    QTest::newRow("idle") << 0 << 0 << 0 << 1 << 0.0;
    QTest::newRow("no power") << 1 << 0 << 0 << 0 << 0.0;
    QTest::newRow("charge not connected") << 0 << 0 << 1 << 0 << 0.0;
    QTest::newRow("both") << 1 << 1 << 1 << 0 << 0.0;
    QTest::newRow("voltage setting open") << 0 << 1 << 1 << 1 << -40 / 40.8;
    QTest::newRow("voltage setting left") << 1 << 1 << 1 << 0 << 0.0;
    QTest::newRow("any non-zero value") << 9 << 0 << 255 << 0 << 100 / 51.0;
}

void TestBoardCommands::SwitchesCurrents()
{
    QFETCH(int, l15);
    QFETCH(int, l16);
    QFETCH(int, l17);
    QFETCH(int, l18);
    QFETCH(double, amps);
    Board::DeviceOptions options;
    options.pack.stateOfCharge = 0.5;
    Pc pc(options);
    pc.Write({{15, l15}, {16, l16}, {17, l17}, {18, l18}});
    QCOMPARE_LT(std::abs(pc.board.Hardware().Amps() - amps), 1e-9);
    const int charge = pc.ReadChannel(10);
    const int discharge = pc.ReadChannel(11);
    QCOMPARE_LE(std::abs(charge - std::max(0.0, amps) * 156800 / 1024.0), 1.5);
    QCOMPARE_LE(std::abs(discharge - std::max(0.0, -amps) * 153000 / 1024.0), 1.5);
}

void TestBoardCommands::ReportsPorts()
{
    Pc pc(Plain());
    // At power-up everything is cut, the buttons are up and the outputs off.
    QCOMPARE(Masked(pc.Exchange({27, 31})).value() & 7, 7);
    QCOMPARE(Masked(pc.Exchange({27, 28})).value() & (1 | 2 | 32), 0);
    const std::pair<int, int> lines[] = {{16, 1}, {15, 2}, {17, 4}};
    for (const auto &[command, mask] : lines) {
        pc.Write(command, 1);
        QCOMPARE(Masked(pc.Exchange({27, 31})).value() & 7, 7 & ~mask);
        pc.Write(command, 0);
        QCOMPARE(Masked(pc.Exchange({27, 31})).value() & 7, 7);
    }
    const std::pair<int, int> outputs[] = {{23, 2}, {25, 32}, {51, 1}};
    for (const auto &[command, mask] : outputs) {
        pc.Write(command, 1);
        QCOMPARE(Masked(pc.Exchange({27, 28})).value() & (1 | 2 | 32), mask);
        pc.Write(command, 0);
        QCOMPARE(Masked(pc.Exchange({27, 28})).value() & (1 | 2 | 32), 0);
    }
}

void TestBoardCommands::ReportsButtons_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("mask");
    QTest::addColumn<bool>("setWhenPressed");
    QTest::newRow("1") << 1 << 31 << 8 << true;
    QTest::newRow("2") << 2 << 31 << 16 << false;
    QTest::newRow("3") << 3 << 31 << 32 << false;
    QTest::newRow("4") << 4 << 31 << 64 << true;
    QTest::newRow("5") << 5 << 31 << 128 << false;
    QTest::newRow("6") << 6 << 26 << 1 << false;
}

void TestBoardCommands::ReportsButtons()
{
    QFETCH(int, button);
    QFETCH(int, command);
    QFETCH(int, mask);
    QFETCH(bool, setWhenPressed);
    Pc pc(Plain());
    const int up = Masked(pc.Exchange({27, command})).value();
    QCOMPARE((up & mask) != 0, !setWhenPressed);
    pc.board.Hardware().PressButton(button, true);
    QCOMPARE(Masked(pc.Exchange({27, command})).value(), up ^ mask);
    pc.board.Hardware().PressButton(button, false);
    QCOMPARE(Masked(pc.Exchange({27, command})).value(), up);

    Board::DeviceOptions options;
    options.pressedButtons = 1u << (button - 1);
    Pc held(options);
    QCOMPARE(Masked(held.Exchange({27, command})).value(), up ^ mask);
}

void TestBoardCommands::KeepsTheClock()
{
    Pc pc(Plain());
    QCOMPARE(pc.ReadClock(), 0);
    pc.now = 3723.5;
    QCOMPARE(pc.Exchange({27, 41}), Bytes({27, 1, 2, 3, 0}));
    pc.now = 86400 + 59;
    QCOMPARE(pc.ReadClock(), 59);
    // Command 42 sets it.
    QCOMPARE(pc.Exchange({27, 42, 0, 0, 0}), Bytes({6}));
    QCOMPARE(pc.ReadClock(), 0);
    QCOMPARE(pc.Exchange({27, 42, 23, 59, 58}), Bytes({6}));
    pc.Wait(3);
    QCOMPARE_LE(pc.ReadClock(), 2);
    // Whatever the bytes are, what comes out is a time of day.
    QCOMPARE(pc.Exchange({27, 42, 255, 255, 255}), Bytes({6}));
    const Bytes reply = pc.Exchange({27, 41});
    QVERIFY(reply[1] < 24 && reply[2] < 60 && reply[3] < 60);
}

void TestBoardCommands::ReadsAndWritesOnChipEeproms()
{
    Pc pc(Plain());
    // Calibration words as the board is born with them.
    const int master[] = {11, 184, 4, 0, 50, 90, 11, 184, 55, 2, 128, 1, 64, 0, 0, 8};
    const int slave[] = {6, 64, 5, 220, 50, 40, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (int address = 0; address < 16; ++address) {
        QCOMPARE(Masked(pc.Exchange({27, 37, address})), master[address]);
        QCOMPARE(Masked(pc.Exchange({27, 38, address})), slave[address]);
    }
    for (const auto &[read, write] : {std::pair(37, 39), std::pair(38, 40)}) {
        for (int address = 0; address < 256; ++address)
            QCOMPARE(pc.Exchange({27, write, address, (address * 7 + read) & 255}), Bytes({6}));
        for (int address = 0; address < 256; ++address)
            QCOMPARE(Masked(pc.Exchange({27, read, address})), (address * 7 + read) & 255);
    }
    QCOMPARE(Masked(pc.Exchange({27, 37, 80})), (80 * 7 + 37) & 255);
    // Reading is no writing.
    QCOMPARE(pc.board.Stored().Writes(), 512ul);
}

void TestBoardCommands::ReadsAndWritesExternalEeproms()
{
    Pc pc(Plain());
    QCOMPARE(Masked(pc.Exchange({0x1B, 0x31, 1, 0, 2})), '6');
    for (int chip = 0; chip < 2; ++chip) {
        for (const int address : {0, 255, 256, 4095}) {
            const int value = (address + chip + 5) & 255;
            QCOMPARE(pc.Exchange({0x1B, 0x32, chip, address / 256, address % 256, value}), Bytes({6}));
            QCOMPARE(Masked(pc.Exchange({0x1B, 0x31, chip, address / 256, address % 256})), value);
        }
    }
    QCOMPARE(Masked(pc.Exchange({0x1B, 0x31, 0, 0, 0})), 5);
    // Outside: nothing is there and nothing is changed, but the PC is answered.
    const unsigned long writes = pc.board.Stored().Writes();
    QCOMPARE(pc.Exchange({0x1B, 0x32, 2, 0, 0, 1}), Bytes({6}));
    QCOMPARE(pc.Exchange({0x1B, 0x32, 0, 16, 0, 1}), Bytes({6}));
    QCOMPARE(pc.board.Stored().Writes(), writes);
    QCOMPARE(Masked(pc.Exchange({0x1B, 0x31, 7, 0, 0})), 255);
    QCOMPARE(Masked(pc.Exchange({0x1B, 0x31, 1, 255, 255})), 255);
}

void TestBoardCommands::ReadsAndWritesTheMastersFlash()
{
    Pc pc(Plain());
    const auto block = [&pc](int address, int first) {
        Bytes reply = pc.Exchange({27, 47, address / 256, address % 256});
        for (int i = 0; i < 64; ++i) {
            if (!reply.empty())
                return Bytes{};
            reply = pc.Exchange({(first + i) & 255});
        }
        return reply;
    };
    QCOMPARE(block(4096, 100), Bytes({6}));
    QCOMPARE(block(32704, 7), Bytes({6}));
    // Words are stored low byte first.
    QCOMPARE(pc.Exchange({27, 45, 8, 0}), Bytes({27, 101, 100, 0}));
    QCOMPARE(pc.Exchange({27, 45, 8, 31}), Bytes({27, 163, 162, 0}));
    QCOMPARE(pc.Exchange({27, 45, 63, 255}), Bytes({27, 70, 69, 0}));
    // The loader protects itself, and nothing lies behind the end.
    const Bytes loader = pc.Exchange({27, 45, 0, 3});
    QCOMPARE(block(0, 1), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 45, 0, 3}), loader);
    QCOMPARE(block(4064, 200), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 45, 8, 0}), Bytes({27, 233, 232, 0}));
    QCOMPARE(block(65500, 1), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 45, 255, 255}), Bytes({27, 255, 255, 0}));
}

void TestBoardCommands::ReadsAndWritesTheSlavesFlash()
{
    Pc pc(Plain());
    for (const int word : {0, 6143, 6144, 8191}) {
        QCOMPARE(pc.Exchange({27, 48, word / 256, word % 256, 0x2A, word & 255}), Bytes({6}));
        QCOMPARE(pc.Exchange({27, 46, word / 256, word % 256}),
                 Bytes({27, 0x2A, static_cast<std::uint8_t>(word & 255), 0}));
    }
    // Words have 14 bits.
    QCOMPARE(pc.Exchange({27, 48, 1, 0, 255, 255}), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 46, 1, 0}), Bytes({27, 63, 255, 0}));
    QCOMPARE(pc.Exchange({27, 48, 32, 0, 0, 0}), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 46, 32, 0}), Bytes({27, 63, 255, 0}));
    // What is born there looks like a program with erased words behind it.
    QVERIFY(pc.Exchange({27, 46, 0, 5}) != Bytes({27, 63, 255, 0}));
    QCOMPARE(pc.Exchange({27, 46, 20, 0}), Bytes({27, 63, 255, 0}));
}

void TestBoardCommands::CutsTheDoubler()
{
    Board::DeviceOptions options;
    options.pack.cells = 10;
    options.pack.stateOfCharge = 0.5;
    Pc pc(options);
    pc.Write({{18, 0}, {17, 1}, {15, 1}});
    QCOMPARE_GT(pc.board.Hardware().Amps(), 1.9);
    QCOMPARE_GE(pc.ReadChannel(8), 100);
    pc.Write(51, 1);
    QCOMPARE_LT(pc.ReadChannel(8), 100);
    QCOMPARE_LT(pc.ReadChannel(7), 420);
    // Ten cells are more than the supply alone can charge.
    QCOMPARE(pc.board.Hardware().Amps(), 0.0);
    pc.Write(51, 0);
    QCOMPARE_GT(pc.board.Hardware().Amps(), 1.9);
}

void TestBoardCommands::TakesTheBoosterBlock()
{
    Board::DeviceOptions options;
    options.booster = true;
    Pc pc(options);
    QCOMPARE(pc.Exchange({27, 51, 0}), Bytes{});
    QCOMPARE(pc.Exchange({100, 0}), Bytes{});
    QCOMPARE(pc.Exchange({200}), Bytes({6}));
    // A width of 200 out of 400: the voltage is doubled.
    QCOMPARE_LT(std::abs(pc.board.Hardware().Truth().doublerVolts - 27), 0.1);
    QCOMPARE(pc.Exchange({27, 51, 1, 100, 0, 200}), Bytes({6}));
    QCOMPARE_LT(pc.board.Hardware().Truth().doublerVolts, 13.8);
    QCOMPARE(pc.Exchange({27, 51, 0, 0, 255, 255}), Bytes({6}));
    QCOMPARE_LE(pc.board.Hardware().Truth().doublerVolts, 35.0);
    // Without the booster one byte is all.
    Pc plain(Plain());
    QCOMPARE(plain.Exchange({27, 51, 0}), Bytes({6}));
}

void TestBoardCommands::DoesWithoutASlave()
{
    Board::DeviceOptions options;
    options.slave = false;
    Pc pc(options);
    const Bytes status = pc.Exchange({27, 1});
    QCOMPARE(status.size(), 5u);
    QCOMPARE(status[0], 27);
    QVERIFY(status[3] != 6);
    QCOMPARE(Masked(pc.Exchange({27, 37, 0})), 11);
    QCOMPARE(Masked(pc.Exchange({27, 38, 0})), 255);
    QCOMPARE(pc.Exchange({27, 40, 0, 1}), Bytes({6}));
    QCOMPARE(pc.Exchange({27, 48, 0, 0, 0, 1}), Bytes({6}));
    QCOMPARE(pc.board.Stored().Writes(), 0ul);
    QCOMPARE(pc.Exchange({27, 46, 0, 0}), Bytes({27, 63, 255, 0}));
    pc.Write({{18, 0}, {17, 1}, {15, 1}});
    for (const int channel : {10, 11, 12, 13})
        QCOMPARE(pc.ReadChannel(channel), 0);
    QCOMPARE_GT(pc.ReadChannel(6), 800);
    QCOMPARE(pc.board.Hardware().Amps(), 0.0);
}

void TestBoardCommands::IgnoresUnknownCommands()
{
    Pc pc(Plain());
    for (int command = 0; command < 256; ++command) {
        const bool known = command <= 1 || (command >= 5 && command <= 13) || (command >= 15 && command <= 26) ||
                           command == 28 || command == 31 || (command >= 37 && command <= 42) ||
                           (command >= 45 && command <= 51);
        if (!known && command != 3 && command != 27)
            QCOMPARE(pc.Exchange({27, command}), Bytes{});
    }
    for (int byte = 0; byte < 256; ++byte) {
        if (byte != 27 && byte != 85)
            QCOMPARE(pc.Exchange({byte}), Bytes{});
    }
    QCOMPARE(pc.Exchange({27, 27, 27, 0}), Bytes({6}));
}

void TestBoardCommands::TakesBytesOneByOne()
{
    Pc pc(Plain());
    QCOMPARE(pc.Exchange({27}), Bytes{});
    pc.Wait(3600);
    QCOMPARE(pc.Exchange({39}), Bytes{});
    QCOMPARE(pc.Exchange({200}), Bytes{});
    pc.Wait(10);
    QCOMPARE(pc.Exchange({27}), Bytes({6}));
    QCOMPARE(Masked(pc.Exchange({27, 37, 200})), 27);
    // Several commands in one burst are answered in their order.
    QCOMPARE(pc.Exchange({27, 0, 27, 19, 3, 27, 37, 200}), Bytes({6, 6, 27, 27, 0}));
}

void TestBoardCommands::SurvivesGarbage()
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Board::DeviceOptions options;
        options.booster = seed % 2 == 0;
        options.pack.chemistry = seed % 3 == 0 ? Board::Chemistry::LiPo : Board::Chemistry::NiMh;
        Pc pc(options);
        Board::Random random(seed);
        Bytes reply;
        for (int i = 0; i < 20000; ++i) {
            // Half of the bytes begin a command, so that all of them are met.
            const bool escape = random.Uniform() < 0.3;
            pc.board.Take(pc.now, escape ? std::uint8_t{27} : static_cast<std::uint8_t>(random.Next() % 86), reply);
            pc.Wait(random.Uniform() * 20);
            if (pc.board.Streaming() && i % 16 == 0)
                pc.board.AppendRecord(pc.now, reply);
        }
        QVERIFY(!reply.empty());
        const double volts = pc.board.Hardware().Truth().packVolts;
        QVERIFY(std::isfinite(volts) && volts >= 0 && volts < 20);
        QVERIFY(std::isfinite(pc.Pack().Celsius()) && pc.Pack().Celsius() < 150);
        // Whatever was under way, sixty-six greetings are enough to be heard.
        int heard = 0;
        for (int i = 0; i < 67; ++i)
            heard += pc.Exchange({85}) == Bytes({27}) ? 1 : 0;
        QCOMPARE_GE(heard, 1);
        QCOMPARE(pc.Exchange({85}), Bytes({27}));
        QCOMPARE(pc.Exchange({170}), Bytes({85}));
    }
}

void TestBoardCommands::StartsAnew()
{
    Pc pc(Plain());
    pc.Write({{15, 1}, {17, 1}, {18, 0}, {19, 200}, {21, 9}, {23, 1}, {25, 1}, {51, 1}});
    pc.Exchange({27, 39, 30, 99});
    pc.now = 1000;
    pc.Exchange({27, 39});
    const double charge = pc.Pack().StateOfCharge();
    pc.board.Restart(pc.now);
    const Board::Device &device = pc.board.Hardware();
    QCOMPARE(device.Switches(), Board::Lines{});
    QCOMPARE(device.Setting(19), 100);
    QCOMPARE(device.Setting(20), 40);
    QCOMPARE(device.Setting(21), 5);
    QCOMPARE(device.Setting(22), 210);
    QCOMPARE(pc.ReadClock(), 0);
    QCOMPARE(Masked(pc.Exchange({27, 28})).value() & (1 | 2 | 32), 0);
    QCOMPARE(Masked(pc.Exchange({27, 37, 30})), 99);
    QCOMPARE_GE(pc.Pack().StateOfCharge(), charge);
}

void TestBoardCommands::TakesALaboratorySupply()
{
    Board::DeviceOptions options;
    options.pack.chemistry = Board::Chemistry::LiPo;
    options.pack.cells = 2;
    Pc pc(options);
    // The range of the delta amplifier, as born, holds everything from an empty to an over-charged cell.
    int before = 0;
    for (const double volts : {2.7, 3.0, 4.1, 4.2, 4.4}) {
        pc.board.Hardware().ConnectSupply(2 * volts);
        QCOMPARE_LT(std::abs(pc.ReadChannel(13) * 1024 / (1024 * 0.981) / 100 - 2 * volts), 0.02);
        const int count = pc.ReadChannel(12);
        QCOMPARE_GT(count, before + 5);
        QCOMPARE_LT(count, 1023);
        before = count;
    }
    const double charge = pc.Pack().StateOfCharge();
    pc.Write({{16, 0}, {17, 1}, {15, 1}});
    pc.Wait(100);
    QCOMPARE(pc.ReadChannel(10) / 2, 0);
    pc.Write({{15, 0}, {17, 0}, {16, 1}});
    pc.Wait(100);
    QCOMPARE_GT(pc.ReadChannel(11), 100);
    QCOMPARE(pc.Pack().StateOfCharge(), charge);
    pc.board.Hardware().ConnectSupply(0);
    QCOMPARE_LT(pc.board.Hardware().Truth().packVolts, 8.0);
}

REGISTER_TEST(TestBoardCommands)
#include "test_board_commands.moc"
