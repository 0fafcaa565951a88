#include "unattended_capacity.h"

#include "base/messages.h"
#include "runs/measurement.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {
constexpr int interrupted = 130; // as a shell reports a program that SIGINT ended
constexpr int answerMs = 2000;   // how long the board may take to answer "Arret"
} // namespace

UnattendedCapacity::UnattendedCapacity(Codebas &link, MesCapa &window, CapacityOrder order)
    : link_(link), window_(window), order_(order)
{
    connect(&window_, &MesCapa::SettingSent, this, [this] {
        if (begun_ && !started_)
            Next();
    });
    connect(&window_, &MesCapa::StateShown, this, &UnattendedCapacity::PrintState);
    connect(&window_, &MesCapa::Measured, this, &UnattendedCapacity::Print);
    connect(&window_, &MesCapa::Ended, this, [this](const CapacityRecord &last) {
        std::printf("Capacité déchargée : %.0f mAh, résistance %d mR, résultats %s\n",
                    capacity::MilliampereHours(last.TotalDischarge), last.Resistance,
                    qUtf8Printable(QFileInfo(window_.ResultPath()).absoluteFilePath()));
        std::fflush(stdout);
        QCoreApplication::exit(0);
    });
    connect(&window_, &MesCapa::Stopped, this, [this] {
        if (giveUp_.isActive())
            QCoreApplication::exit(interrupted);
    });
    connect(&window_, &MesCapa::Aborted, this, [] { QCoreApplication::exit(1); });
    connect(&interrupt_, &Interrupt::Received, this, &UnattendedCapacity::Interrupted);
    connect(&giveUp_, &QTimer::timeout, this, [this] {
        window_.SwitchOffUnanswered();
        QCoreApplication::exit(interrupted);
    });
}

void UnattendedCapacity::Begin()
{
    if (std::exchange(begun_, true))
        return; // connected again
    window_.findChild<QLineEdit *>(QStringLiteral("TxNbElem"))->setText(QString::number(order_.cells));
    window_.findChild<QLineEdit *>(QStringLiteral("TxNbrCycles"))->setText(QString::number(order_.cycles));
    Next();
}

/// One slider after the other, then the start: each when the one before has reached the board.
void UnattendedCapacity::Next()
{
    switch (settingsMade_++) {
    case 0:
        if (SetCurrent(QStringLiteral("SlIChrg"), QStringLiteral("charge"), order_.chargeAmperes, link_.SlaveEeprom[4]))
            Next();
        break;
    case 1:
        if (SetCurrent(QStringLiteral("SlIDech"), QStringLiteral("décharge"), order_.dischargeAmperes,
                       link_.SlaveEeprom[5]))
            Next();
        break;
    default:
        started_ = true;
        window_.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
        break;
    }
}

/// True when the slider stands there already, so that nothing is sent.
bool UnattendedCapacity::SetCurrent(const QString &slider, const QString &what, double amperes, int scale)
{
    if (scale == 0) {
        messages::ShowAndEnd(&window_, window_.windowTitle(),
                             QStringLiteral("Le réglage du courant de %1 de la carte n'est pas étalonné.").arg(what));
        return false;
    }
    const int value = static_cast<int>(std::clamp(std::round(amperes * scale), 0.0, 255.0));
    std::printf("Courant de %s : réglage %d, %.2f A\n", qUtf8Printable(what), value,
                measurement::CurrentSettingAmps(value, scale));
    std::fflush(stdout);
    auto *control = window_.findChild<QSlider *>(slider);
    const bool there = control->value() == value;
    control->setValue(value);
    return there;
}

void UnattendedCapacity::PrintState(const QString &text)
{
    const bool countdown = text.endsWith(QLatin1String("Pause ... "));
    if (countdown && std::exchange(counting_, true))
        return; // its first second says it all
    counting_ = countdown;
    std::printf("%s\n", qUtf8Printable(text.trimmed()));
    std::fflush(stdout);
}

void UnattendedCapacity::Print(const CapacityRecord &record)
{
    if (records_++ % order_.every != 0)
        return;
    const auto seconds = static_cast<int>(record.ElapsedS);
    const bool charging = record.Phase == 1;
    std::printf("%02d:%02d:%02d  %6.2f V  %5.2f A  %c %6.0f mAh  delta %4d  %3.0f °C\n", seconds / 3600,
                seconds / 60 % 60, seconds % 60, record.VBattery, charging ? record.ICharge : record.IDischarge,
                charging ? 'C' : 'D', capacity::MilliampereHours(charging ? record.TotalCharge : record.TotalDischarge),
                record.VDeltaCount, record.Temperature);
    std::fflush(stdout);
}

void UnattendedCapacity::Interrupted()
{
    if (!started_ || giveUp_.isActive()) {
        QCoreApplication::exit(interrupted);
        return;
    }
    giveUp_.start(answerMs);
    window_.findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
}
