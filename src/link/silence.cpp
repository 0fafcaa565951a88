// SPDX-License-Identifier: GPL-3.0-or-later
#include "silence.h"

Silence::Silence(const Com &com, const Exchanges &line)
{
    connect(&com, &Com::Sending, this, [this] {
        if (!lasts_ && !alarm_.IsSet())
            alarm_.Start(limit);
    });
    connect(&com, &Com::Received, this, [this, &line] {
        if (line.IsOwed()) // its end may be lost
            alarm_.Start(limit);
        else
            alarm_.Stop();
        Set(false);
    });
    connect(&com, &Com::Changed, this, [this, &com] {
        if (com.PortOpen())
            return;
        alarm_.Stop();
        Set(false);
    });
}

void Silence::Set(bool lasts)
{
    if (std::exchange(lasts_, lasts) != lasts)
        Q_EMIT Changed(lasts);
}
