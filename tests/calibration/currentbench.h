// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "calibrationbench.h"

/// A current window on a scripted board, by the names that its controls have.
template <class W>
struct CurrentBench : CalibrationBench<W>
{
    /// What the user enters: the count, the current in 10 mA, the setting.
    void Enter(const char *count, const char *measured, const char *setting)
    {
        this->Type(countBox, count);
        this->Type(measuredBox, measured);
        this->Type(settingBox, setting);
    }
    void ClickSetting() { QTest::mouseClick(this->template Find<QLineEdit>(settingBox), Qt::LeftButton); }

    /// Presses a button that ends the program; gives what was sent before the message.
    QByteArray PressFatal(const char *button)
    {
        this->template Find<QPushButton>(button)->click();
        this->clock.RunUntil([] { return !OpenBoxes().isEmpty(); });
        return this->Settled();
    }
    /// Answers the message of a fatal error; the status with which the program ends.
    static int End()
    {
        QMetaObject::invokeMethod(qApp, &AnswerBoxes, Qt::QueuedConnection);
        return QCoreApplication::exec();
    }

    const char *countBox;
    const char *measuredBox;
    const char *settingBox;
};
