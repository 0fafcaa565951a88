// SPDX-License-Identifier: GPL-3.0-or-later
#include "act.h"

QString MomentText(Clock::Duration at)
{
    return QStringLiteral("%1.%2 s")
        .arg(at.count() / 1'000'000, 8)
        .arg(at.count() % 1'000'000, 6, 10, QLatin1Char('0'));
}

QString Act::Text() const
{
    QString text = MomentText(at) + QStringLiteral("  ") + verb + u' ' + window;
    if (!target.isEmpty())
        text += u'.' + target;
    if (!value.isEmpty())
        text += QStringLiteral(" « %1 »").arg(value);
    return text;
}
