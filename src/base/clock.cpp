// SPDX-License-Identifier: GPL-3.0-or-later
#include "clock.h"

#include <QTimer>

#include <ctime>

namespace {
class SystemBell final : public Clock::Bell
{
public:
    explicit SystemBell(std::function<void()> ring)
    {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(ring));
    }
    void Start(Clock::Duration in) override { timer_.start(std::chrono::ceil<std::chrono::milliseconds>(in)); }
    void Stop() override { timer_.stop(); }
    bool IsSet() const override { return timer_.isActive(); }

private:
    QTimer timer_;
};

class SystemClock final : public Clock
{
public:
    Duration Now() const override
    {
        timespec now{};
        clock_gettime(CLOCK_BOOTTIME, &now); // goes on while the computer sleeps
        return std::chrono::duration_cast<Duration>(std::chrono::seconds(now.tv_sec) +
                                                    std::chrono::nanoseconds(now.tv_nsec));
    }
    QDateTime LocalTime() const override { return QDateTime::currentDateTime(); }
    std::unique_ptr<Bell> MakeBell(std::function<void()> ring) override
    {
        return std::make_unique<SystemBell>(std::move(ring));
    }
};

SystemClock systemClock;
Clock *current = &systemClock;
} // namespace

Clock &Clock::Current()
{
    return *current;
}

void Clock::Set(Clock *clock)
{
    current = clock ? clock : &systemClock;
}
