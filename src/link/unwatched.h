// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "codebas.h"

#include <optional>

/// What flows on the board although nobody is there to end it: a charge that the user has left, lines that were
/// switched by hand or that a window has left behind, what a program of before has not ended. It goes by the lines as
/// they were switched or read last.
class Unwatched : public QObject
{
    Q_OBJECT

public:
    explicit Unwatched(Codebas &link);

    bool Charges() const;
    bool Discharges() const;

    /// What the user is told of something that flows: "décharge".
    static QString Warning(const QString &what);
    /// What it is, for the user; empty while nothing flows unwatched.
    QString Text() const;

    /// Something may have been left on that this program does not know of: it finds out at the next connection.
    void Suspect() { suspected_ = true; }

    /// For a connection that was made just now: reads the lines and the currents, if there is reason to believe that
    /// something is on. Throws PortClosed, Overflow.
    Task<void> FindOut();

    /// Switches all of that off as "Arret" does, and sees that it is. Throws PortClosed; then it is done as soon as the
    /// port is open.
    Task<void> Cut();

Q_SIGNALS:
    void Changed();

private:
    void Look();
    bool IsWatched(quint8 line) const;
    Task<std::optional<double>> Amperes(quint8 channel, bool (*calibrated)(const Codebas &),
                                        double (*convert)(const Codebas &, int));

    Codebas &link_;
    bool suspected_ = false;
    std::optional<double> chargeAmperes_;
    std::optional<double> dischargeAmperes_;
    QString text_; ///< as it was told last
    Alarm look_{[this] { Look(); }};
};
