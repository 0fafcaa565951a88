// SPDX-License-Identifier: GPL-3.0-or-later
#include "rgldech.h"

#include "link/command.h"

RglDech::RglDech(Codebas &link)
    : CurrentWindow(QStringLiteral("RglDech"), link,
                    {.name = QStringLiteral("La fenêtre de réglage du courant de décharge"),
                     .readingMs = 500,
                     .readingText = QStringLiteral("Valeur CAD Mesurée : "),
                     .channel = command::DischargeCurrent,
                     .settingRegister = command::DischargeSetting,
                     .wordAddress = 2,
                     .scaleAddress = 5,
                     .opening = {{command::CutPower, 0}, {command::CutDischarge, 1}, {command::GroundBattery, 1}},
                     .leaving = {{command::CutDischarge, 0}}})
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    RememberDesign();
    SetPanel({.reading = ui_.RegcText1,
              .count = ui_.Vaclcad,
              .measured = ui_.courmes,
              .setting = ui_.Valpot,
              .word = ui_.Coef1,
              .scale = ui_.Coef2,
              .slider = ui_.SlDech,
              .storedWord = ui_.storedWord,
              .storedScale = ui_.storedScale});
    connect(ui_.Btcalcul, &QPushButton::clicked, this, &RglDech::Btcalcul_Click);
    OnClick(ui_.Dechset, &RglDech::Dechset_Click);
    connect(ui_.Btquit, &QPushButton::clicked, this, &QWidget::close);
}

/// A count of 0 is accepted here, a setting of 0 is not.
bool RglDech::Complete()
{
    const bool complete = MeasuredTens() != 0 && PotValue() != 0;
    if (!complete)
        Complain(QStringLiteral("Valeurs manquantes (à 0)"));
    return complete;
}

void RglDech::Btcalcul_Click()
{
    if (Complete())
        Compute();
}

Task<void> RglDech::Dechset_Click()
{
    if (!Complete())
        co_return;
    const Result result = Compute();
    co_await WriteResult(result);
}
