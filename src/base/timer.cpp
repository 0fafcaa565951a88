#include "timer.h"

#include <algorithm>

namespace {
double timeScale = 1;
}

Timer::Timer(const QString &name, int milliseconds, QObject *parent) : QTimer(parent)
{
    setObjectName(name);
    setTimerType(Qt::PreciseTimer);
    SetInterval(milliseconds);
}

void Timer::SetInterval(int milliseconds)
{
    setInterval(std::max(1, qRound(milliseconds / timeScale)));
}

void Timer::SetEnabled(bool enabled)
{
    if (enabled)
        start();
    else
        stop();
}

void Timer::SetScale(double scale)
{
    timeScale = std::max(1.0, scale);
}

double Timer::Scale()
{
    return timeScale;
}
