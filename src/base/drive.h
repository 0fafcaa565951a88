// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// Where the folders of "C:\" lie: the real drive on Windows, elsewhere a folder with lower-case names.
namespace drive {
/// Another place for the folder that stands for "C:\" than the default, Voltaire in the user's home.
void SetRoot(const QString &folder);

QString Root();

/// The path of a folder of the drive, for example Folder("temp").
QString Folder(const QString &name);

/// The file in which the program keeps what its user has set.
QString SettingsFile();

/// Makes the drive's folder and its "temp"; throws FileError.
void Prepare();
} // namespace drive
