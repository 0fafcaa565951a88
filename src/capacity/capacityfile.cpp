// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacityfile.h"

#include "base/clock.h"
#include "base/drive.h"
#include "base/errors.h"
#include "base/number.h"
#include "runs/runlog.h"

#include <QDir>
#include <QStringList>

namespace {
/// The current folder becomes that of the result files; gives the path of the file.
QString EnterFolder(const QString &name)
{
    const QString folder = drive::Folder(QStringLiteral("log"));
    if (!QDir::setCurrent(folder)) {
        if (!QDir().mkpath(folder) || !QDir::setCurrent(folder))
            throw FileError(folder, QStringLiteral("le dossier ne peut pas être créé"));
    }
    return QDir::current().absoluteFilePath(name);
}
} // namespace

QString CapacityFile::Name(const QDateTime &now)
{
    return RunLog::Name(QStringLiteral("Capa_Bat"), now);
}

CapacityFile::CapacityFile() : file_(EnterFolder(Name(Clock::Current().LocalTime())))
{
    file_.WriteLine(header);
    file_.WriteLine(QString());
}

void CapacityFile::Write(const CapacityRecord &record)
{
    QStringList texts;
    for (const double field : {record.ElapsedS, record.Temperature, record.ICharge, record.IDischarge,
                               record.TotalCharge, record.TotalDischarge, record.VBattery, record.VCell,
                               double(record.VDeltaCount), double(record.Resistance), record.ElapsedS / 86400})
        texts.append(number::ShortestFileText(field));
    file_.WriteLine(texts.join(u':'));
}

void CapacityFile::EndDischarge()
{
    file_.WriteLine(QStringLiteral("*********:**********:*************:*********"
                                   "*********************************************"));
}

void CapacityFile::EndRun()
{
    file_.WriteLine(QStringLiteral("=========:==========:=============:========:"
                                   "============================================="));
}
