#include "unattended.h"

#include "base/messages.h"
#include "measurement.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

namespace {
constexpr int interrupted = 130; // as a shell reports a program that SIGINT ended
constexpr int answerMs = 2000;   // how long the board may take to answer "Arret"
} // namespace

UnattendedCharge::UnattendedCharge(Codebas &link, Chargeur &window, ChargeOrder order)
    : link_(link), window_(window), order_(std::move(order))
{
    connect(&window_, &Chargeur::Recorded, this, &UnattendedCharge::Print);
    connect(&window_, &Chargeur::Ended, this, [this] {
        std::printf("Charge Terminée : %.0f mAh, journal %s\n", last_.milliampereHours,
                    qUtf8Printable(QFileInfo(window_.LogPath()).absoluteFilePath()));
        std::fflush(stdout);
        QCoreApplication::exit(0);
    });
    connect(&window_, &Chargeur::Stopped, this, [this] {
        if (giveUp_.isActive())
            QCoreApplication::exit(interrupted);
    });
    connect(&interrupt_, &Interrupt::Received, this, &UnattendedCharge::Interrupted);
    connect(&giveUp_, &QTimer::timeout, this, [this] {
        window_.SwitchOffUnanswered();
        QCoreApplication::exit(interrupted);
    });
}

void UnattendedCharge::Begin()
{
    if (std::exchange(begun_, true))
        return; // connected again
    window_.findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(order_.mode);
    if (order_.amperes && !SetCurrent(*order_.amperes))
        return;
    window_.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
}

bool UnattendedCharge::SetCurrent(double amperes)
{
    const int scale = link_.SlaveEeprom[4];
    if (scale == 0) {
        messages::ShowAndEnd(&window_, window_.windowTitle(),
                             QStringLiteral("Le réglage du courant de charge de la carte n'est pas étalonné."));
        return false;
    }
    const int value = static_cast<int>(std::clamp(std::round(amperes * scale), 0.0, 255.0));
    window_.findChild<QSlider *>(QStringLiteral("Slider1"))->setValue(value);
    std::printf("Courant de charge : réglage %d, %.2f A\n", value, measurement::CurrentSettingAmps(value, scale));
    return true;
}

void UnattendedCharge::Print(const RunRecord &record)
{
    last_ = record;
    if (records_++ % order_.every != 0)
        return;
    const auto seconds = static_cast<int>(record.seconds);
    std::printf("%02d:%02d:%02d  %6.2f V  %5.2f A  %6.0f mAh  delta %4.0f\n", seconds / 3600, seconds / 60 % 60,
                seconds % 60, record.volts, record.amperes, record.milliampereHours, record.indicator);
    std::fflush(stdout);
}

void UnattendedCharge::Interrupted()
{
    if (!begun_ || giveUp_.isActive()) {
        QCoreApplication::exit(interrupted);
        return;
    }
    giveUp_.start(answerMs);
    window_.findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
}
