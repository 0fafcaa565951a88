// SPDX-License-Identifier: GPL-3.0-or-later
#include "unattended.h"

#include "base/messages.h"
#include "base/title.h"
#include "lastsettings.h"
#include "limitsbox.h"
#include "link/measurement.h"
#include "packbox.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSlider>

#include <cmath>
#include <cstdio>

namespace {
constexpr int forCause = 3;
constexpr int highestSetting = 255;
constexpr auto beginning = 1min; // how long the connection and the settings may take
} // namespace

Unattended::Unattended(Window &window)
    : window_(window), tooLate_([this] {
        messages::ShowAndEnd(&window_, title::Of(window_),
                             QStringLiteral("La carte ne répond pas : rien n'a été commencé."));
    })
{
    window_.findChild<LastSettings *>()->Rest();
    tooLate_.Start(beginning);
}

void Unattended::SetText(const QString &box, const QString &text)
{
    window_.findChild<QLineEdit *>(box)->setText(text);
}

bool Unattended::IsPossible(const QString &option, const QString &what, double amperes, int scale)
{
    if (scale != 0 && std::round(amperes * scale) <= highestSetting)
        return true;
    messages::ShowAndEnd(&window_, title::Of(window_),
                         scale == 0
                             ? QStringLiteral("Le réglage du courant de %1 de la carte n'est pas étalonné.").arg(what)
                             : QStringLiteral("--%1 %2 : de 0 à %3 A avec cette carte")
                                   .arg(option)
                                   .arg(amperes)
                                   .arg(measurement::CurrentSettingAmps(highestSetting, scale)));
    return false;
}

bool Unattended::SetCurrent(const QString &slider, const QString &what, double amperes, int scale)
{
    const auto value = static_cast<int>(std::round(amperes * scale));
    Print(QStringLiteral("Courant de %1 : réglage %2, %3 A")
              .arg(what)
              .arg(value)
              .arg(measurement::CurrentSettingAmps(value, scale), 0, 'f', 2));
    auto *control = window_.findChild<QSlider *>(slider);
    const bool moves = control->value() != value;
    control->setValue(value);
    return moves;
}

void Unattended::PressStart()
{
    started_ = true;
    tooLate_.Stop();
    window_.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
}

void Unattended::SetLimits(const Limits &limits)
{
    auto *box = window_.findChild<LimitsBox *>();
    box->Show(limits);
    if (!box->Blindness().isEmpty())
        messages::Show(&window_, QMessageBox::Warning, title::Of(window_), box->Blindness());
}

void Unattended::SetPack(const QString &name)
{
    window_.findChild<PackBox *>()->SetPack(name);
}

void Unattended::End(const QString &summary)
{
    Print(summary);
    Q_EMIT Over(0);
}

void Unattended::EndFor(const QString &cause)
{
    messages::Show(&window_, QMessageBox::Warning, title::Of(window_), QStringLiteral("Arret : ") + cause);
    Q_EMIT Over(forCause);
}

void Unattended::Print(const QString &line)
{
    std::puts(qUtf8Printable(line));
    std::fflush(stdout);
}

QString Unattended::TimeText(double seconds)
{
    const auto whole = static_cast<int>(seconds);
    return QString::asprintf("%02d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
}
