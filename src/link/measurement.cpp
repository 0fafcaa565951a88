// SPDX-License-Identifier: GPL-3.0-or-later
#include "measurement.h"

#include "base/errors.h"
#include "base/number.h"

namespace measurement {
namespace {
quint8 At(const QByteArray &bytes, qsizetype i)
{
    return static_cast<quint8>(bytes.at(i));
}

/// The converter's full scale of 1024 counts stands for `word` hundredths of a unit × 1024.
double Hundredths(int count, int word, const QString &where)
{
    return number::Int(number::Divide(count * 1024.0, word, where)) / 100;
}
} // namespace

int Count(quint8 high, quint8 low, quint8 channel)
{
    if (high >= 128)
        throw Overflow(QStringLiteral("mesure de la voie %1").arg(channel));
    return high * 256 + low;
}

Task<int> ReadChannel(Codebas &link, quint8 channel)
{
    Task<QByteArray> exchange = link.Exchange(Request(channel), Reply::Framed(2));
    const QByteArray reply = co_await exchange;
    co_return Count(At(reply, 0), At(reply, 1), channel);
}

Task<int> ReadClock(Codebas &link)
{
    Task<QByteArray> exchange = link.Exchange(Request(command::Clock), Reply::Framed(3));
    const QByteArray reply = co_await exchange;
    co_return At(reply, 0) * 3600 + At(reply, 1) * 60 + At(reply, 2);
}

Task<void> WriteRegister(Codebas &link, quint8 reg, quint8 value, Wanted wanted)
{
    Task<QByteArray> exchange = link.Exchange(Request(reg, value), Reply::Acknowledge(), std::move(wanted));
    co_await exchange;
}

int Word(const std::array<quint8, 257> &image, size_t i)
{
    return image[i] * 256 + image[i + 1];
}

bool SupplyCalibrated(const Codebas &link)
{
    return Word(link.MasterEeprom, 9) != 0;
}

bool DoublerCalibrated(const Codebas &link)
{
    return Word(link.MasterEeprom, 11) != 0;
}

bool TemperatureCalibrated(const Codebas &link)
{
    return Word(link.MasterEeprom, 0) != 0;
}

bool ChargeCurrentCalibrated(const Codebas &link)
{
    return Word(link.SlaveEeprom, 0) != 0;
}

bool DischargeCurrentCalibrated(const Codebas &link)
{
    return Word(link.SlaveEeprom, 2) != 0;
}

double CadSupplyVolts(const Codebas &link, int count)
{
    return Hundredths(count, Word(link.MasterEeprom, 9), QStringLiteral("tension d'alimentation"));
}

double CadDoublerVolts(const Codebas &link, int count)
{
    return Hundredths(count, Word(link.MasterEeprom, 11), QStringLiteral("tension du doubleur"));
}

double CadTemperature(const Codebas &link, int count)
{
    const int gain = Word(link.MasterEeprom, 0);
    const int zero = Word(link.MasterEeprom, 2);
    return number::Int(number::Divide(1024.0 * (zero - count), gain, QStringLiteral("température")));
}

double CadChargeAmps(const Codebas &link, int count)
{
    return Hundredths(count, Word(link.SlaveEeprom, 0), QStringLiteral("courant de charge"));
}

double CadDischargeAmps(const Codebas &link, int count)
{
    return Hundredths(count, Word(link.SlaveEeprom, 2), QStringLiteral("courant de décharge"));
}

double CadBatteryVolts(const Codebas &link, int count)
{
    return Hundredths(count, Word(link.SlaveEeprom, 6), QStringLiteral("tension de la batterie"));
}

double CurrentSettingAmps(int value, int scale)
{
    return number::Int(number::Divide(100.0 * value, scale, QStringLiteral("échelle du réglage de courant"))) / 100;
}

QString ClockText(double field)
{
    return field < 10 ? QStringLiteral("0%1").arg(number::Str(field).trimmed()) : number::Str(field);
}
} // namespace measurement
