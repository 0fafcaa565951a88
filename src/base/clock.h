// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>

#include <chrono>
#include <coroutine>
#include <functional>
#include <memory>

using namespace std::chrono_literals;

/// The one place that knows what time it is and wakes others: everything in the program asks it. The system's stands
/// behind it; a test may put another one in its place, which can then let a night pass in seconds.
class Clock
{
public:
    using Duration = std::chrono::microseconds;

    Clock() = default;
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;
    virtual ~Clock() = default;

    static Clock &Current();
    /// To be called before anything asks for the time; null for the system's clock.
    static void Set(Clock *clock);

    /// Time since some moment in the past. It never goes back and stands still for nobody.
    virtual Duration Now() const = 0;
    /// Date and time of the day as the user's clock on the wall shows them.
    virtual QDateTime LocalTime() const = 0;

    /// What an Alarm is made of.
    class Bell
    {
    public:
        virtual ~Bell() = default;
        virtual void Start(Duration in) = 0;
        virtual void Stop() = 0;
        virtual bool IsSet() const = 0;
    };
    virtual std::unique_ptr<Bell> MakeBell(std::function<void()> ring) = 0;
};

/// Calls a function once, so much later. The function may destroy the alarm.
class Alarm
{
public:
    explicit Alarm(std::function<void()> ring) : bell_(Clock::Current().MakeBell(std::move(ring))) {}

    /// One that is set already starts afresh.
    void Start(Clock::Duration in) { bell_->Start(in); }
    void Stop() { bell_->Stop(); }
    bool IsSet() const { return bell_->IsSet(); }

private:
    std::unique_ptr<Clock::Bell> bell_;
};

/// How long it has been since something.
class Stopwatch
{
public:
    void Restart() { since_ = Clock::Current().Now(); }
    Clock::Duration Elapsed() const { return Clock::Current().Now() - since_; }

private:
    Clock::Duration since_ = Clock::Current().Now();
};

/// Waits for some time: `Delay pause(50ms); co_await pause;`.
class Delay
{
public:
    explicit Delay(Clock::Duration length) : length_(length) {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiter)
    {
        waiter_ = waiter;
        alarm_.Start(length_);
    }
    void await_resume() const noexcept {}

private:
    Clock::Duration length_;
    std::coroutine_handle<> waiter_;
    Alarm alarm_{[this] { waiter_.resume(); }};
};
