#pragma once

#include "base/interrupt.h"
#include "mescapa.h"

#include <QTimer>

/// What a capacity measurement that nobody watches is set to.
struct CapacityOrder
{
    int cells = 0;
    int cycles = 1;
    double chargeAmperes = 0;
    double dischargeAmperes = 0;
    int every = 1; ///< a line of progress is printed every so many ticks
};

/// "--run capacity": works the capacity window's controls as a user would, prints the phases and the progress on
/// standard output and ends the program: status 0 when the last cycle is over, 1 after an error, 130 after an
/// interrupt, which presses "Arret" first.
class UnattendedCapacity : public QObject
{
    Q_OBJECT

public:
    UnattendedCapacity(Codebas &link, MesCapa &window, CapacityOrder order);

    /// The window is open and the board connected: sets it and presses "Demarrage".
    void Begin();

private:
    void Next();
    bool SetCurrent(const QString &slider, const QString &what, double amperes, int scale);
    void PrintState(const QString &text);
    void Print(const CapacityRecord &record);
    void Interrupted();

    Codebas &link_;
    MesCapa &window_;
    CapacityOrder order_;
    Interrupt interrupt_;
    QTimer giveUp_;
    bool begun_ = false;
    int settingsMade_ = 0;
    bool started_ = false;
    bool counting_ = false; ///< a pause's countdown is on
    int records_ = 0;
};
