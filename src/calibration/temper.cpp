// SPDX-License-Identifier: GPL-3.0-or-later
#include "temper.h"

#include "base/number.h"
#include "correction.h"
#include "link/command.h"

namespace {
// in the master's EEPROM
constexpr quint8 factorAddress = 0;
constexpr quint8 offsetAddress = 2;
constexpr quint8 fanAddress = 4;
constexpr quint8 haltAddress = 5;
constexpr quint8 cutOffAddress = 8;

double WholeNumber(const QLineEdit *entry)
{
    return number::Int(number::Val(entry->text()));
}

QByteArray WordBytes(double value, const QString &where)
{
    const calibration::HiLo word = calibration::SplitHiLo(value, where);
    return QByteArray(1, static_cast<char>(word.ValHi)) + static_cast<char>(word.ValLo);
}

QByteArray ThresholdByte(double value, const QString &where)
{
    return QByteArray(1, static_cast<char>(number::ToByte(value, where)));
}
} // namespace

Temper::Temper(Codebas &link) : CalibrationWindow(QStringLiteral("Temper"), link)
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    RememberDesign();
    OnClick(ui_.Command2, &Temper::Command2_Click);
    connect(ui_.Command1, &QPushButton::clicked, this, &QWidget::close);
}

void Temper::ShowStored()
{
    ShowWord(ui_.storedOffset, &BoardEeproms::Master, offsetAddress);
    ShowWord(ui_.storedFactor, &BoardEeproms::Master, factorAddress);
    ShowByte(ui_.storedCutOff, &BoardEeproms::Master, cutOffAddress);
    ShowByte(ui_.storedFan, &BoardEeproms::Master, fanAddress);
    ShowByte(ui_.storedHalt, &BoardEeproms::Master, haltAddress);
}

Task<void> Temper::Command2_Click()
{
    const struct
    {
        quint8 address;
        QByteArray (*bytes)(double value, const QString &where);
        double value;
        QLabel *name;
    } settings[] = {
        {offsetAddress, WordBytes, WholeNumber(ui_.RegtText1), ui_.Label1},
        {factorAddress, WordBytes, WholeNumber(ui_.Text1), ui_.Label2},
        {cutOffAddress, ThresholdByte, WholeNumber(ui_.Text2), ui_.Label3},
        {fanAddress, ThresholdByte, WholeNumber(ui_.Text3), ui_.Label4},
        {haltAddress, ThresholdByte, WholeNumber(ui_.Text4), ui_.Label5},
    };
    const auto newest = sets_.Next();
    Say(QStringLiteral("Écriture…"));
    for (const auto &setting : settings) {
        // A value that does not fit ends it here; what was written before stays.
        const QByteArray bytes = setting.bytes(setting.value, setting.name->text());
        for (qsizetype i = 0; i < bytes.size(); ++i) {
            Task<void> write = WriteByte(command::WriteMasterEeprom, static_cast<quint8>(setting.address + i),
                                         static_cast<quint8>(bytes[i]), Reply::Acknowledge(), newest);
            co_await write;
        }
    }
    if (newest())
        Say(QStringLiteral("Écrit ; la carte s'en sert, le programme aussi dès la prochaine connexion."));
}
