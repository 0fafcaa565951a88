// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "chargeur.h"
#include "dechargeur.h"
#include "unattended.h"

#include <optional>

/// What a charge that nobody watches is set to.
struct ChargeOrder
{
    std::optional<double> amperes; ///< the board's own setting is kept without it
    int mode = 0;
};

/// What a discharge that nobody watches is set to.
struct DischargeOrder
{
    int cells = 0;
    double amperes = 0;
};

/// What both unattended runs do: a line for every `every`th record, and a summary at the end.
class UnattendedRun : public Unattended
{
    Q_OBJECT

protected:
    UnattendedRun(RunWindow &window, const QString &endText, int every);
    virtual QString Indicator(const RunRecord &record) const = 0;

    /// Sets the current of the run; false when the board cannot.
    bool SetRunCurrent(const QString &what, double amperes, int scale);

private:
    void PrintRecord(const RunRecord &record);

    RunWindow &window_;
    int every_;
    int records_ = 0;
    double milliampereHours_ = 0;
};

/// "--run charge".
class UnattendedCharge : public UnattendedRun
{
    Q_OBJECT

public:
    UnattendedCharge(const Codebas &link, Chargeur &window, ChargeOrder order, int every);

    void SetControls() override;

private:
    QString Indicator(const RunRecord &record) const override;

    const Codebas &link_;
    ChargeOrder order_;
};

/// "--run discharge".
class UnattendedDischarge : public UnattendedRun
{
    Q_OBJECT

public:
    UnattendedDischarge(const Codebas &link, Dechargeur &window, DischargeOrder order, int every);

    void SetControls() override;

private:
    QString Indicator(const RunRecord &record) const override;

    const Codebas &link_;
    DischargeOrder order_;
};
