// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/session.h"

class QWidget;

/// Whether the monitor keeps the line for its stream, so that nothing can be begun that the program has to watch; tells
/// the user so.
bool MonitorKeepsLine(QWidget *over, const Session &session);
