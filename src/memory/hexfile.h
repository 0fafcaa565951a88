// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/errors.h"

#include <QByteArray>
#include <QString>

#include <array>

/// Intel HEX files, as the two microcontrollers' program memories take them. A file is read and checked whole before
/// anything is done with it. The two readers differ on purpose: the slave's memory is counted in words, and every
/// record of its files is data; the master's is counted in bytes, and the high half of its files' addresses decides
/// what is for its flash.
namespace hexfile {
/// A file that must not be used; says why and, where one line is to blame, which.
class Refused : public Error
{
public:
    explicit Refused(const QString &reason) : Error(QStringLiteral("Fichier HEX refusé : %1.").arg(reason)) {}
    Refused(int line, const QString &reason)
        : Error(QStringLiteral("Fichier HEX refusé, ligne %1 : %2.").arg(QString::number(line), reason))
    {
    }
};

/// What does not keep a file from being used, but is told before it is. Lines count from 1; 0 is none.
struct Remarks
{
    int wrongChecksums = 0;
    int firstWrongChecksum = 0;
    int addressRecords = 0; ///< records of another type than 00, as extended addresses are, that were taken as data
    int firstAddressRecord = 0;

    /// One line of French text for each kind of remark, nothing when there is none.
    QString Text() const;
};

constexpr qint64 largestFile = 16 << 20; ///< no HEX file is as large

constexpr int slaveWords = 8192;
constexpr quint16 erasedWord = 16383; ///< a word of the slave's flash has 14 bits
constexpr int masterBytes = 32768;
constexpr quint8 erasedByte = 255;

/// What the slave's flash should hold.
struct SlaveFile
{
    std::array<quint16, slaveWords> words; ///< erasedWord where the file says nothing
    int lastAddress = 0;                   ///< the highest word address in the file + 1
    Remarks remarks;
};

/// What the master's flash should hold.
struct MasterFile
{
    std::array<quint8, masterBytes> bytes; ///< erasedByte where the file says nothing
    Remarks remarks;
};

/// The value of two hexadecimal digits, 0 to 9 and A to F; -1 when one of them is none.
int HexToByte(char first, char last);

/// Throws Refused for a malformed record or a file without data, Overflow for a word of 32768 or more. Words from
/// slaveWords on are left out.
SlaveFile ReadHexSlave(QByteArrayView file);

/// Throws Refused for a malformed record or data from masterBytes on. Only data below a record of type 04 with 0000 is
/// taken.
MasterFile ReadHexMaster(QByteArrayView file);
} // namespace hexfile
