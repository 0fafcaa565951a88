// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QByteArrayList>

#include <array>

/// The external EEPROMs in memory, and their files. Everything is bytes; shown as text they are Latin-1.
constexpr int EepromSize = 4096; ///< bytes of one

/// Entry i stands for the 16 bytes from address 16 × i; the last one is beyond the end.
using EepromTable = std::array<QByteArray, EepromSize / 16 + 1>;

/// EEPROM 1: 256 lines of 16 characters.
class Image
{
public:
    /// "mesg " and a number in each entry.
    Image();

    /// What the 4096 bytes of the EEPROM say.
    void Read(const QByteArray &memory);

    /// The 4096 bytes to be written; short entries are filled with blanks.
    QByteArray Memory() const;

    /// As a file: an entry a line. Load() gives the number of entries that the file lacks.
    QByteArray Save() const;
    int Load(const QByteArray &content);

    const EepromTable &Entries() const { return entries_; }

private:
    EepromTable entries_;
};

/// EEPROM 2: a header, then 127 battery types; type n has its name in entry 2n and its parameter text in entry 2n + 1.
class Profiles
{
public:
    static constexpr int count = 127;

    Profiles();

    /// What the 4096 bytes of the EEPROM say.
    void Read(const QByteArray &memory);

    /// The first three characters of the EEPROM.
    QByteArray Header() const { return entries_[0].left(headerLength); }
    void SetHeader(const QByteArray &header) { entries_[0] = header; }

    /// `number` is 1 to 127.
    const QByteArray &Name(int number) const { return entries_[NameEntry(number)]; }
    const QByteArray &Text(int number) const { return entries_[NameEntry(number) + 1]; }
    void Set(int number, const QByteArray &name, const QByteArray &text);

    /// Whether this type is still as it was read.
    bool AsRead(int number) const { return !records_[static_cast<size_t>(number)].isEmpty(); }

    /// The three bytes to be written at address 0 and all that are to be written from `recordsAddress` on. A type that
    /// is still as it was read gives the bytes that were read. Throws as profile::ParameterBlock does.
    QByteArray HeaderMemory() const { return entries_[0].leftJustified(headerLength, ' ', true); }
    QByteArray RecordsMemory() const;
    static constexpr int recordsAddress = 32;

    /// As a file: the header twice, then all names and parameter texts. Load() takes one header line too and gives the
    /// number of entries that the file lacks.
    QByteArray Save() const;
    int Load(const QByteArray &content);

    const EepromTable &Entries() const { return entries_; }

private:
    static constexpr int headerLength = 3;
    static constexpr size_t NameEntry(int number) { return 2 * static_cast<size_t>(number); }
    QByteArray Record(int number) const;

    EepromTable entries_;
    std::array<QByteArray, count + 1> records_; ///< as read, by number; empty once the type was set
};
