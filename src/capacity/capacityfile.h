// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/textfile.h"

#include <QDateTime>

/// What a capacity measurement knows at a tick.
struct CapacityRecord
{
    int Phase = 1;       ///< 1 charge, 2 discharge
    double ElapsedS = 0; ///< seconds since the phase began
    int VBatCount = 0;
    double VBattery = 0; ///< volts
    double VCell = 0;    ///< volts per cell
    int VDeltaCount = 0;
    double ICharge = 0; ///< amperes
    double IDischarge = 0;
    double TotalCharge = 0; ///< ampere-seconds
    double TotalDischarge = 0;
    double Temperature = 0; ///< whole degrees
    int Resistance = 0;     ///< milliohms
};

/// The result file of a capacity measurement: colon-separated, one line a tick of its last cycle.
class CapacityFile
{
public:
    /// The name of a file that is opened at `now`.
    static QString Name(const QDateTime &now);

    /// Makes "log" of the drive the current folder (and makes that folder when there is none), opens the file in it,
    /// replacing one of the same name, and writes its header and an empty line. Throws FileError.
    CapacityFile();

    /// All throw FileError.
    void Write(const CapacityRecord &record);
    void EndDischarge();
    void EndRun();

    QString Path() const { return file_.Path(); }

    static inline const QString header = QStringLiteral("DUREE:TEMPER:"
                                                        "ICHRG:IDECHRG:TOTALCHARGE:TOTALDECHARGE:"
                                                        "VBAT:VUNIT:VDELTA:RESISTANCE:TEMPS");
    /// What a line begins with that stands at the end of the discharge, and at that of the run.
    static constexpr char dischargeEnd = '*';
    static constexpr char runEnd = '=';

private:
    TextFile file_;
};
