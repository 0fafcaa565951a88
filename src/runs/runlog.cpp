// SPDX-License-Identifier: GPL-3.0-or-later
#include "runlog.h"

#include "base/clock.h"
#include "base/number.h"

#include <QLocale>

QString RunLog::Name(const QString &prefix, const QDateTime &now)
{
    return QLocale::c().toString(now, QStringLiteral("'%1_D'MM_dd_yy'T'HH_mm'.txt'").arg(prefix));
}

RunLog::RunLog(const QString &prefix, const QString &header) : file_(Name(prefix, Clock::Current().LocalTime()))
{
    file_.WriteLine(header);
    file_.WriteLine(QString());
}

void RunLog::Write(std::initializer_list<double> fields)
{
    QStringList texts;
    for (const double field : fields)
        texts.append(number::FileText(field));
    file_.WriteLine(texts.join(u':'));
}
