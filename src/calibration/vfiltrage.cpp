// SPDX-License-Identifier: GPL-3.0-or-later
#include "vfiltrage.h"

#include "base/number.h"
#include "correction.h"
#include "link/command.h"

namespace {
constexpr int readingMs = 500;

// in the master's EEPROM
constexpr quint8 supplyAddress = 9;
constexpr quint8 doublerAddress = 11;
} // namespace

Vfiltrage::Vfiltrage(Codebas &link)
    : ReadingWindow(QStringLiteral("Vfiltrage"), link, QStringLiteral("Timeritension"), readingMs)
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    SetReading(ui_.TxCad);
    RememberDesign();
    connect(ui_.TxValim, &QLineEdit::textChanged, this, &Vfiltrage::TxValim_Change);
    connect(ui_.TxVdbl, &QLineEdit::textChanged, this, &Vfiltrage::TxVdbl_Change);
    OnClick(ui_.Cbset, &Vfiltrage::Cbset_Click);
    connect(ui_.CBQuit, &QPushButton::clicked, this, &QWidget::close);
}

void Vfiltrage::Load()
{
    ReadingWindow::Load();
    CadAlim = CadDbl = 0;
}

void Vfiltrage::ShowStored()
{
    ShowWord(ui_.storedSupply, &BoardEeproms::Master, supplyAddress);
    ShowWord(ui_.storedDoubler, &BoardEeproms::Master, doublerAddress);
}

Task<void> Vfiltrage::Read()
{
    CadAlim = co_await ReadCount(command::SupplyVoltage);
    CadDbl = co_await ReadCount(command::DoublerVoltage);
    ui_.TxCad->setText(QStringLiteral("CAD ALIM = ") + number::Str(CadAlim) + QStringLiteral(" - CAD DOUBLEUR = ") +
                       number::Str(CadDbl));
}

void Vfiltrage::TxValim_Change()
{
    ShowCorrection(ui_.TxValim, CadAlim, ui_.TxEEpAlim);
}

void Vfiltrage::TxVdbl_Change()
{
    ShowCorrection(ui_.TxVdbl, CadDbl, ui_.TxEEpDblr);
}

Task<void> Vfiltrage::Cbset_Click()
{
    const auto newest = sets_.Next();
    const double supply = number::Val(ui_.TxEEpAlim->text());
    const double doubler = number::Val(ui_.TxEEpDblr->text());
    Say(QStringLiteral("Écriture…"));
    Task<void> supplyWrites = WriteCorrection(supply, supplyAddress, ui_.LbEEPAlim->text(), newest);
    co_await supplyWrites;
    Task<void> doublerWrites = WriteCorrection(doubler, doublerAddress, ui_.LbEEpDblr->text(), newest);
    co_await doublerWrites;
    if (newest())
        Say(supply != 0 || doubler != 0 ? QStringLiteral("Écrit.") : QStringLiteral("Rien à écrire."));
}

/// A correction of 0 is none and is not written.
Task<void> Vfiltrage::WriteCorrection(double value, quint8 address, QString where, std::function<bool()> wanted)
{
    if (value == 0)
        co_return;
    const calibration::HiLo word = calibration::SplitHiLo(value, where);
    const std::pair<quint8, quint8> writes[] = {{address, word.ValHi}, {static_cast<quint8>(address + 1), word.ValLo}};
    for (const auto &[at, byte] : writes) {
        const std::function<QByteArray()> request = [this, at, byte, wanted] {
            if (!wanted())
                return QByteArray();
            link_.MasterEeprom[at] = byte;
            ShowStored();
            return Request(command::WriteMasterEeprom, at, byte);
        };
        Task<QByteArray> exchange = link_.Exchange(request, Reply::Stored());
        co_await exchange;
    }
}
