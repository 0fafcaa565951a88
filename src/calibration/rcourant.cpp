// SPDX-License-Identifier: GPL-3.0-or-later
#include "rcourant.h"

#include "link/command.h"

Rcourant::Rcourant(Codebas &link)
    : CurrentWindow(QStringLiteral("Rcourant"), link,
                    {.name = QStringLiteral("La fenêtre de réglage du courant de charge"),
                     .readingMs = 300,
                     .readingText = QStringLiteral("Valeur mesurée = "),
                     .channel = command::ChargeCurrent,
                     .settingRegister = command::ChargeSetting,
                     .wordAddress = 0,
                     .scaleAddress = 4,
                     .opening = {{command::CutCharge, 1}, {command::CutPower, 1}},
                     .leaving = {{command::CutCharge, 0}, {command::CutPower, 0}}})
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    RememberDesign();
    SetPanel({.reading = ui_.RegcText1,
              .count = ui_.RegcText2,
              .measured = ui_.courText4,
              .setting = ui_.courtext3,
              .word = ui_.courtxt3,
              .scale = ui_.Text1,
              .slider = ui_.Slcour,
              .storedWord = ui_.storedWord,
              .storedScale = ui_.storedScale});
    connect(ui_.Btcalcul, &QPushButton::clicked, this, &Rcourant::Btcalcul_Click);
    OnClick(ui_.Courset, &Rcourant::Courset_Click);
    connect(ui_.Courquit, &QPushButton::clicked, this, &QWidget::close);
}

void Rcourant::Btcalcul_Click()
{
    if (CountEntry() == 0 || MeasuredTens() == 0)
        Complain(QStringLiteral("Valeurs à entrer à 0 "));
    else
        Compute();
}

/// Unlike "Calcul" it does not ask for a count; with nothing measured it ends the program.
Task<void> Rcourant::Courset_Click()
{
    const Result result = Compute();
    co_await WriteResult(result);
}
