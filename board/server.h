// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "board_line.h"
#include "descriptor.h"
#include "pty_line.h"
#include "trace.h"

#include <optional>
#include <string>

namespace Board {

/// Runs the board on its line until it is told to stop. One thread, one wait; nothing happens while nothing is to do.
class Server
{
public:
    /// Throws std::exception when a file or the line cannot be had.
    explicit Server(const Options &options);

    const std::string &PortName() const { return options_.link.empty() ? line_.Path() : options_.link; }

    /// Returns after SIGTERM, SIGINT or, when asked for, the end of standard input.
    void Run();

private:
    double Seconds() const; ///< real, since the start

    std::optional<double> NextMoment() const;
    void Wait();
    void TakeSignal();
    void TakeStandardInput();
    void TakeVisitors();
    void TakeBytes();
    void NoteSpeed();
    void Work();
    void Transmit(double now);
    void KeepStatus(double now);
    void WriteStatus();
    void KeepMemories(double now);
    const Memories &Stored() const { return board_.Core().Stored(); }
    bool StatusIsOld() const { return !options_.statusFile.empty() && board_.Changes() != shownChanges_; }
    bool MemoriesAreOld() const { return !options_.memoryFile.empty() && Stored().Writes() != savedWrites_; }

    Options options_;
    double zero_;
    BoardLine board_;
    Trace trace_;
    Descriptor signals_;
    PtyLine line_;
    std::optional<PortLink> link_;
    bool blocked_ = false; // the line takes no more for now
    unsigned long shownChanges_ = 0;
    double statusAgain_ = 0;
    unsigned long savedWrites_ = 0;
    double saveAgain_ = 0;
    std::string control_; // begun line of standard input
    bool stopped_ = false;
    Bytes scratch_;
};

} // namespace Board
