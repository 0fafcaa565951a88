// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "link/measurement.h"
#include "support/linkfixture.h"
#include "support/suite.h"

#include <QtTest>

using namespace measurement;

namespace {
Task<void> TakeCount(Codebas *link, quint8 channel, int *count)
{
    Task<int> read = ReadChannel(*link, channel);
    *count = co_await read;
}

Task<void> TakeClock(Codebas *link, int *seconds)
{
    Task<int> read = ReadClock(*link);
    *seconds = co_await read;
}

Task<void> Write(Codebas *link, quint8 reg, quint8 value, bool *done)
{
    Task<void> write = WriteRegister(*link, reg, value);
    co_await write;
    *done = true;
}

Task<void> WriteIf(Codebas *link, Wanted wanted, quint8 reg, quint8 value, bool *done)
{
    Task<void> write = WriteRegister(*link, reg, value, wanted);
    co_await write;
    *done = true;
}

void SetWord(std::array<quint8, 257> &image, size_t i, int word)
{
    image[i] = static_cast<quint8>(word / 256);
    image[i + 1] = static_cast<quint8>(word % 256);
}
} // namespace

class TestMeasurement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ChannelsAndRegistersHaveTheirNumbers()
    {
        QCOMPARE(int(command::SystemTemperature), 5);
        QCOMPARE(int(command::SupplyVoltage), 6);
        QCOMPARE(int(command::DoublerVoltage), 7);
        QCOMPARE(int(command::ChargeCurrent), 10);
        QCOMPARE(int(command::DischargeCurrent), 11);
        QCOMPARE(int(command::DeltaVoltage), 12);
        QCOMPARE(int(command::BatteryVoltage), 13);
        QCOMPARE(int(command::CutCharge), 15);
        QCOMPARE(int(command::CutDischarge), 16);
        QCOMPARE(int(command::CutPower), 17);
        QCOMPARE(int(command::GroundBattery), 18);
        QCOMPARE(int(command::ChargeSetting), 19);
        QCOMPARE(int(command::DischargeSetting), 20);
        QCOMPARE(int(command::DeltaOffset), 21);
        QCOMPARE(int(command::DeltaGain), 22);
    }

    void AChannelIsRead_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("expected");
        QTest::newRow("byte before the frame") << Bytes({0x41, 0x1B, 0x02, 0x0A, 0x00}) << 522;
        QTest::newRow("zero") << Bytes({27, 0, 0, 0}) << 0;
        QTest::newRow("27 as data") << Bytes({27, 27, 27, 27}) << 27 * 256 + 27;
        QTest::newRow("greatest") << Bytes({27, 127, 255, 1}) << 32767;
    }
    void AChannelIsRead()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, expected);
        LinkFixture f;
        f.link.OpenPort();
        int count = -1;
        f.runner.Start(TakeCount(&f.link, 13, &count));
        SOON_EQUAL(f.board.Received(), Bytes({27, 13}));
        f.board.Send(answer);
        SOON(f.runner.Idle());
        QCOMPARE(count, expected);
        QCOMPARE(f.com.InBufferCount(), 0);
        QVERIFY(f.runner.ThrewNothing());
    }

    void AHighByteOf128Overflows()
    {
        LinkFixture f;
        f.link.OpenPort();
        int count = -1;
        f.runner.Start(TakeCount(&f.link, 12, &count));
        SOON_EQUAL(f.board.Received(), Bytes({27, 12}));
        f.board.Send(Bytes({27, 128, 0, 0}));
        SOON(f.runner.Idle());
        QVERIFY(f.runner.Threw<Overflow>());
        QCOMPARE(count, -1);
        QCOMPARE(f.com.InBufferCount(), 0);

        QCOMPARE(Count(127, 255, 5), 32767);
        QVERIFY_EXCEPTION_THROWN(Count(128, 0, 5), Overflow);
        QVERIFY_EXCEPTION_THROWN(Count(255, 255, 5), Overflow);
    }

    void TheClockIsRead_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("expected");
        QTest::newRow("1:02:03") << Bytes({27, 1, 2, 3, 0}) << 3723;
        QTest::newRow("midnight") << Bytes({27, 0, 0, 0, 0}) << 0;
        QTest::newRow("last second") << Bytes({27, 23, 59, 59, 0}) << 86399;
        QTest::newRow("plain binary") << Bytes({9, 27, 0x10, 0x10, 0x10, 0}) << 16 * 3600 + 16 * 60 + 16;
        QTest::newRow("beyond 16 bits") << Bytes({27, 255, 255, 255, 0}) << 255 * 3661;
    }
    void TheClockIsRead()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, expected);
        LinkFixture f;
        f.link.OpenPort();
        int seconds = -1;
        f.runner.Start(TakeClock(&f.link, &seconds));
        SOON_EQUAL(f.board.Received(), Bytes({27, 41}));
        f.board.Send(answer);
        SOON(f.runner.Idle());
        QCOMPARE(seconds, expected);
        QCOMPARE(f.com.InBufferCount(), 0);
    }

    void ARegisterIsWritten()
    {
        LinkFixture f;
        f.link.OpenPort();
        bool done = false;
        f.runner.Start(Write(&f.link, 18, 255, &done));
        SOON_EQUAL(f.board.Received(), Bytes({27, 18, 255}));
        QVERIFY(!done);
        f.board.Send(Bytes({77})); // whatever it says
        SOON(done);
    }

    void ARegisterWriteMayBeCalledOff()
    {
        LinkFixture f;
        f.link.OpenPort();
        bool done = false;
        const Wanted wanted = [] { return false; };
        f.runner.Start(WriteIf(&f.link, wanted, 18, 1, &done));
        SOON(done);
        bool next = false;
        f.runner.Start(Write(&f.link, 15, 0, &next));
        SOON_EQUAL(f.board.Received(), Bytes({27, 15, 0}));
    }

    void WordsAreBigEndian()
    {
        std::array<quint8, 257> image{};
        image[9] = 2;
        image[10] = 88;
        image[11] = 255;
        QCOMPARE(Word(image, 9), 600);
        QCOMPARE(Word(image, 10), 88 * 256 + 255);
        QCOMPARE(Word(image, 8), 2);
        QCOMPARE(Word(image, 20), 0);
    }

    void AQuantityIsCalibratedWhenOneOfItsBytesIsNotZero_data()
    {
        QTest::addColumn<bool>("master");
        QTest::addColumn<int>("byte");
        QTest::addColumn<int>("quantity"); // in the order of the function below; -1 for none
        for (int byte = 0; byte < 16; ++byte) {
            const int ofMaster = byte == 0 || byte == 1     ? 2
                                 : byte == 9 || byte == 10  ? 0
                                 : byte == 11 || byte == 12 ? 1
                                                            : -1;
            const int ofSlave = byte == 0 || byte == 1 ? 3 : byte == 2 || byte == 3 ? 4 : -1;
            QTest::addRow("master %d", byte) << true << byte << ofMaster;
            QTest::addRow("slave %d", byte) << false << byte << ofSlave;
        }
    }
    void AQuantityIsCalibratedWhenOneOfItsBytesIsNotZero()
    {
        QFETCH(bool, master);
        QFETCH(int, byte);
        QFETCH(int, quantity);
        LinkFixture f;
        (master ? f.link.MasterEeprom : f.link.SlaveEeprom)[static_cast<size_t>(byte)] = 1;
        const bool calibrated[] = {SupplyCalibrated(f.link), DoublerCalibrated(f.link), TemperatureCalibrated(f.link),
                                   ChargeCurrentCalibrated(f.link), DischargeCurrentCalibrated(f.link)};
        for (int i = 0; i < 5; ++i)
            QCOMPARE(calibrated[i], i == quantity);
    }

    void CountsBecomeUnits_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("word");
        QTest::addColumn<double>("expected");
        QTest::newRow("cut") << 800 << 600 << 13.65;
        QTest::newRow("zero") << 0 << 600 << 0.0;
        QTest::newRow("one to one") << 512 << 1024 << 5.12;
        QTest::newRow("just below") << 599 << 60000 << 0.1;
        QTest::newRow("greatest") << 32767 << 1 << 335534.08;
        QTest::newRow("least") << 1 << 65535 << 0.0;
    }
    void CountsBecomeUnits()
    {
        QFETCH(int, count);
        QFETCH(int, word);
        QFETCH(double, expected);
        const auto only = [&](bool master, size_t at, double (*convert)(const Codebas &, int)) {
            LinkFixture f;
            SetWord(master ? f.link.MasterEeprom : f.link.SlaveEeprom, at, word);
            return convert(f.link, count);
        };
        QCOMPARE(only(true, 9, CadSupplyVolts), expected);
        QCOMPARE(only(true, 11, CadDoublerVolts), expected);
        QCOMPARE(only(false, 0, CadChargeAmps), expected);
        QCOMPARE(only(false, 2, CadDischargeAmps), expected);
        QCOMPARE(only(false, 6, CadBatteryVolts), expected);
    }

    void AWordOfZeroCannotBeDividedBy()
    {
        const LinkFixture f;
        QVERIFY_EXCEPTION_THROWN(CadSupplyVolts(f.link, 1), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CadDoublerVolts(f.link, 1), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CadTemperature(f.link, 1), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CadChargeAmps(f.link, 1), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CadDischargeAmps(f.link, 1), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CadBatteryVolts(f.link, 0), DivisionByZero);
        QVERIFY_EXCEPTION_THROWN(CurrentSettingAmps(100, 0), DivisionByZero);
    }

    void CountsBecomeDegrees_data()
    {
        QTest::addColumn<int>("gain");
        QTest::addColumn<int>("zero");
        QTest::addColumn<int>("count");
        QTest::addColumn<double>("expected");
        QTest::newRow("25") << 1024 << 600 << 575 << 25.0;
        QTest::newRow("below zero") << 1024 << 600 << 610 << -10.0;
        QTest::newRow("cut") << 1000 << 600 << 575 << 25.0;             // 25.6
        QTest::newRow("cut below zero") << 1000 << 600 << 610 << -11.0; // -10.24
        QTest::newRow("zero") << 1024 << 600 << 600 << 0.0;
    }
    void CountsBecomeDegrees()
    {
        QFETCH(int, gain);
        QFETCH(int, zero);
        QFETCH(int, count);
        QFETCH(double, expected);
        LinkFixture f;
        SetWord(f.link.MasterEeprom, 0, gain);
        SetWord(f.link.MasterEeprom, 2, zero);
        QCOMPARE(CadTemperature(f.link, count), expected);
    }

    void SettingsBecomeAmperes()
    {
        QCOMPARE(CurrentSettingAmps(0, 50), 0.0);
        QCOMPARE(CurrentSettingAmps(100, 50), 2.0);
        QCOMPARE(CurrentSettingAmps(255, 51), 5.0);
        QCOMPARE(CurrentSettingAmps(100, 30), 3.33);
        QCOMPARE(CurrentSettingAmps(200, 30), 6.66);
        QCOMPARE(CurrentSettingAmps(255, 1), 255.0);
    }

    void ClockFieldsHaveTwoDigits_data()
    {
        QTest::addColumn<double>("field");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0.0 << "00";
        QTest::newRow("5") << 5.0 << "05";
        QTest::newRow("9") << 9.0 << "09";
        QTest::newRow("10") << 10.0 << " 10";
        QTest::newRow("59") << 59.0 << " 59";
        QTest::newRow("100") << 100.0 << " 100";
    }
    void ClockFieldsHaveTwoDigits()
    {
        QFETCH(double, field);
        QTEST(ClockText(field), "text");
    }
};

REGISTER_TEST(TestMeasurement)
#include "tst_measurement.moc"
