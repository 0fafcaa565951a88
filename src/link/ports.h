// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <vector>

#include <sys/types.h>

class QSerialPortInfo;

/// The serial ports of the machine, without opening any of them.
namespace ports {
/// Another folder for the devices than "/dev".
void SetFolder(const QString &folder);
const QString &Folder();

/// The path of a port: a path, or a name in that folder.
QString PathOf(const QString &name);

struct Found
{
    QString name;        ///< in the folder
    QString description; ///< of the adapter and who made it; may be empty
    QString serial;      ///< serial number; may be empty
    QString adapter;     ///< tells one USB adapter from another, see AdapterOf

    bool operator==(const Found &) const = default;
    /// For the user, in one line.
    QString Text() const;
};

/// Those of the folder, by name: the system's, and pseudo-terminals that have a name there.
std::vector<Found> List();

/// Vendor, product and serial number on the USB; empty for what is no USB adapter.
QString AdapterOf(const QSerialPortInfo &info);

bool IsPseudoTerminal(dev_t device);

/// The device number behind a path; 0 when there is none.
dev_t DeviceOf(const QString &path);

/// The programs that have a device open, as far as the system lets this one see: "minicom (processus 1234)".
QString HoldersOf(const QString &path);
} // namespace ports
