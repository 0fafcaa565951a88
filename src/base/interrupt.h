#pragma once

#include <QObject>

/// Tells of the interrupt signal (Ctrl-C) in the event loop instead of ending the program by it.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    /// One at a time.
    Interrupt();
    ~Interrupt() override;

Q_SIGNALS:
    void Received();
};
