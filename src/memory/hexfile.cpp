// SPDX-License-Identifier: GPL-3.0-or-later
#include "hexfile.h"

#include <QStringList>

#include <algorithm>
#include <span>

namespace hexfile {
namespace {
// Where the fields of a record begin; its first character is the colon.
constexpr qsizetype countAt = 1;
constexpr qsizetype addressAt = 3;
constexpr qsizetype typeAt = 7;
constexpr qsizetype dataAt = 9;

constexpr std::array<qint8, 256> MakeDigits()
{
    std::array<qint8, 256> digits{};
    digits.fill(-1);
    for (int value = 0; value < 16; ++value)
        digits[static_cast<quint8>("0123456789ABCDEF"[value])] = static_cast<qint8>(value);
    return digits;
}
constexpr std::array<qint8, 256> digits = MakeDigits();

/// The lines of a file one by one, whichever way they are ended.
class Lines
{
public:
    explicit Lines(QByteArrayView file) : rest_(file) {}

    bool Next()
    {
        if (rest_.isEmpty())
            return false;
        const auto end = std::ranges::find_if(rest_, [](char c) { return c == '\n' || c == '\r'; });
        line_ = rest_.first(end - rest_.begin());
        rest_ = rest_.sliced(line_.size());
        rest_ = rest_.sliced(rest_.startsWith("\r\n") ? 2 : std::min<qsizetype>(1, rest_.size()));
        ++number_;
        return true;
    }
    QByteArrayView Line() const { return line_; }
    int Number() const { return number_; }

private:
    QByteArrayView rest_;
    QByteArrayView line_;
    int number_ = 0;
};

/// The records of a file up to its end record, each with all its digits checked.
class Records
{
public:
    explicit Records(QByteArrayView file) : lines_(file) {}

    bool Next()
    {
        while (lines_.Next()) {
            const QByteArrayView line = lines_.Line();
            if (!line.startsWith(':'))
                continue;
            if (line.size() >= dataAt && line.sliced(typeAt, 2) == "01")
                return false;
            Check(line);
            return true;
        }
        return false;
    }

    int Line() const { return lines_.Number(); }
    /// Its characters from the colon on.
    QByteArrayView Text() const { return lines_.Line(); }
    int Count() const { return bytes_[0]; }
    int Address() const { return bytes_[1] << 8 | bytes_[2]; }
    int Type() const { return bytes_[3]; }
    std::span<const quint8> Data() const { return std::span(bytes_).subspan(4, bytes_[0]); }
    bool ChecksumRight() const { return checksumRight_; }

    [[noreturn]] void Refuse(const QString &reason) const { throw Refused(Line(), reason); }
    void RefuseOddCount() const
    {
        if (Count() % 2 != 0)
            Refuse(QStringLiteral("nombre d'octets impair"));
    }

private:
    void Check(QByteArrayView line)
    {
        const int count = line.size() < addressAt ? 0 : std::max(0, HexToByte(line[countAt], line[countAt + 1]));
        const qsizetype length = dataAt + 2 * qsizetype(count);
        const bool hasChecksum = line.size() >= length + 2;
        const QByteArrayView fields = line.first(std::min(line.size(), hasChecksum ? length + 2 : length));
        quint8 sum = 0;
        int wrong = 0; // negative once a digit was none
        size_t byte = 0;
        for (qsizetype i = countAt; i + 1 < fields.size(); i += 2) {
            const qint8 first = digits[static_cast<quint8>(fields[i])];
            const qint8 last = digits[static_cast<quint8>(fields[i + 1])];
            wrong |= first | last;
            bytes_[byte] = static_cast<quint8>(first << 4 | last);
            sum = static_cast<quint8>(sum + bytes_[byte++]);
        }
        if (fields.size() % 2 == 0)
            wrong |= digits[static_cast<quint8>(fields.back())];
        if (wrong < 0)
            Refuse(QStringLiteral("caractère qui n'est pas un chiffre hexadécimal (0 à 9, A à F)"));
        if (line.size() < length)
            Refuse(QStringLiteral("moins de caractères que l'enregistrement n'en annonce"));
        checksumRight_ = hasChecksum && sum == 0;
    }

    Lines lines_;
    std::array<quint8, 4 + 255 + 1> bytes_{};
    bool checksumRight_ = false;
};

void Remark(int line, int &count, int &first)
{
    if (count++ == 0)
        first = line;
}

void RemarkChecksum(const Records &record, Remarks &remarks)
{
    if (!record.ChecksumRight())
        Remark(record.Line(), remarks.wrongChecksums, remarks.firstWrongChecksum);
}
} // namespace

QString Remarks::Text() const
{
    QStringList texts;
    if (wrongChecksums > 0)
        texts.append(QStringLiteral("Somme de contrôle fausse : %1 enregistrement(s), le premier à la ligne %2.")
                         .arg(wrongChecksums)
                         .arg(firstWrongChecksum));
    if (addressRecords > 0)
        texts.append(
            QStringLiteral("Adresse étendue ou autre type que 00, pris comme données : %1 enregistrement(s), le "
                           "premier à la ligne %2.")
                .arg(addressRecords)
                .arg(firstAddressRecord));
    return texts.join(u'\n');
}

int HexToByte(char first, char last)
{
    const qint8 high = digits[static_cast<quint8>(first)];
    const qint8 low = digits[static_cast<quint8>(last)];
    return high < 0 || low < 0 ? -1 : high << 4 | low;
}

SlaveFile ReadHexSlave(QByteArrayView file)
{
    SlaveFile result;
    result.words.fill(erasedWord);
    for (Records record(file); record.Next();) {
        record.RefuseOddCount();
        RemarkChecksum(record, result.remarks);
        if (record.Type() != 0)
            Remark(record.Line(), result.remarks.addressRecords, result.remarks.firstAddressRecord);
        const std::span<const quint8> data = record.Data();
        int address = record.Address() / 2;
        for (size_t i = 0; i < data.size() && address < slaveWords; i += 2) {
            const int word = data[i] | data[i + 1] << 8; // low byte first
            if (word > 32767)
                throw Overflow(QStringLiteral("mot %1 à la ligne %2 du fichier HEX").arg(word).arg(record.Line()));
            result.words[static_cast<size_t>(address++)] = static_cast<quint16>(word);
            result.lastAddress = std::max(result.lastAddress, address);
        }
    }
    if (result.lastAddress == 0)
        throw Refused(QStringLiteral("aucune donnée pour le slave"));
    return result;
}

MasterFile ReadHexMaster(QByteArrayView file)
{
    MasterFile result;
    result.bytes.fill(erasedByte);
    enum class Bank
    {
        None,
        Low,
        High
    };
    Bank bank = Bank::None;
    for (Records record(file); record.Next();) {
        RemarkChecksum(record, result.remarks);
        if (bank != Bank::High) // where configuration bytes may stand singly, which nobody writes here
            record.RefuseOddCount();
        if (record.Type() == 4)
            bank = record.Text().sliced(dataAt).startsWith("0000") ? Bank::Low : Bank::High;
        if (record.Type() != 0 || bank != Bank::Low)
            continue;
        if (record.Address() + record.Count() > masterBytes)
            record.Refuse(QStringLiteral("données au-delà de la mémoire du master"));
        std::ranges::copy(record.Data(), result.bytes.begin() + record.Address());
    }
    return result;
}
} // namespace hexfile
