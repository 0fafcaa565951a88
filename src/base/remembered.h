// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "drive.h"

#include <QSettings>
#include <QWidget>

/// What is remembered of a window from one start of the program to the next, in a file of the drive's folder. On a disk
/// that takes nothing more it holds until the program ends.
class Remembered : public QSettings
{
public:
    explicit Remembered(const QWidget &window) : QSettings(drive::SettingsFile(), QSettings::IniFormat)
    {
        beginGroup(window.objectName());
    }
};
