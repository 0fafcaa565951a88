// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace Board {

/// The board's time while commands come over a line that takes no time of its own: what the bytes would have cost on a
/// real wire, and the pauses that the PC's program makes between its requests. How long the machine takes for either
/// does not count. Moments are real seconds; the time that comes of them is simulated seconds.
///
/// A pause has a place: the request before it, the one after it, and the lines as they stand meanwhile. A program
/// pauses in the same places step after step, a machine stalls anywhere; so the shortest of the latest pauses of a
/// place is what the program has commanded, and what is longer is a stall. Where nothing came for much longer nobody
/// was at work, and all of that time passes.
class WireTime
{
public:
    /// `scale`: simulated seconds in a real second.
    explicit WireTime(double scale) : scale_(scale) {}

    /// What one byte takes, in simulated and in real seconds.
    struct Byte
    {
        double wire = 0;
        double real = 0; ///< 0 on a line that is not paced
    };

    /// A byte arrives. `between`: no request has begun; `lines`: how the lines stand.
    void Hear(double seconds, std::uint8_t value, const Byte &byte, bool between, unsigned lines);
    /// The board answers what has come.
    void Answer(double seconds, std::size_t bytes, const Byte &byte);

    /// All time passes, as while the board sends by itself.
    void Flow(double seconds);
    /// Somebody looks at the moment: all time passes if nobody is at work.
    void Look(double seconds);

    double Now() const { return now_; }
    /// The time at the moment if nothing was heard until then and all of it passes.
    double Flowing(double seconds) const { return now_ + (seconds - quiet_) * scale_; }

private:
    struct Place
    {
        unsigned lines;
        std::uint8_t before;
        std::uint8_t after;
        auto operator<=>(const Place &) const = default;
    };

    /// The latest silences of a place, in real seconds.
    class Silences
    {
    public:
        void Add(double length, double sinceAnchor);
        bool Known() const;
        double Shortest() const;
        double UsualSinceAnchor() const; ///< the middle one, from the moment when the program's timer may have begun

    private:
        static constexpr std::size_t most = 15;
        using Latest = std::array<double, most>;
        std::size_t Kept() const { return count_ < most ? count_ : most; }
        double Sorted(Latest values, std::size_t which) const;

        Latest lengths_{};
        Latest sinceAnchor_{};
        std::size_t count_ = 0;
    };

    void PassSilence(std::uint8_t request, unsigned lines);
    double Commanded(const Silences &silences, const Place &place) const;
    double TimerOf(double real, double share) const;
    double RealOf(double milliseconds) const;
    void Anchor(double seconds, double time);

    double scale_;
    double now_ = 0;
    double quiet_ = 0;      // real: since then nothing has been on the line
    double anchor_ = 0;     // real: a timer of the program that runs now was started then or later
    double anchorTime_ = 0; // the same, simulated
    double begun_ = 0;      // real: the latest request
    double begunTime_ = 0;  // the same, simulated
    double silence_ = 0;    // real: before it
    bool named_ = true;     // what is asked for is known by its second byte
    std::uint8_t request_ = 0;
    std::map<Place, Silences> places_;
};

} // namespace Board
