#pragma once

#include "base/handlers.h"
#include "link/codebas.h"

#include <QTimer>

#include <deque>
#include <vector>

/// The register writes with which the calibration windows set the board's switches when they open and leave. They go
/// out in the order in which they were asked for, whichever window asks: what a window leaves behind never follows what
/// the next one sets up. Each goes out once the one before it is answered or the board has been silent for a while, so
/// that a lost answer holds up no switching off.
class Switching : public QObject
{
    Q_OBJECT

public:
    /// `failed` is told what the writes throw.
    Switching(Codebas &link, Handlers::Failed failed);

    struct Register
    {
        quint8 number;
        quint8 value;
    };
    using Writes = std::vector<Register>;

    /// Asks for some writes; `done` is called once the last of them is answered.
    void Write(const Writes &writes, const std::function<void()> &done = {});

    /// Forgets what is still to be written, and sends these writes without waiting for anything.
    void Override(const Writes &writes);

private:
    struct Step
    {
        Register write;
        std::function<void()> done;
    };
    void Next();
    Task<void> Do(Step step, int number);

    Codebas &link_;
    std::deque<Step> steps_;
    int begun_ = 0;
    bool busy_ = false;
    QTimer silent_;
    Handlers handlers_;
};
