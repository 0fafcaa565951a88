#pragma once

#include "link/codebas.h"

#include <QTimer>

/// Watches over a run whose end only this program sees. A byte that is lost on the wire would hold up for ever whoever
/// waits for it: when the board has been silent for forty times the line's patience (ten seconds) in the middle of an
/// exchange, it is asked again from the escape byte.
class Watchdog
{
public:
    explicit Watchdog(Codebas &link);

    /// A run begins or goes on: to be called at least once in that time.
    void Watch();
    /// The run is over.
    void Rest() { silent_.stop(); }

private:
    Codebas &link_;
    QTimer silent_;
};
