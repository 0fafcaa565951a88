// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QObject>
#include <QString>

#include <limits>
#include <optional>

/// What a run has measured at one moment.
struct RunPoint
{
    double seconds = 0; ///< since the run began, by this program's clock: the board's begins anew at midnight
    double volts = 0;
    double amperes = 0;                                            ///< into the battery; a discharge's is negative
    double milliampereHours = 0;                                   ///< as its window shows them, of the phase at hand
    double temperature = std::numeric_limits<double>::quiet_NaN(); ///< of the board in °C; none while not calibrated
    std::optional<int> delta;                                      ///< the count of the delta channel, of a charge
    std::optional<int> deltaPeak;                                  ///< its highest one
    bool currentKnown = true; ///< the board is calibrated for the current; else it counts as none
    int resistance = 0;       ///< milliohms, 0 while it has not been measured
};

/// How a run has ended.
struct RunEnd
{
    enum class How
    {
        Rule,    ///< as it was to
        Stop,    ///< its user's "Arret"
        Cause,   ///< a limit, sleep, a signal, the guard: `why`
        Error,   ///< `why`
        Left,    ///< its window was closed
        Restart, ///< another start has taken its place
    };
    How how = How::Rule;
    QString why;
};

/// What a run tells whoever follows it: its curve, the logbook, the title bar.
class RunNews : public QObject
{
    Q_OBJECT

public:
    enum class Kind
    {
        Charge,
        Discharge,
        Capacity
    };
    explicit RunNews(Kind kind) : kind_(kind) {}

    Kind What() const { return kind_; }
    /// Between its beginning and its end.
    bool On() const { return clock_.has_value(); }
    /// Seconds since the run at hand, or the last one, began.
    double Seconds() const;
    /// Where the log of the run at hand, or of the last one, is; empty while there is none.
    const QString &Log() const { return log_; }
    /// What the run at hand, or the last one, is set to, in words.
    const QString &Settings() const { return settings_; }

    void Begin(const QString &settings);
    // All others do nothing while no run is on.
    void SetLog(const QString &path);
    /// A phase of this name begins; only a capacity measurement has several.
    void BeginPhase(const QString &name);
    /// The seconds are filled in.
    void Tell(RunPoint point);
    void End(RunEnd::How how, const QString &why = {});

Q_SIGNALS:
    void Began();
    /// The log is elsewhere, or there is one now.
    void LogMoved();
    void PhaseBegan(const QString &name);
    void Measured(const RunPoint &point);
    void Over(const RunEnd &end);

private:
    const Kind kind_;
    std::optional<Stopwatch> clock_;
    double lasted_ = 0;
    QString log_, settings_;
};
