#include "unattended.h"

#include "base/messages.h"
#include "limitsbox.h"
#include "link/measurement.h"

#include <QCoreApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {
constexpr int forCause = 3;
constexpr int bySignal = 128; // as a shell reports a program that a signal ended: this and its number
constexpr auto answer = 2s;   // how long the board may take to answer "Arret"
} // namespace

Unattended::Unattended(Window &window)
    : window_(window), giveUp_([this] {
        SwitchOffUnanswered();
        QCoreApplication::exit(status_);
    })
{
    connect(&interrupt_, &Interrupt::Received, this, &Unattended::Interrupted);
}

void Unattended::SetText(const QString &box, const QString &text)
{
    window_.findChild<QLineEdit *>(box)->setText(text);
}

Unattended::Setting Unattended::SetCurrent(const QString &slider, const QString &what, double amperes, int scale)
{
    if (scale == 0) {
        messages::ShowAndEnd(&window_, window_.windowTitle(),
                             QStringLiteral("Le réglage du courant de %1 de la carte n'est pas étalonné.").arg(what));
        return Setting::Impossible;
    }
    const int value = static_cast<int>(std::clamp(std::round(amperes * scale), 0.0, 255.0));
    Print(QStringLiteral("Courant de %1 : réglage %2, %3 A")
              .arg(what)
              .arg(value)
              .arg(measurement::CurrentSettingAmps(value, scale), 0, 'f', 2));
    auto *control = window_.findChild<QSlider *>(slider);
    const bool there = control->value() == value;
    control->setValue(value);
    return there ? Setting::AlreadyThere : Setting::Sent;
}

void Unattended::PressStart()
{
    started_ = true;
    window_.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
}

void Unattended::SetLimits(const Limits &limits)
{
    auto *box = window_.findChild<LimitsBox *>();
    box->Show(limits);
    if (!box->Blindness().isEmpty())
        messages::Show(&window_, QMessageBox::Warning, window_.windowTitle(), box->Blindness());
}

void Unattended::Stopping(const QString &cause)
{
    messages::Show(&window_, QMessageBox::Warning, window_.windowTitle(), QStringLiteral("Arret : ") + cause);
    status_ = forCause;
    giveUp_.Start(answer);
}

void Unattended::Stopped()
{
    if (giveUp_.IsSet())
        QCoreApplication::exit(status_);
}

void Unattended::End(const QString &summary)
{
    Print(summary);
    QCoreApplication::exit(0);
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

/// The first signal presses "Arret". Another one does not wait for the board's answers.
void Unattended::Interrupted(int signal)
{
    if (started_ && !giveUp_.IsSet()) {
        status_ = bySignal + signal;
        giveUp_.Start(answer);
        window_.findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
        return;
    }
    if (started_)
        SwitchOffUnanswered();
    QCoreApplication::exit(bySignal + signal);
}
