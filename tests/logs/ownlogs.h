// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/drive.h"
#include "capacity/capacityfile.h"
#include "monitor/monitorlog.h"
#include "runs/runlog.h"

#include <QDir>
#include <QLocale>
#include <QTemporaryDir>
#include <QtTest>

/// A folder with logs that the program's own writers have made, in the language of the user.
struct OwnLogs
{
    explicit OwnLogs(const QLocale &locale = QLocale::c())
    {
        QLocale::setDefault(locale);
        QDir::setCurrent(folder.path());
        drive::SetRoot(folder.path());
    }
    ~OwnLogs()
    {
        QDir::setCurrent(QStringLiteral("/"));
        QLocale::setDefault(QLocale::c());
    }

    static void Charged(RunLog &log, int second)
    {
        log.Write({double(second), 800, 900, 10, 13.65, 2, 0, 25, 300, 512, 700, 1.5, 5.25, 710, double(second / 2),
                   second / 86400.0});
    }
    static QString Charge(int records = 3)
    {
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        for (int second = 1; second <= records; ++second)
            Charged(log, second);
        return log.Path();
    }
    static QString Discharge()
    {
        RunLog log(RunLog::dischargePrefix, RunLog::dischargeHeader);
        for (const double second : {1, 2})
            log.Write({second, 800, 900, 512, 13.65, 20.5, 25, 400, 600, 2.5, 5.25, 100 * second, second / 86400});
        return log.Path();
    }
    static QString Capacity()
    {
        CapacityFile log;
        CapacityRecord record;
        record.Phase = 2;
        record.Temperature = 25;
        record.ICharge = 1.5;
        record.IDischarge = 2;
        record.VBattery = 7.25;
        record.VCell = 1.2;
        record.ElapsedS = 2;
        record.TotalDischarge = 3600;
        log.Write(record);
        log.EndDischarge();
        record.TotalCharge = 1800;
        log.Write(record);
        log.EndRun();
        return log.Path();
    }
    static QString Monitor()
    {
        MonitorLog log(QDir::currentPath());
        QString line;
        for (int column = 0; column < stream::columns; ++column)
            MonitorLog::Append(line, {static_cast<stream::Column>(column), 100 + column});
        log.WriteLine(line);
        return log.Path();
    }

    QTemporaryDir folder;
};

/// For the tables of tests that are to hold in both.
inline void BothLocales()
{
    QTest::addColumn<QLocale>("locale");
    QTest::newRow("point") << QLocale::c();
    QTest::newRow("comma") << QLocale(QLocale::French, QLocale::France);
}
