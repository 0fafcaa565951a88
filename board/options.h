// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "device.h"
#include "faults.h"

#include <optional>
#include <string>
#include <vector>

namespace Board {

struct Options
{
    DeviceOptions device;
    double timeScale = 1;
    bool pace = false;
    std::vector<FaultRule> faults;
    std::string memoryFile;
    std::string traceFile;
    std::string replayFile;
    std::string statusFile;
    std::string link;
    std::uint8_t streamType = 2;
    double streamRate = 1; ///< records per simulated second
    bool untilStdinCloses = false;
    bool help = false;
};

/// What is wrong with a command line, in French.
struct OptionError
{
    std::string message;
};

/// Reads the arguments (without the program's name). Throws OptionError.
Options ParseOptions(const std::vector<std::string> &arguments);

/// The text of --help, in French.
std::string HelpText();

} // namespace Board
