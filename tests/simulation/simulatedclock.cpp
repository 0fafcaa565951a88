// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulatedclock.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <optional>

namespace {
SimulatedClock *current = nullptr;
}

SimulatedClock &Simulated()
{
    if (!current)
        qFatal("no simulated clock");
    return *current;
}

class SimulatedClock::SimulatedBell : public Clock::Bell
{
public:
    SimulatedBell(SimulatedClock &clock, std::function<void()> ring) : clock_(clock), ring_(std::move(ring)) {}
    ~SimulatedBell() override { Stop(); }

    void Start(Duration in) override
    {
        Stop();
        key_ = Key(clock_.now_ + std::max(in, Duration::zero()), ++clock_.order_);
        clock_.due_[*key_] = this;
    }
    void Stop() override
    {
        if (key_)
            clock_.due_.erase(*key_);
        key_.reset();
    }
    bool IsSet() const override { return key_.has_value(); }

    void Ring()
    {
        Stop();
        const auto ring = ring_; // this bell may go away meanwhile
        ring();
    }

private:
    SimulatedClock &clock_;
    std::function<void()> ring_;
    std::optional<Key> key_;
};

SimulatedClock::SimulatedClock()
{
    if (current)
        qFatal("one simulated clock at a time");
    current = this;
    Clock::Set(this);
    SetLocalTime(QDateTime(QDate(2026, 11, 15), QTime(9, 7, 45)));
}

SimulatedClock::~SimulatedClock()
{
    current = nullptr;
    Clock::Set(nullptr);
}

QDateTime SimulatedClock::LocalTime() const
{
    return zero_.addMSecs(std::chrono::duration_cast<std::chrono::milliseconds>(now_).count());
}

void SimulatedClock::SetLocalTime(const QDateTime &time)
{
    zero_ = time.addMSecs(-std::chrono::duration_cast<std::chrono::milliseconds>(now_).count());
}

std::unique_ptr<Clock::Bell> SimulatedClock::MakeBell(std::function<void()> ring)
{
    return std::make_unique<SimulatedBell>(*this, std::move(ring));
}

void SimulatedClock::RunEvents()
{
    // Again and again: what one of them posts is due at this moment too, and nothing may ever ring before it.
    do
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents));
}

bool SimulatedClock::RingNext(Duration limit)
{
    if (due_.empty() || due_.begin()->first.first > limit)
        return false;
    SimulatedBell *const next = due_.begin()->second;
    now_ = std::max(now_, due_.begin()->first.first);
    ++rung_;
    next->Ring();
    return true;
}

bool SimulatedClock::RunUntil(const std::function<bool()> &holds, Duration limit)
{
    const Duration end = now_ + limit;
    for (;;) {
        RunEvents();
        if (holds())
            return true;
        if (!RingNext(end)) {
            now_ = std::max(now_, end);
            return false;
        }
    }
}

void SimulatedClock::Run(Duration length)
{
    RunUntil([] { return false; }, length);
}
