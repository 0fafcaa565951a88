#pragma once

#include <QTimer>

/// A timer of a window: ticks every interval while it is enabled. All of them run faster by the time scale.
class Timer : public QTimer
{
    Q_OBJECT

public:
    /// `name` is its objectName, `milliseconds` its interval; it starts disabled.
    Timer(const QString &name, int milliseconds, QObject *parent);

    /// Milliseconds between two ticks, before scaling; an enabled timer starts its interval afresh.
    void SetInterval(int milliseconds);
    void SetEnabled(bool enabled);
    bool Enabled() const { return isActive(); }

    /// How many times faster than real time every Timer runs (1 or more); set once, when the program starts.
    static void SetScale(double scale);
    static double Scale();
};
