// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controller.h"
#include "faults.h"
#include "line_queue.h"
#include "options.h"
#include "replay.h"
#include "wire_time.h"

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace Board {

/// The board at its end of a line, whatever that line is made of: bytes in, bytes out, the faults between them, and the
/// orders of whoever stands at the bench. Moments are real seconds since the start.
class BoardLine
{
public:
    /// How the board's time follows the moments.
    enum class Time
    {
        Exact,     ///< the time scale times the moment, on a line whose moments are to be believed
        OfTheWire, ///< WireTime, on a line between processes
    };

    /// Throws std::exception when there is a trace to be replayed that cannot be read.
    BoardLine(const Options &options, const Memories::Content &content, Time time = Time::Exact);

    /// Time that one byte takes on the wire from now on. On a line that is not paced it is counted at most.
    void SetByteSeconds(double seconds) { byteSeconds_ = seconds; }

    /// Bytes that the PC sends at the moment.
    void Receive(double seconds, const Bytes &bytes);
    /// Whether the board has still to hear some of them.
    bool Hearing() const { return !incoming_.Empty(); }

    /// Does all that is due up to the moment.
    void AdvanceTo(double seconds);
    /// When AdvanceTo is due next; nothing while the board only waits.
    std::optional<double> NextMoment() const;

    /// What the board has sent; whoever has the line takes what has arrived.
    LineQueue &Outgoing() { return outgoing_; }
    const LineQueue &Outgoing() const { return outgoing_; }

    /// Does what a control line says; false when it is refused.
    bool Obey(double seconds, std::string_view order);
    void ToggleButton(int number);

    /// Is told of each command that the board has done, and of what it answers.
    using Listener = std::function<void(const Bytes &request, const Bytes &reply)>;
    void SetListener(Listener listener) { listener_ = std::move(listener); }

    const Controller &Core() const { return board_; }
    /// Grows with whatever may have changed the board's true values, but for the passing of time.
    unsigned long Changes() const { return changes_; }

private:
    double Simulated(double seconds) const;
    double SimulatedWhenHeard(double seconds, std::uint8_t byte);
    unsigned LineBits() const;
    WireTime::Byte WireByte() const { return {.wire = byteSeconds_, .real = ByteSeconds()}; }
    double ByteSeconds() const { return options_.pace ? byteSeconds_ : 0; }
    double RecordInterval() const { return 1.0 / (options_.streamRate * options_.timeScale); }
    bool Silent(double seconds) const { return seconds < silentUntil_; }
    void Hear(std::uint8_t byte, double seconds);
    void HearReplayed(std::uint8_t byte, double seconds);
    void Suffer(double seconds);
    void SendRecords(double now);
    void Send(const Bytes &bytes, double seconds);

    const Options options_;
    Controller board_;
    std::optional<Replay> replay_;                             ///< answers in the place of the board
    const std::vector<ReplayScript::Byte> *greeted_ = nullptr; ///< what it has answered to the last greeting
    Faults faults_;
    LineQueue incoming_;
    LineQueue outgoing_;
    std::optional<WireTime> wireTime_;
    double byteSeconds_ = 0;
    std::optional<double> nextRecord_;
    double silentUntil_ = 0;
    unsigned long changes_ = 0;
    std::vector<Faults::Delayed> delayed_;
    Listener listener_;
};

} // namespace Board
