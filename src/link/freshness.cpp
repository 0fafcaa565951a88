// SPDX-License-Identifier: GPL-3.0-or-later
#include "freshness.h"

#include "base/tone.h"
#include "codebas.h"

Freshness::Freshness(const Codebas &link, QWidget *window) : QObject(window)
{
    const auto look = [this, &link] {
        if (!link.com.PortOpen() || link.silence.Lasts() || link.BoardStreams)
            End();
    };
    // Later: a port is closed to be opened anew, as a rule.
    connect(&link, &Codebas::PortCut, this, look, Qt::QueuedConnection);
    connect(&link.silence, &Silence::Changed, this, look);
    connect(&link, &Codebas::BoardStreamsChanged, this, look);
}

void Freshness::Add(const QList<QWidget *> &readings)
{
    for (QWidget *widget : readings) {
        readings_.emplace_back(widget);
        SetTone(*widget, Tone::Plain); // what that needs is there from the start
    }
}

void Freshness::Read()
{
    read_.Restart();
    any_ = true;
    Show(false);
}

void Freshness::End()
{
    if (!any_)
        return;
    Show(true);
    Q_EMIT Changed(); // with another time
}

void Freshness::Forget()
{
    any_ = false;
    Show(false);
}

void Freshness::Show(bool old)
{
    if (std::exchange(old_, old) == old)
        return;
    for (QWidget *reading : readings_)
        if (reading)
            SetTone(*reading, old ? Tone::Quiet : Tone::Plain);
    Q_EMIT Changed();
}

QString Freshness::Text() const
{
    if (!old_)
        return {};
    const auto ago = std::chrono::duration_cast<std::chrono::milliseconds>(read_.Elapsed());
    return QStringLiteral("dernière mesure à %1")
        .arg(Clock::Current().LocalTime().addMSecs(-ago.count()).toString(QStringLiteral("HH:mm:ss")));
}
