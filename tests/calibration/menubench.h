// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "calibration/reglage.h"
#include "calibrationbench.h"

/// The entries of the calibration menu.
enum Entry
{
    Temperature,
    Battery,
    Supplies,
    Charge,
    Discharge,
    Lithium
};
inline const char *const entryNames[] = {"Temper", "Vout", "Vfiltrage", "Rcourant", "RglDech", "RegLIPO"};

inline const QByteArray voutOpening = Bytes({27, 17, 1, 27, 16, 1, 27, 15, 0, 27, 18, 1});
inline const QByteArray chargeOpening = Bytes({27, 15, 1, 27, 17, 1});
inline const QByteArray chargeLeaving = Bytes({27, 15, 0, 27, 17, 0});
inline const QByteArray dischargeOpening = Bytes({27, 17, 0, 27, 16, 1, 27, 18, 1});
inline const QByteArray dischargeLeaving = Bytes({27, 16, 0});
inline const QByteArray lithiumOpening = Bytes({27, 17, 0, 27, 16, 1, 27, 15, 0, 27, 18, 1});

/// The calibration menu and its windows on a scripted board.
struct MenuBench : CalibrationBench<Reglage>
{
    QComboBox *List() { return Find<QComboBox>("SelRegl"); }
    static CalibrationWindow *WindowOf(int entry)
    {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (widget->objectName() == QLatin1String(entryNames[entry]))
                return qobject_cast<CalibrationWindow *>(widget);
        return nullptr;
    }
};
