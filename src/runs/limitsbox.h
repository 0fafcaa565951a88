// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "limits.h"
#include "link/quantity.h"

#include <QGroupBox>

#include <array>
#include <optional>
#include <vector>

class QCheckBox;
class QLabel;
class QSpinBox;

/// "Sécurités": where the user limits the runs of a window. Each limit is off until it is ticked; what he enters is
/// remembered, in a file of the drive's folder, and holds at once.
class LimitsBox : public QGroupBox
{
    Q_OBJECT

public:
    explicit LimitsBox(QWidget *parent);

    /// What the limits need to know whether they can watch: the session's calibration and the window's currents.
    void Watch(const Codebas &link, std::vector<const Quantity *> currents);

    /// Shows what is remembered of this window.
    void Recall();
    /// Shows limits that are not remembered.
    void Show(const Limits &limits);

    /// The first limit that is reached, in words; empty while none is. The temperature is not looked at while the board
    /// is not calibrated for it.
    QString Reached(double temperature, double seconds, double milliampereHours);

    /// Which limits cannot watch and why; empty if all can. Shown in red as well.
    QString Blindness() const;

private:
    struct Row
    {
        QString key;
        QCheckBox *ticked;
        QSpinBox *limit;

        std::optional<int> Value() const;
        void Set(std::optional<int> value);
        void Explain(const QString &tip) const;
    };

    Row MakeRow(int column, const QString &key, const QString &caption, const QString &unit,
                const Limits::Range &range);
    void Remember(const Row &row) const;
    void ShowBlindness();
    void TakeTyped();

    const Codebas *link_ = nullptr;
    std::vector<const Quantity *> currents_;
    std::array<Row, 3> rows_;
    QLabel *blindness_ = nullptr;
    Alarm typed_{[this] { TakeTyped(); }};
};
