// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QSpinBox>

/// The controls of "Sécurités" of a window, by their names.
class LimitBoxes
{
public:
    explicit LimitBoxes(QWidget &window) : window_(window) {}

    /// Ticks a limit and sets it, as a user does.
    void Limit(const char *name, int value)
    {
        Tick(name)->setChecked(true);
        Spin(name)->setValue(value);
    }
    QCheckBox *Tick(const char *name)
    {
        return window_.findChild<QCheckBox *>(QLatin1String(name) + QStringLiteral("Active"));
    }
    QSpinBox *Spin(const char *name) { return window_.findChild<QSpinBox *>(QLatin1String(name)); }
    /// What the window says in red about limits that cannot watch; empty while nothing is in sight.
    QString Blindness()
    {
        const auto *label = window_.findChild<QLabel *>(QStringLiteral("blindness"));
        return label->isVisible() ? label->text() : QString();
    }

private:
    QWidget &window_;
};

inline const char *const temperatureMax = "temperatureMax";
inline const char *const dureeMax = "dureeMax";
inline const char *const capaciteMax = "capaciteMax";
