// SPDX-License-Identifier: GPL-3.0-or-later
#include "vout.h"

#include "base/messages.h"
#include "base/number.h"
#include "base/paint.h"
#include "correction.h"
#include "link/command.h"

namespace {
constexpr int readingMs = 300;
constexpr int samples = 8;

// in the slave's EEPROM
constexpr quint8 highAddress = 6;
constexpr quint8 lowAddress = 7;
} // namespace

Vout::Vout(Codebas &link) : ReadingWindow(QStringLiteral("Vout"), link, QStringLiteral("Timerrtension"), readingMs)
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    SetReading(ui_.RegvText1);
    RememberDesign();
    connect(ui_.RegVText2, &QLineEdit::textChanged, this, &Vout::RegVText2_Change);
    OnClick(ui_.CdsetVout, &Vout::CdsetVout_Click);
    connect(ui_.CBQvout, &QPushButton::clicked, this, &Vout::CBQvout_Click);
}

void Vout::Load()
{
    ReadingWindow::Load();
    MeasVout = 0;
    lines_ = link_.outputs.Begin({{command::CutPower, 0}, {command::CutDischarge, 0}, {command::CutCharge, 0}});
    link_.outputs.Queue(
        lines_,
        {{command::CutPower, 1}, {command::CutDischarge, 1}, {command::CutCharge, 0}, {command::GroundBattery, 1}});
}

/// The only way out that sets the switches back.
void Vout::CBQvout_Click()
{
    link_.outputs.Queue(
        lines_,
        {{command::CutPower, 1}, {command::CutDischarge, 1}, {command::CutCharge, 1}, {command::GroundBattery, 0}});
    close();
}

void Vout::closeEvent(QCloseEvent *event)
{
    ReadingWindow::closeEvent(event);
    link_.outputs.Leave(lines_);
}

void Vout::ShowStored()
{
    ShowWord(ui_.storedWord, &BoardEeproms::Slave, highAddress);
}

Task<void> Vout::Read()
{
    ui_.RegvText1->clear();
    int sum = 0;
    for (int sample = 0; sample < samples; ++sample)
        sum += co_await ReadCount(command::BatteryVoltage);
    MeasVout = sum / samples;
    ui_.RegvText1->setText(QStringLiteral("Valeur mesuree : ") + number::Str(MeasVout));
}

void Vout::RegVText2_Change()
{
    const double entered = number::Val(ui_.RegVText2->text());
    paint::Refused(ui_.RegVText2, entered == 0);
    if (entered != 0)
        ui_.voutepr->setText(number::Str(calibration::Correction(MeasVout, entered, {})));
}

Task<void> Vout::CdsetVout_Click()
{
    if (MeasVout == 0) {
        messages::Show(this, QMessageBox::Warning, windowTitle(), QStringLiteral("data 0"));
        co_return;
    }
    const auto newest = sets_.Next();
    const QString where = ui_.Label1->text();
    const double entered = number::Val(ui_.RegVText2->text());
    const double value = calibration::Correction(MeasVout, entered, where);
    const calibration::HiLo word = calibration::SplitHiLo(value, where);
    Say(QStringLiteral("Écriture…"));
    Task<void> high = WriteByte(command::WriteSlaveEeprom, highAddress, word.ValHi, Reply::Stored(), newest);
    co_await high;
    Task<void> low = WriteByte(command::WriteSlaveEeprom, lowAddress, word.ValLo, Reply::Stored(), newest);
    co_await low;
    if (!newest())
        co_return;
    link_.SlaveEeprom[highAddress] = word.ValHi;
    link_.SlaveEeprom[lowAddress] = word.ValLo;
    ShowStored();
    Say(QStringLiteral("Écrit."));
}
