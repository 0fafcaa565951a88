// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/textfile.h"

#include <QDateTime>
#include <QStringList>

#include <initializer_list>

/// The text log of a run: colon-separated, one record a step.
class RunLog
{
public:
    /// The name of a log that is opened at `now`: prefix "_D" month "_" day "_" year "T" hour "_" minute ".txt".
    static QString Name(const QString &prefix, const QDateTime &now);

    /// Opens the log in the current folder, replacing one of the same name, and writes its header and an empty line.
    /// Throws FileError.
    RunLog(const QString &prefix, const QString &header);

    /// Writes one record; throws FileError.
    void Write(std::initializer_list<double> fields);

    QString Path() const { return file_.Path(); }

    static inline const QString chargePrefix = QStringLiteral("St_CH");
    static inline const QString chargeHeader =
        QStringLiteral("DUREE:VALIMCAD:VDBLCAD:DVaverage:VALIM:DVFLAG:CDVDT:TEMPER:"
                       "ICHRGCAD:VBATCAD:VDELTACAD:ICHRG:VBAT:VDELTA:"
                       "CAPACITE:TEMPS");
    static inline const QString dischargePrefix = QStringLiteral("S_DCH");
    static inline const QString dischargeHeader = QStringLiteral("DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:"
                                                                 "IDCHRGCAD:VDELTACAD:ICHRG:VBAT:"
                                                                 "CAPACITE:TEMPS");

private:
    TextFile file_;
};
