// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitorlog.h"

#include "base/clock.h"
#include "base/number.h"
#include "runs/runlog.h"

#include <QDir>

MonitorLog::MonitorLog(const QString &folder)
    : file_(QDir(folder).filePath(RunLog::Name(prefix, Clock::Current().LocalTime())))
{
    file_.WriteLine(header);
}

void MonitorLog::Append(QString &line, const stream::Field &field)
{
    switch (field.column) {
    case stream::Column::Prompt:
        line += QChar(static_cast<ushort>(field.value));
        break;
    case stream::Column::Equals:
        line += u'=';
        break;
    default:
        line += number::FileText(field.value);
        break;
    }
    if (field.column != stream::Column::Maxidv)
        line += u',';
}
