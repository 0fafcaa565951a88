// SPDX-License-Identifier: GPL-3.0-or-later
#include "words.h"

#include "runs/runwords.h"

#include <cmath>

namespace words {
QString Kind(RunNews::Kind kind)
{
    return runwords::Name(kind).toLower();
}

QString End(const RunEntry &run)
{
    const auto with = [&run](const QString &what) {
        return run.why.isEmpty() ? what : what + QStringLiteral(" : ") + run.why;
    };
    switch (run.end) {
    case RunEntry::End::On:
        return QStringLiteral("en cours");
    case RunEntry::End::Rule:
        return QStringLiteral("terminé");
    case RunEntry::End::Stop:
        return QStringLiteral("arrêté");
    case RunEntry::End::Cause:
        return with(QStringLiteral("arrêté"));
    case RunEntry::End::Guard:
        return with(QStringLiteral("surveillance de secours"));
    case RunEntry::End::Error:
        return with(QStringLiteral("erreur"));
    case RunEntry::End::Left:
        return QStringLiteral("laissé");
    case RunEntry::End::Restart:
        return QStringLiteral("recommencé");
    case RunEntry::End::Cut:
        return with(QStringLiteral("interrompu"));
    case RunEntry::End::Unknown:
        return QStringLiteral("fin inconnue");
    }
    return {};
}

QString Share(double milliampereHours, int nominal)
{
    constexpr double percent = 100;
    if (nominal <= 0)
        return {};
    return QStringLiteral("%1 % de la capacité nominale")
        .arg(std::round(percent * milliampereHours / nominal), 0, 'f', 0);
}

QString Progress(const std::optional<LastTime> &last, int nominal, const std::optional<double> &now)
{
    QStringList parts;
    if (last)
        parts.append(QStringLiteral("dernière fois %1, %2")
                         .arg(runwords::Duration(last->seconds), runwords::Capacity(last->milliampereHours)));
    if (now && nominal > 0)
        parts.append(QStringLiteral("maintenant ") + Share(*now, nominal));
    else if (last && nominal > 0)
        parts.append(Share(last->milliampereHours, nominal));
    return parts.join(QStringLiteral(" · "));
}
} // namespace words
