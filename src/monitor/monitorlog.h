// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/textfile.h"
#include "streamrecord.h"

/// The log of the monitor: comma-separated, one line a record.
class MonitorLog
{
public:
    /// Opens the log in a folder, replacing one of the same name, and writes its header. Throws FileError.
    explicit MonitorLog(const QString &folder);

    /// Writes the line of a record; throws FileError.
    void WriteLine(const QString &line) { file_.WriteLine(line); }

    QString Path() const { return file_.Path(); }

    /// Appends a column to the line of its record.
    static void Append(QString &line, const stream::Field &field);

    static inline const QString prefix = QStringLiteral("MOni_CHrg");
    static inline const QString header = QStringLiteral("Prompt,Echantillon,Temps,=,VBat,Cour,Temper,"
                                                        "Vdelta,Resist,Capacité,Type,CDV,Valim,Vdbl,"
                                                        "Vmoy,Maxidv");

private:
    TextFile file_;
};
