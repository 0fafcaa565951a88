// SPDX-License-Identifier: GPL-3.0-or-later
#include "options.h"
#include "support/suite.h"

#include <QtTest>

using Board::Chemistry;
using Board::Options;

namespace {

std::vector<std::string> Split(const QString &line)
{
    std::vector<std::string> arguments;
    for (const QString &argument : line.split(' ', Qt::SkipEmptyParts))
        arguments.push_back(argument.toStdString());
    return arguments;
}

} // namespace

class TestBoardOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void HasSensibleDefaults();
    void TakesEveryOption();
    void ChoosesCellsByChemistry();
    void RefusesNonsense_data();
    void RefusesNonsense();
    void ExplainsEveryOption();
};

void TestBoardOptions::HasSensibleDefaults()
{
    const Options options = Board::ParseOptions({});
    QCOMPARE(options.device.pack.chemistry, Chemistry::NiMh);
    QCOMPARE(options.device.pack.cells, 4);
    QCOMPARE(options.device.pack.capacityAmpHours, 2.0);
    QCOMPARE(options.device.pack.stateOfCharge, 0.05);
    QCOMPARE(options.device.pack.ambientCelsius, 25.0);
    QCOMPARE(options.device.pack.restDays, 0.0);
    QCOMPARE(options.device.pack.cycles, 0);
    QCOMPARE(options.device.pack.spread, 0.0);
    QCOMPARE(options.timeScale, 1.0);
    QCOMPARE(options.streamType, 2);
    QCOMPARE(options.streamRate, 1.0);
    QVERIFY(options.device.slave);
    QVERIFY(!options.device.booster && !options.pace && !options.untilStdinCloses && !options.help);
}

void TestBoardOptions::TakesEveryOption()
{
    const Options options = Board::ParseOptions(
        Split("--chemistry nicd --cells 6 --capacity 800 --soc 42.5 --temperature -2 --resistance 90 --time-scale 60 "
              "--pace --fault lost:at=1 --fault silence:p=0.5 --memory m --trace t --status s --link l --seed 99 "
              "--rest-days 2.5 --cycles 300 --spread 3 --no-slave --booster --button 1 --button=6 --stream-type 7 "
              "--stream-rate=12.5 --until-stdin-closes"));
    QCOMPARE(options.device.pack.chemistry, Chemistry::NiCd);
    QCOMPARE(options.device.pack.cells, 6);
    QCOMPARE(options.device.pack.capacityAmpHours, 0.8);
    QCOMPARE(options.device.pack.stateOfCharge, 0.425);
    QCOMPARE(options.device.pack.ambientCelsius, -2.0);
    QCOMPARE(options.device.pack.packResistanceOhms, 0.09);
    QCOMPARE(options.device.pack.restDays, 2.5);
    QCOMPARE(options.device.pack.cycles, 300);
    QCOMPARE(options.device.pack.spread, 0.03);
    QCOMPARE(options.timeScale, 60.0);
    QVERIFY(options.pace);
    QCOMPARE(options.faults.size(), 2u);
    QCOMPARE(options.memoryFile, std::string("m"));
    QCOMPARE(options.traceFile, std::string("t"));
    QCOMPARE(options.statusFile, std::string("s"));
    QCOMPARE(options.link, std::string("l"));
    QCOMPARE(options.device.seed, 99u);
    QVERIFY(!options.device.slave);
    QVERIFY(options.device.booster);
    QCOMPARE(options.device.pressedButtons, 1u | 32u);
    QCOMPARE(options.streamType, 7);
    QCOMPARE(options.streamRate, 12.5);
    QVERIFY(options.untilStdinCloses);
    QVERIFY(Board::ParseOptions({"--help"}).help);
    QVERIFY(Board::ParseOptions({"-h"}).help);
}

void TestBoardOptions::ChoosesCellsByChemistry()
{
    QCOMPARE(Board::ParseOptions(Split("--chemistry lipo")).device.pack.cells, 3);
    QCOMPARE(Board::ParseOptions(Split("--cells 2 --chemistry lipo")).device.pack.cells, 2);
}

void TestBoardOptions::RefusesNonsense_data()
{
    QTest::addColumn<QString>("line");
    for (const char *line : {"--bad",
                             "--chemistry",
                             "--chemistry lead",
                             "--cells 0",
                             "--cells 17",
                             "--cells four",
                             "--cells 4.5",
                             "--chemistry lipo --cells 7",
                             "--capacity 10",
                             "--capacity 1e9",
                             "--soc -1",
                             "--soc 101",
                             "--soc nan",
                             "--temperature 99",
                             "--resistance 0",
                             "--rest-days -1",
                             "--cycles 1.5",
                             "--spread 21",
                             "--time-scale 0",
                             "--time-scale -3",
                             "--time-scale inf",
                             "--fault nothing",
                             "--fault",
                             "--seed x",
                             "--button 7",
                             "--stream-type 256",
                             "--stream-rate 0",
                             "--pace=yes",
                             "--memory",
                             "stray",
                             "--help=me"})
        QTest::newRow(line) << QString(line);
}

void TestBoardOptions::RefusesNonsense()
{
    QFETCH(QString, line);
    QVERIFY_THROWS_EXCEPTION(Board::OptionError, Board::ParseOptions(Split(line)));
}

void TestBoardOptions::ExplainsEveryOption()
{
    const std::string help = Board::HelpText();
    for (const char *option : {"--chemistry",
                               "--cells",
                               "--capacity",
                               "--soc",
                               "--temperature",
                               "--resistance",
                               "--rest-days",
                               "--cycles",
                               "--spread",
                               "--time-scale",
                               "--pace",
                               "--fault",
                               "--memory",
                               "--trace",
                               "--status",
                               "--link",
                               "--seed",
                               "--no-slave",
                               "--booster",
                               "--button",
                               "--stream-type",
                               "--stream-rate",
                               "--until-stdin-closes",
                               "--help"})
        QVERIFY2(help.find(option) != std::string::npos, option);
}

REGISTER_TEST(TestBoardOptions)
#include "test_board_options.moc"
