// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/simulatedboard.h"

#include <deque>

/// The simulated board on a wire that does not always do as it should. Faults are laid in wait one by one; they strike
/// what is sent next.
class FaultyBoard : public SimulatedBoard
{
    Q_OBJECT

public:
    enum class Way
    {
        ToBoard,
        ToProgram
    };

    void LoseByte(Way way) { At(way).lose = true; }
    void AddByte(Way way, quint8 byte) { At(way).add.append(static_cast<char>(byte)); }
    /// One bit of what is sent next is turned over; `which` says the byte (upper five bits) and the bit.
    void ChangeByte(Way way, quint8 which) { At(way).turn = which; }
    /// The next answer, and all behind it, comes so much later.
    void Delay(Clock::Duration length) { delay_ = length; }
    /// Neither hears nor is heard for so long; zero: until Heal.
    void BeSilent(Clock::Duration length);
    /// Stands still for so long, once it has sent so many bytes more: what it is sent meanwhile waits, and then it goes
    /// on as if nothing had been.
    void FreezeAfter(int bytes, Clock::Duration length);
    /// Only the beginning of the next answer comes.
    void CutAnswer() { cut_ = true; }

    /// A program begins that knows nothing of the one before: what is still to come was asked by nobody.
    void BeginLife();

    /// Nothing more goes wrong; what is late still comes.
    void Heal();

    /// When the wire did something else last than carry bytes.
    Clock::Duration LastTrouble() const { return trouble_; }
    /// When it carried something last that nobody had sent.
    Clock::Duration LastInvention() const { return invention_; }

    int Inventions() const { return inventions_; }

protected:
    void ToBoard(const QByteArray &bytes) override;
    void ToProgram(const QByteArray &bytes) override;

private:
    struct InWait
    {
        bool lose = false;
        QByteArray add;
        std::optional<quint8> turn;
    };
    InWait &At(Way way) { return way == Way::ToBoard ? toBoard_ : toProgram_; }
    QByteArray Strike(InWait &faults, QByteArray bytes);
    bool Silent() const;
    void Arrive(const QByteArray &bytes);
    void Thaw();
    void Trouble();
    void Invented();
    void Deliver();

    InWait toBoard_;
    InWait toProgram_;
    Clock::Duration delay_{};
    bool cut_ = false;
    std::optional<int> freezeAfter_; ///< bytes
    Clock::Duration freezeLength_{};
    QByteArray heldToBoard_;
    QByteArray heldToProgram_;
    Alarm thaw_{[this] { Thaw(); }}; ///< set while it is frozen
    bool silent_ = false;
    Clock::Duration silentUntil_{};
    Clock::Duration trouble_{};
    Clock::Duration invention_{};
    int inventions_ = 0;
    bool garbled_ = false;                                    ///< the board may have heard half a request last
    std::deque<std::pair<Clock::Duration, QByteArray>> late_; ///< with the moments at which they arrive
    Alarm arrival_{[this] { Deliver(); }};
};
