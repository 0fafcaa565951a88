// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "board_line.h"
#include "memoryport.h"

#include "base/clock.h"

#include <QPointer>
#include <QStringList>

#include <optional>

/// The virtual board at the far end of a memory port, in this process and on the clock of the test: the same options
/// give the same run, byte for byte and moment for moment.
class SimulatedBoard : public QObject
{
    Q_OBJECT

public:
    explicit SimulatedBoard(MemoryPort &port);
    SimulatedBoard();
    ~SimulatedBoard() override { SwitchOff(); }

    /// Plugs the board into a port, out of the one before.
    void Attach(MemoryPort *port);

    /// Puts a board in the place of the one before. The options are those of the executable; the ones about the
    /// operating system (link, trace, status, standard input) mean nothing here. Throws Board::OptionError.
    void SwitchOn(const QStringList &options = {});
    /// The board is gone, with all that was under way; its memories are in their file, if it has one.
    void SwitchOff();

    /// Does what a control line of the executable says; fails the test's process when it is refused.
    void Tell(const QByteArray &order);

    bool IsOn() const { return line_.has_value(); }
    /// The true state of a board that is on, as it was when something happened last; looking changes nothing.
    const Board::Controller &Core() const { return line_->Core(); }
    const Board::Device &Hardware() const { return Core().Hardware(); }

Q_SIGNALS:
    /// Bytes of the board have come to the program's end, whether the port is open or not.
    void Sent(const QByteArray &bytes);
    /// The board has done a command, and answers so.
    void Did(const QByteArray &request, const QByteArray &reply);

protected:
    /// Bytes of the program are at the board.
    virtual void ToBoard(const QByteArray &bytes);
    /// Bytes of the board are at the program's end.
    virtual void ToProgram(const QByteArray &bytes);

private:
    double Seconds() const;
    void NoteSpeed();
    void Work();
    void Wait();

    QPointer<MemoryPort> port_;
    std::string memoryFile_;
    std::optional<Board::BoardLine> line_;
    Stopwatch on_;
    Alarm next_{[this] { Work(); }};
};
