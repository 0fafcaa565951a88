// SPDX-License-Identifier: GPL-3.0-or-later
// Battery types and images: whatever an EEPROM or a file holds, it can be read, shown, written back and saved.

#include "base/errors.h"
#include "check.h"
#include "memory/eepromtable.h"
#include "memory/profile.h"

#include <QSet>
#include <QString>

#include <algorithm>

namespace {
const Image freshImage; // making one costs more than all that is tried with it
const Profiles freshTypes;

/// An EEPROM that holds these bytes over and over.
QByteArray Memory(const QByteArray &bytes)
{
    return bytes.isEmpty() ? QByteArray(EepromSize, '\xFF')
                           : bytes.repeated(EepromSize / bytes.size() + 1).first(EepromSize);
}

bool SameTypes(const Profiles &one, const Profiles &other)
{
    return one.Header() == other.Header() &&
           std::equal(one.Entries().begin() + 2, one.Entries().end() - 1, other.Entries().begin() + 2);
}

/// What a record says can be shown, and its block can be built and says the same again.
void CheckRecord(const QByteArray &name, const QByteArray &text)
{
    Check(name.size() == profile::nameLength);
    Check(text.size() == profile::textLength);
    Check(std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }));
    Check(profile::Fields::Of(text).Text() == text);
    const QByteArray block = profile::ParameterBlock(text, QString());
    Check(block.size() == profile::recordLength - profile::nameLength);
    Check(profile::ParameterText(block) == text);
}

/// Whether it is the first time for these bytes, as far as is remembered: most records of a file that was changed in a
/// few places were in the one before, and what is checked of them depends on nothing else.
bool IsNew(QSet<QByteArray> &known, const QByteArray &bytes)
{
    constexpr qsizetype most = 1 << 18;
    if (known.size() > most)
        known.clear();
    const qsizetype before = known.size();
    known.insert(bytes);
    return known.size() > before;
}

void CheckRecords(const Profiles &table)
{
    static QSet<QByteArray> known;
    for (int number = 1; number <= Profiles::count; ++number)
        if (IsNew(known, table.Name(number) + table.Text(number)))
            CheckRecord(table.Name(number), table.Text(number));
}

void CheckEeprom(const QByteArray &memory)
{
    Profiles types = freshTypes;
    types.Read(memory);
    CheckRecords(types);
    Check(types.HeaderMemory() == memory.first(3));
    Check(types.RecordsMemory() == memory.mid(Profiles::recordsAddress));
    Profiles loaded = freshTypes;
    Check(loaded.Load(types.Save()) == 0);
    Check(SameTypes(loaded, types));

    Image image = freshImage;
    image.Read(memory);
    Check(image.Memory() == memory);
    Image loadedImage = freshImage;
    Check(loadedImage.Load(image.Save()) == 0);
    Check(loadedImage.Memory() == memory);
}

/// A file is read without complaint; its types are written whole or, for a number or a sign that does not fit, not.
void CheckFile(const QByteArray &content)
{
    Profiles types = freshTypes;
    const int missing = types.Load(content);
    Check(missing >= 0 && missing <= 2 * Profiles::count + 1);
    try {
        const QByteArray memory = types.RecordsMemory();
        Check(memory.size() == Profiles::count * profile::recordLength);
        Profiles written = freshTypes;
        written.Read(QByteArray(Profiles::recordsAddress, ' ') + memory);
        CheckRecords(written);
    } catch (const Overflow &error) {
        Check(error.Text().contains(QStringLiteral("profil ")));
    } catch (const TypeMismatch &error) {
        Check(error.Text().contains(QStringLiteral("profil ")));
    }
    static QSet<QByteArray> known;
    for (int number = 1; number <= Profiles::count; ++number) {
        Check(types.Name(number).size() <= profile::nameLength);
        if (IsNew(known, types.Text(number)))
            Check(profile::Fields::Of(types.Text(number)).Text().size() == profile::textLength);
    }

    Image image = freshImage;
    image.Load(content);
    Check(image.Memory().size() == EepromSize);
    Image again = freshImage;
    again.Read(image.Memory());
    Check(again.Memory() == image.Memory());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    CheckEeprom(Memory(bytes));
    CheckFile(bytes);
    return 0;
}
