// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <utility>

/// Hands out posted events and nothing else, without a look at the system: all that happens in a simulation is posted
/// or rung by its clock, and the system's dispatcher costs more than what is tried.
class QuietDispatcher final : public QAbstractEventDispatcher
{
public:
    /// Makes the application that has it, which lives as long as the process.
    static bool Install()
    {
        static int count = 1;
        static char name[] = "fuzz";
        static char *arguments[] = {name, nullptr};
        QCoreApplication::setEventDispatcher(new QuietDispatcher);
        static const QCoreApplication application(count, arguments);
        return true;
    }

    bool processEvents(QEventLoop::ProcessEventsFlags) override
    {
        if (!std::exchange(woken_, false))
            return false;
        QCoreApplication::sendPostedEvents();
        return true;
    }
    void wakeUp() override { woken_ = true; }

    void registerSocketNotifier(QSocketNotifier *) override {}
    void unregisterSocketNotifier(QSocketNotifier *) override {}
    void registerTimer(int, qint64, Qt::TimerType, QObject *) override {}
    bool unregisterTimer(int) override { return false; }
    bool unregisterTimers(QObject *) override { return false; }
    QList<TimerInfo> registeredTimers(QObject *) const override { return {}; }
    int remainingTime(int) override { return -1; }
    void interrupt() override {}

private:
    bool woken_ = false;
};
