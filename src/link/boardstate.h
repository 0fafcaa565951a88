// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "codebas.h"

#include <optional>

/// What the board does, as far as the program has told it or heard from it. It asks nothing: it goes by the lines that
/// somebody has switched or read, by the currents that somebody has read, and by the session.
class BoardState : public QObject
{
    Q_OBJECT

public:
    enum class Doing
    {
        Unknown, ///< nobody has switched or read its lines since it was out of sight
        Rest,
        Charge,
        Discharge,
        Both,
        Stream ///< it goes on by itself
    };

    explicit BoardState(const Codebas &link);

    Doing What() const { return what_; }
    /// Whether that was so when the board was heard last: the port is closed or lost, or the board silent.
    bool IsPast() const;

    /// In French: "repos", "charge 1,92 A", "décharge 0,98 A", "émission", "inconnu".
    QString Text() const;

Q_SIGNALS:
    void Changed();

private:
    Doing Look() const;
    void LookLater();
    void LookNow();
    void Answered(const Question &question, const QByteArray &data);

    const Codebas &link_;
    Doing what_ = Doing::Unknown;
    std::optional<double> charge_, discharge_; ///< amperes, as they were read since it does that
    Alarm look_{[this] { LookNow(); }};
};
