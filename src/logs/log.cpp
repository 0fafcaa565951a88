// SPDX-License-Identifier: GPL-3.0-or-later
#include "log.h"

#include <algorithm>

int Log::StepOf(size_t record) const
{
    return static_cast<int>(std::ranges::upper_bound(steps, record) - steps.begin());
}

const Log::Column *Log::Find(const QString &name) const
{
    const auto found = std::ranges::find(columns, name, &Column::name);
    return found == columns.end() ? nullptr : &*found;
}
