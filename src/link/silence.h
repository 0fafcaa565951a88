// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "exchanges.h"

#include <QObject>

/// A board that was told or asked something and has said nothing for ten seconds, whoever it was: a greeting, an
/// exchange that has heard the beginning of its answer. Like all times of the wire these seconds are not scaled.
class Silence : public QObject
{
    Q_OBJECT

public:
    static constexpr auto limit = 10s;

    /// What is to be looked at while a board is silent, for the user.
    static inline const QString advice =
        QStringLiteral("La carte ne répond pas : vérifiez le câble, l'alimentation de la carte, le port choisi "
                       "et la vitesse (9600 bauds).");

    Silence(const Com &com, const Exchanges &line);

    /// From the tenth second to the board's next byte, or until the port is closed or lost.
    bool Lasts() const { return lasts_; }

Q_SIGNALS:
    void Changed(bool lasts);

private:
    void Set(bool lasts);

    bool lasts_ = false;
    Alarm alarm_{[this] { Set(true); }};
};
