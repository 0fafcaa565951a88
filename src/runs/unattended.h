#pragma once

#include "base/interrupt.h"
#include "chargeur.h"

#include <QTimer>

#include <optional>

/// What a charge that nobody watches is set to.
struct ChargeOrder
{
    std::optional<double> amperes; ///< the board's own setting is kept without it
    QString mode = QStringLiteral("0");
    int every = 1; ///< a line of progress is printed every so many records
};

/// "--run charge": works the charge window's controls as a user would, prints the progress on standard output and ends
/// the program: status 0 when the charge has ended by its rule, 130 after an interrupt, which presses "Arret" first.
class UnattendedCharge : public QObject
{
    Q_OBJECT

public:
    UnattendedCharge(Codebas &link, Chargeur &window, ChargeOrder order);

    /// The window is open and the board connected: sets it and presses "Demarrage".
    void Begin();

private:
    bool SetCurrent(double amperes);
    void Print(const RunRecord &record);
    void Interrupted();

    Codebas &link_;
    Chargeur &window_;
    ChargeOrder order_;
    Interrupt interrupt_;
    QTimer giveUp_;
    bool begun_ = false;
    int records_ = 0;
    RunRecord last_{};
};
