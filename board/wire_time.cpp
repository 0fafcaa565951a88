// SPDX-License-Identifier: GPL-3.0-or-later
#include "wire_time.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr std::uint8_t escape = 27;
constexpr std::uint8_t greeting = 85;
constexpr std::uint8_t clockRequest = 41;
constexpr std::uint8_t firstLine = 15;
constexpr std::uint8_t dischargeLine = 16;
constexpr std::uint8_t powerLine = 17;
constexpr std::uint8_t lastLine = 18;
constexpr std::uint8_t dischargeCurrent = 11;
constexpr std::uint8_t firstMemory = 37;
constexpr std::uint8_t lastMemory = 50;
constexpr std::uint8_t lastRequest = 51;

constexpr double leastPause = 0.001;    // s, real; requests that follow each other are closer
constexpr double lateness = 0.002;      // s, real, of a timer on a machine that has nothing else to do
constexpr double newcomersStall = 0.25; // s, real: longest stall where the program's pauses are not yet known...
constexpr double longestStall = 1.0;    // ...and where they are
constexpr std::size_t enoughSilences = 8;
constexpr double rounding = 1e-6;
constexpr double earlyShare = 0.75; // a timer may have begun some requests after the anchor

// What timers are set to, in simulated milliseconds, the longest first. A run waits for a step behind the write of a
// line and begins it with the clock; while the charge is interrupted the discharge line is on for as long as the pack
// needs to settle. A measurement's tick begins with its lines and ends with them, and the readings that are taken
// meanwhile end with the discharge current.
constexpr double stepPause = 1000;
constexpr double settlePause = 5;
constexpr double timers[] = {2000, stepPause, 500, 300, 200, 100};

double Whole(double seconds)
{
    return std::floor(seconds * 1000 + rounding) / 1000;
}

/// A memory is read and written in one go.
bool IsOfAMemory(std::uint8_t request)
{
    return request >= firstMemory && request <= lastMemory && request != clockRequest;
}

bool SwitchesALine(std::uint8_t request)
{
    return request >= firstLine && request <= lastLine;
}

} // namespace

void WireTime::Silences::Add(double length, double sinceAnchor)
{
    lengths_[count_ % most] = length;
    sinceAnchor_[count_ % most] = sinceAnchor;
    ++count_;
}

bool WireTime::Silences::Known() const
{
    return count_ >= enoughSilences;
}

double WireTime::Silences::Sorted(Latest values, std::size_t which) const
{
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(which);
    std::nth_element(values.begin(), at, values.begin() + static_cast<std::ptrdiff_t>(Kept()));
    return *at;
}

double WireTime::Silences::Shortest() const
{
    return Sorted(lengths_, 0);
}

double WireTime::Silences::UsualSinceAnchor() const
{
    return Sorted(sinceAnchor_, Kept() / 2);
}

void WireTime::Anchor(double seconds, double time)
{
    anchor_ = seconds;
    anchorTime_ = time;
}

void WireTime::Flow(double seconds)
{
    now_ = std::max(now_, Flowing(seconds));
    quiet_ = std::max(quiet_, seconds);
    Anchor(quiet_, now_);
}

void WireTime::Look(double seconds)
{
    if (seconds - quiet_ > longestStall)
        Flow(seconds);
}

void WireTime::Hear(double seconds, std::uint8_t value, const Byte &byte, bool between, unsigned lines)
{
    if (between) {
        begun_ = std::max(quiet_, seconds - byte.real);
        silence_ = begun_ - quiet_;
        begunTime_ = now_;
        named_ = value != escape;
        if (named_)
            PassSilence(value, lines);
        // A greeting begins a session, whose seconds are whole: what happens in it does not depend on what was before.
        if (value == greeting)
            now_ = std::ceil(now_);
    } else if (!named_ && value != escape) {
        named_ = true;
        PassSilence(value, lines);
    }
    now_ += byte.wire;
    quiet_ = std::max(quiet_, seconds);
}

void WireTime::Answer(double seconds, std::size_t bytes, const Byte &byte)
{
    const auto count = static_cast<double>(bytes);
    now_ += count * byte.wire;
    quiet_ = std::max(quiet_, seconds + count * byte.real);
    if (SwitchesALine(request_))
        Anchor(quiet_, now_);
}

double WireTime::RealOf(double milliseconds) const
{
    return std::max(1.0, std::round(milliseconds / scale_)) / 1000;
}

/// The simulated seconds of the longest timer that may have run for so long, in real seconds; 0: none. It may have
/// been seen to begin later than it did: after that share of it it may have ended.
double WireTime::TimerOf(double real, double share) const
{
    for (const double timer : timers) {
        const double due = RealOf(timer);
        if (real >= share * due - rounding && real <= std::max(1.25 * due, due + lateness) + rounding)
            return timer / 1000;
    }
    return 0;
}

/// The simulated seconds that the program waits at the place, from the anchor; 0: it does not wait there. Programs'
/// timers go by whole milliseconds.
double WireTime::Commanded(const Silences &silences, const Place &place) const
{
    const double shortest = Whole(silences.Shortest());
    const double step = RealOf(stepPause);
    if (place.before == dischargeLine && place.after == dischargeLine)
        return shortest >= leastPause && shortest <= RealOf(settlePause) + newcomersStall ? settlePause / 1000
                                                                                          : shortest * scale_;
    if (place.before == dischargeCurrent && place.after == powerLine)
        return TimerOf(Whole(silences.UsualSinceAnchor()), earlyShare);
    if (SwitchesALine(place.before) && place.after == clockRequest && shortest >= step &&
        shortest <= step + newcomersStall)
        return stepPause / 1000;
    if (shortest < leastPause || (IsOfAMemory(place.before) && IsOfAMemory(place.after)))
        return 0;
    const double timer = TimerOf(shortest, 1);
    return timer > 0 ? timer : shortest * scale_;
}

void WireTime::PassSilence(std::uint8_t request, unsigned lines)
{
    const std::uint8_t after = request <= lastRequest ? request : 0; // noise has no places of its own
    const Place place{lines, request_, after};
    request_ = after;
    Silences &silences = places_[place];
    silences.Add(silence_, begun_ - anchor_);
    const bool known = silences.Known();
    double passed = 0; // before the request
    double expected = 0;
    if (known) {
        passed = std::max(0.0, anchorTime_ + Commanded(silences, place) - begunTime_);
        expected = passed > 0 ? silences.Shortest() : 0.0;
    } else if (request == clockRequest && silence_ >= RealOf(stepPause)) {
        passed = stepPause / 1000;
        expected = RealOf(stepPause);
    }
    if (silence_ - expected > (known ? longestStall : newcomersStall)) {
        const double all = silence_ * scale_;
        passed = all < 2 ? all : std::round(all);
    }
    now_ += passed;
    if (passed > 0 || (!known && silence_ >= leastPause))
        Anchor(begun_, begunTime_ + passed);
}

} // namespace Board
