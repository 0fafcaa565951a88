// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// The chart library's header uses Qt's keywords in their short form, which the program is compiled without.
#define signals Q_SIGNALS
#define slots Q_SLOTS
#define foreach Q_FOREACH
#include <qcustomplot.h>
#undef signals
#undef slots
#undef foreach
