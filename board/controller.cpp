// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller.h"

namespace Board {

void Controller::Take(double seconds, std::uint8_t byte, Bytes &reply)
{
    device_.AdvanceTo(seconds);
    const bool before = interpreter_.Streaming();
    interpreter_.Take(byte, reply);
    if (interpreter_.Streaming() && !before)
        stream_.Begin();
    else if (before && !interpreter_.Streaming())
        stream_.End();
}

void Controller::AppendRecord(double seconds, Bytes &out)
{
    device_.AdvanceTo(seconds);
    stream_.Append(out);
}

void Controller::Restart(double seconds)
{
    device_.AdvanceTo(seconds);
    interpreter_.Restart();
    stream_.End();
    device_.Restart();
}

} // namespace Board
