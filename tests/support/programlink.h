// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/codebas.h"
#include "simulation/scriptedboard.h"
#include "simulation/simulatedclock.h"
#include "support/coroutines.h"

/// The program's end of a simulated line, on a simulated clock, without any window.
struct ProgramLink
{
    /// What stands between the program and its end of the line.
    using Between = std::function<std::unique_ptr<Port>(std::unique_ptr<Port>)>;

    explicit ProgramLink(const Between &between = [](std::unique_ptr<Port> port) { return port; })
        : com(between(std::unique_ptr<Port>(port)))
    {
    }

    /// Closes the port as the program does, which waits until what was sent has left.
    void ClosePort()
    {
        closing.Start(link.ClosePort());
        clock.RunUntil([this] { return closing.Idle(); });
    }

    /// Closes and opens it again in one go, as an activation of the main window does.
    void Reopen()
    {
        closing.Start(CloseAndOpen());
        clock.RunUntil([this] { return closing.Idle(); });
    }
    Task<void> CloseAndOpen()
    {
        Task<void> close = link.ClosePort();
        co_await close;
        link.OpenPort();
    }

    /// Lets time pass until nothing is owed and nobody waits; everything sent until then.
    bool Rests()
    {
        return clock.RunUntil([this] { return link.line.Idle(); });
    }

    SimulatedClock clock;
    MemoryPort *port = new MemoryPort;
    Com com;
    Timer timer1{QStringLiteral("Timer1"), 200, nullptr};
    Timer timer2{QStringLiteral("Timer2"), 20, nullptr};
    Codebas link{com, timer1, timer2};
    Runner closing; ///< its coroutines end before the link does
};

/// The calibration words that the benches work with: 13.65 V are 800 counts, and so on.
inline void SetCalibration(Session &session)
{
    const auto word = [](std::array<quint8, 257> &image, size_t i, int value) {
        image[i] = static_cast<quint8>(value / 256);
        image[i + 1] = static_cast<quint8>(value % 256);
    };
    word(session.MasterEeprom, 0, 1024); // degrees: 600 - count
    word(session.MasterEeprom, 2, 600);
    word(session.MasterEeprom, 9, 600);  // volts of the supply
    word(session.MasterEeprom, 11, 400); // of the doubler
    word(session.SlaveEeprom, 0, 2048);  // amperes of the charge: count / 200
    word(session.SlaveEeprom, 2, 2560);  // of the discharge: count / 250
    word(session.SlaveEeprom, 6, 1200);  // volts of the battery: 600 counts are 5.12 V
    session.SlaveEeprom[4] = 80;         // setting of an ampere of charge
    session.SlaveEeprom[5] = 60;         // of discharge
}
