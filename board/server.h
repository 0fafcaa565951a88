#pragma once

#include "controller.h"
#include "descriptor.h"
#include "faults.h"
#include "line_queue.h"
#include "options.h"
#include "pty_line.h"
#include "trace.h"

#include <optional>
#include <string>
#include <vector>

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
    double Simulated(double seconds) const { return seconds * options_.timeScale; }

    std::optional<double> NextMoment() const;
    void Wait();
    void TakeSignal();
    void TakeStandardInput();
    void TakeControlLine(std::string_view line);
    void TakeVisitors();
    void TakeBytes();
    void Work();
    void Hear(std::uint8_t byte, double seconds);
    void Suffer(double seconds);
    void SendRecords(double now);
    void Send(const Bytes &bytes, double seconds);
    void Transmit(double now);
    void ToggleButton(int number);
    void Touch() { statusWanted_ = true; }
    void KeepStatus(double now);
    void KeepMemories(double now);
    bool Silent(double seconds) const { return seconds < silentUntil_; }
    double RecordInterval() const { return 1.0 / (options_.streamRate * options_.timeScale); }

    Options options_;
    double zero_;
    Controller board_;
    Faults faults_;
    Trace trace_;
    Descriptor signals_;
    PtyLine line_;
    std::optional<PortLink> link_;
    LineQueue incoming_;
    LineQueue outgoing_;
    bool blocked_ = false; // the line takes no more for now
    std::optional<double> nextRecord_;
    double silentUntil_ = 0;
    bool statusWanted_ = true;
    double statusAgain_ = 0;
    unsigned long savedWrites_ = 0;
    double saveAgain_ = 0;
    std::string control_; // begun line of standard input
    bool stopped_ = false;
    Bytes scratch_;
    std::vector<Faults::Delayed> delayed_;
};

} // namespace Board
