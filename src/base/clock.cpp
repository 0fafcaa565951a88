#include "clock.h"

#include <QTimer>

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
        return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
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
