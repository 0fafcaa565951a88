// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>

/// Writes a shell script that stands in for a program; false when that cannot be done.
inline bool WriteScript(const QString &path, const QByteArray &lines)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("#!/bin/sh\n" + lines + '\n') > 0 &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}
