// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "codebas.h"

#include <optional>

class QLabel;

/// A quantity that windows show as the converter's count and, if the board is calibrated for it, converted.
struct Quantity
{
    quint8 channel;
    bool (*calibrated)(const Codebas &link);
    double (*convert)(const Codebas &link, int count);
    QString unit; ///< behind the number, without a blank

    static const Quantity supply;
    static const Quantity doubler;
    static const Quantity temperature; ///< of the system
    static const Quantity chargeCurrent;
    static const Quantity dischargeCurrent;

    /// Shows a count and what it means; what that is, or nothing while it is not calibrated: then the label of the
    /// value keeps its text.
    std::optional<double> Show(const Codebas &link, int count, QLabel *countLabel, QLabel *valueLabel) const;
};
