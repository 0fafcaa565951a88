// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <map>
#include <utility>

/// The clock of the tests: time passes only when a test lets it, from one moment at which something is due to the next.
/// While it lives everything asks it; what rings does so in the order of its moments, the same every time.
class SimulatedClock : public Clock
{
public:
    SimulatedClock();
    ~SimulatedClock() override;

    Duration Now() const override { return now_ += work_; }
    QDateTime LocalTime() const override;
    std::unique_ptr<Bell> MakeBell(std::function<void()> ring) override;

    /// Sets the clock on the wall; it goes on from there.
    void SetLocalTime(const QDateTime &time);

    /// Lets all run that is due at this moment, then goes on to the next moments until the condition holds; false when
    /// it does not hold within `limit` or nothing is left to happen.
    bool RunUntil(const std::function<bool()> &holds, Duration limit = 60s);

    /// Lets so much time pass.
    void Run(Duration length);

    /// Moves the clock on without letting anything run, as a thread that is held up sees it.
    void Stall(Duration length) { now_ += length; }

    /// From now on so much work lies between two looks at the clock: time passes for those too who never wait.
    void SetWork(Duration length) { work_ = length; }

    /// How many alarms are set.
    int Due() const { return static_cast<int>(due_.size()); }
    /// How many alarms have rung so far: a program that spins has many.
    int Rung() const { return rung_; }

private:
    class SimulatedBell;
    using Key = std::pair<Duration, unsigned long long>;

    bool RingNext(Duration limit);
    static void RunEvents();

    std::map<Key, SimulatedBell *> due_;
    unsigned long long order_ = 0;
    int rung_ = 0;
    mutable Duration now_ = 1h; // a look may take its time
    Duration work_{};
    QDateTime zero_; ///< local time at moment 0
};

/// Lets simulated time pass until the condition holds; fails the test when it does not within a minute.
#define SOON(condition) QVERIFY(Simulated().RunUntil([&] { return bool(condition); }))
/// The same for two values that become equal.
#define SOON_EQUAL(actual, expected)                                                                                   \
    do {                                                                                                               \
        Simulated().RunUntil([&] { return (actual) == (expected); });                                                  \
        QCOMPARE(actual, expected);                                                                                    \
    } while (false)

/// The simulated clock that everything asks at the moment.
SimulatedClock &Simulated();
