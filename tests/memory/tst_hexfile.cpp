// SPDX-License-Identifier: GPL-3.0-or-later
#include "literalhex.h"
#include "memory/hexfile.h"
#include "support/suite.h"

#include <QDir>
#include <QFile>
#include <QtTest>

namespace {
const QByteArray end = ":00000001FF\r\n";
const QByteArray lowBank = ":020000040000FA\r\n";
const QByteArray highBank = ":020000040030CA\r\n";

const QString badDigit = QStringLiteral("caractère qui n'est pas un chiffre hexadécimal (0 à 9, A à F)");
const QString tooShort = QStringLiteral("moins de caractères que l'enregistrement n'en annonce");
const QString oddCount = QStringLiteral("nombre d'octets impair");
const QString noData = QStringLiteral("Fichier HEX refusé : aucune donnée pour le slave.");

/// A record without a checksum.
QByteArray Record(int address, const QByteArray &data, int type = 0)
{
    const auto hex = [](int byte) { return QByteArray::number(byte & 255, 16).rightJustified(2, '0').toUpper(); };
    return ':' + hex(static_cast<int>(data.size())) + hex(address >> 8) + hex(address) + hex(type) +
           data.toHex().toUpper() + "\r\n";
}

QString RefusalAt(int line, const QString &reason)
{
    return QStringLiteral("Fichier HEX refusé, ligne %1 : %2.").arg(QString::number(line), reason);
}

/// Why a reader refuses a file; nothing when it takes it.
template <class Read>
QString Refusal(Read read, const QByteArray &file)
{
    try {
        read(file);
    } catch (const Error &error) {
        return error.Text();
    }
    return {};
}

QString SlaveRefusal(const QByteArray &file)
{
    return Refusal(hexfile::ReadHexSlave, file);
}

QString MasterRefusal(const QByteArray &file)
{
    return Refusal(hexfile::ReadHexMaster, file);
}

QByteArray Corpus(const QString &name)
{
    QFile file(QStringLiteral(TEST_DATA "/hex/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestHexFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void HexToByte()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const QByteArray text = QByteArray(1, static_cast<char>(byte)).toHex().toUpper();
            QCOMPARE(hexfile::HexToByte(text[0], text[1]), byte);
        }
        for (const char *none : {"0a", "f0", "/0", "0:", "@0", "0G", " 0", "0 ", "-1", "\xB2\xB2"})
            QCOMPARE(hexfile::HexToByte(none[0], none[1]), -1);
    }

    // ---- the slave's files

    void SlaveWords()
    {
        const hexfile::SlaveFile file = hexfile::ReadHexSlave(":040004003412FF3F74\r\n:00000001FF\r\n");
        QCOMPARE(file.words[1], quint16(16383));
        QCOMPARE(file.words[2], quint16(0x1234)); // low byte first, byte addresses
        QCOMPARE(file.words[3], quint16(0x3FFF));
        QCOMPARE(file.lastAddress, 4);
        QVERIFY(file.remarks.Text().isEmpty());
    }

    void SlaveLimits()
    {
        // The last word is in, the one behind it is cut off, whatever it says.
        const hexfile::SlaveFile file = hexfile::ReadHexSlave(Record(2 * 8191, QByteArray::fromHex("0102FFFF")));
        QCOMPARE(file.words[8191], quint16(0x0201));
        QCOMPARE(file.lastAddress, 8192);
        QCOMPARE(SlaveRefusal(Record(2 * 8192, "ab")), noData);
        QCOMPARE(SlaveRefusal(Record(0xFFFE, "ab")), noData);
    }

    void SlaveOverwrites()
    {
        const hexfile::SlaveFile file = hexfile::ReadHexSlave(Record(0, "abcd") + Record(2, "AB") + Record(0, ""));
        QCOMPARE(file.words[0], quint16('b' << 8 | 'a'));
        QCOMPARE(file.words[1], quint16('B' << 8 | 'A'));
        QCOMPARE(file.lastAddress, 2); // not lowered by what comes later
    }

    void SlaveTakesEveryRecordAsData()
    {
        for (const int type : {2, 3, 4, 5, 0xAB}) {
            const hexfile::SlaveFile file = hexfile::ReadHexSlave(Record(6, "ab") + Record(0, "cd", type));
            QCOMPARE(file.words[0], quint16('d' << 8 | 'c'));
            QCOMPARE(file.remarks.addressRecords, 1);
            QCOMPARE(file.remarks.firstAddressRecord, 2);
        }
    }

    void SlaveOverflow()
    {
        QCOMPARE(SlaveRefusal(Record(0, QByteArray::fromHex("FF7F"))), QString());
        QCOMPARE(SlaveRefusal(Record(0, "ab") + Record(2, QByteArray::fromHex("0080"))),
                 QStringLiteral("Dépassement de capacité : mot 32768 à la ligne 2 du fichier HEX"));
    }

    void SlaveWithoutData()
    {
        for (const char *file : {"", "\r\n", ":00000001FF\r\n", ":00000000", "no record", " :02000000616200"})
            QCOMPARE(SlaveRefusal(file), noData);
    }

    // ---- the master's files

    void MasterBytes()
    {
        const hexfile::MasterFile file = hexfile::ReadHexMaster(lowBank + Record(0x1001, "abcd") + end);
        QCOMPARE(file.bytes[0x1000], quint8(255));
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(&file.bytes[0x1001]), 4), QByteArray("abcd"));
        QCOMPARE(file.bytes[0x1005], quint8(255));
    }

    void MasterBanks()
    {
        const hexfile::MasterFile file = hexfile::ReadHexMaster(Record(0, "aa") + lowBank + Record(2, "bb") + highBank +
                                                                Record(4, "cc") + lowBank + Record(6, "dd"));
        QByteArray begin(reinterpret_cast<const char *>(file.bytes.data()), 8);
        QCOMPARE(begin, QByteArray("\xFF\xFF"
                                   "bb"
                                   "\xFF\xFF"
                                   "dd"));
    }

    void MasterWithoutBankIsErased()
    {
        const hexfile::MasterFile file = hexfile::ReadHexMaster(Record(0x1000, "abcd") + end);
        QCOMPARE(std::ranges::count(file.bytes, quint8(255)), 32768);
    }

    void MasterIgnoresOtherTypes()
    {
        for (const int type : {2, 3, 5, 0x10}) {
            const hexfile::MasterFile file = hexfile::ReadHexMaster(lowBank + Record(0x1000, "ab", type));
            QCOMPARE(file.bytes[0x1000], quint8(255));
        }
    }

    void MasterLimits()
    {
        QCOMPARE(hexfile::ReadHexMaster(lowBank + Record(0x7FFE, "ab")).bytes[0x7FFF], quint8('b'));
        const QString beyond = QStringLiteral("données au-delà de la mémoire du master");
        QCOMPARE(MasterRefusal(lowBank + Record(0x7FFF, "ab")), RefusalAt(2, beyond));
        QCOMPARE(MasterRefusal(lowBank + Record(0x8000, "ab")), RefusalAt(2, beyond));
        QCOMPARE(MasterRefusal(lowBank + Record(0xFFFE, "abcd")), RefusalAt(2, beyond));
        QCOMPARE(MasterRefusal(highBank + Record(0x8000, "ab")), QString());
    }

    void MasterCountsMatterWhereBytesAreTaken()
    {
        QCOMPARE(MasterRefusal(lowBank + Record(0x1000, "abc")), RefusalAt(2, oddCount));
        QCOMPARE(MasterRefusal(Record(0x1000, "abc") + lowBank), RefusalAt(1, oddCount));
        // Configuration bytes come one by one, at addresses that are not for the flash.
        QCOMPARE(MasterRefusal(lowBank + Record(0x1000, "ab") + highBank + Record(1, "c") + end), QString());
    }

    // ---- either's

    void Malformed_data()
    {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char *name, const char *record, const QString &reason) {
            QTest::newRow(name) << QByteArray(record) << reason;
        };
        row("odd count", ":0310000061626300", oddCount);
        row("largest odd count", QByteArray(":FF100000" + QByteArray(2 * 255, '1') + "00").constData(), oddCount);
        row("no data", ":02100000", tooShort);
        row("one byte missing", ":0210000061", tooShort);
        row("one digit missing", ":02100000616", tooShort);
        row("header cut", ":0210", tooShort);
        row("type cut", ":0210000", tooShort);
        row("only a colon", ":", tooShort);
        row("one digit", ":0", tooShort);
        row("lower case", ":02100000ab1C00", badDigit);
        row("lower-case checksum", ":02100000AB1Caa", badDigit);
        row("count", ":0G100000616200", badDigit);
        row("address", ":02:00000616200", badDigit);
        row("type", ":0210000@616200", badDigit);
        row("last digit", ":02100000616/00", badDigit);
        row("blank", ":021000006162 0", badDigit);
        row("accent", ":02100000\xE9\xE9\xE9\xE9", badDigit);
        row("blank before the count", ": 02100000616200", badDigit);
    }
    void Malformed()
    {
        QFETCH(QByteArray, record);
        QFETCH(QString, reason);
        // As the last line, and in the middle.
        for (const QByteArray &rest : {QByteArray(), QByteArray("\r\n" + Record(0x1002, "ab") + end)}) {
            const QByteArray file = lowBank + "\r\n" + Record(0x1000, "ab") + record + rest;
            QCOMPARE(SlaveRefusal(file), RefusalAt(4, reason));
            QCOMPARE(MasterRefusal(file), RefusalAt(4, reason));
        }
    }

    void AZeroByteIsNoDigit()
    {
        const QByteArray file = lowBank + QByteArray(":02100000\0\0\0\0", 13);
        QCOMPARE(SlaveRefusal(file), RefusalAt(2, badDigit));
        QCOMPARE(MasterRefusal(file), RefusalAt(2, badDigit));
    }

    void TheEndRecordEndsTheFile()
    {
        const QByteArray file = lowBank + Record(0x1000, "ab") + ":zz????01 and more\r\n:nonsense\r\n";
        QCOMPARE(hexfile::ReadHexSlave(file).lastAddress, 0x801);
        QCOMPARE(hexfile::ReadHexMaster(file).bytes[0x1000], quint8('a'));
    }

    void OnlyARecordEndsTheFile()
    {
        const QByteArray file = lowBank + "; 000001\r\n 000001\r\n" + Record(0x1000, "ab");
        QCOMPARE(hexfile::ReadHexSlave(file).lastAddress, 0x801);
        QCOMPARE(hexfile::ReadHexMaster(file).bytes[0x1000], quint8('a'));
    }

    void LineEnds_data()
    {
        QTest::addColumn<QByteArray>("ending");
        for (const char *ending : {"\r\n", "\n", "\r"})
            QTest::newRow(QByteArray(ending).toHex().constData()) << QByteArray(ending);
    }
    void LineEnds()
    {
        QFETCH(QByteArray, ending);
        QByteArray file = lowBank + "\r\n" + Record(0x1000, "ab") + Record(0x1002, "abc");
        file.replace("\r\n", ending);
        QCOMPARE(SlaveRefusal(file), RefusalAt(4, oddCount));
        QCOMPARE(MasterRefusal(file), RefusalAt(4, oddCount));
    }

    void WrongChecksumsAreRemarked()
    {
        const QByteArray good = ":0210000061622B\r\n";
        QVERIFY(hexfile::ReadHexSlave(good).remarks.Text().isEmpty());
        QVERIFY(hexfile::ReadHexMaster(lowBank + good).remarks.Text().isEmpty());
        for (const char *bad : {":0210000061622C\r\n", ":0210000061622\r\n", ":021000006162\r\n"}) {
            const QString text =
                QStringLiteral("Somme de contrôle fausse : 2 enregistrement(s), le premier à la ligne 2.");
            const QByteArray file = good + bad + good + bad + end;
            QCOMPARE(hexfile::ReadHexSlave(file).remarks.Text(), text);
            QCOMPARE(hexfile::ReadHexMaster(file).remarks.Text(), text);
        }
    }

    void AllRemarks()
    {
        QCOMPARE(hexfile::ReadHexSlave(lowBank + Record(0, "ab")).remarks.Text(),
                 QStringLiteral("Somme de contrôle fausse : 1 enregistrement(s), le premier à la ligne 2.\n"
                                "Adresse étendue ou autre type que 00, pris comme données : 1 enregistrement(s), le "
                                "premier à la ligne 1."));
        QVERIFY(hexfile::ReadHexMaster(lowBank).remarks.Text().isEmpty()); // they belong in its files
    }

    // ---- the corpus

    void Corpus_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("slaveTakes");
        QTest::addColumn<bool>("masterTakes");
        const QDir folder(QStringLiteral(TEST_DATA "/hex"));
        const QStringList forNeither = {
            QStringLiteral("accents"),        QStringLiteral("colon-only"),          QStringLiteral("digit-in-address"),
            QStringLiteral("digit-in-count"), QStringLiteral("digit-in-data"),       QStringLiteral("digit-in-type"),
            QStringLiteral("lower-case"),     QStringLiteral("lower-case-checksum"), QStringLiteral("odd-count"),
            QStringLiteral("short"),          QStringLiteral("short-header"),        QStringLiteral("zero-bytes"),
        };
        const QStringList notForSlave = {
            QStringLiteral("empty"),
            QStringLiteral("end-is-all"),
            QStringLiteral("only-comments"),
            QStringLiteral("only-end"),
            QStringLiteral("master-odd-configuration"),
            QStringLiteral("master-small"),
            QStringLiteral("master-no-bank"),
            QStringLiteral("master-whole"),
            QStringLiteral("slave-nothing-in-reach"),
            QStringLiteral("slave-word-too-large"),
        };
        const QStringList notForMaster = {QStringLiteral("master-beyond"),
                                          QStringLiteral("master-odd-address-at-the-end")};
        const QStringList files = folder.entryList(QDir::Files);
        QVERIFY(files.size() > 40);
        for (const QString &file : files) {
            const QString name = file.chopped(4);
            const bool forNone = forNeither.contains(name);
            QTest::newRow(qPrintable(name))
                << file << (!forNone && !notForSlave.contains(name)) << (!forNone && !notForMaster.contains(name));
        }
    }
    void Corpus()
    {
        QFETCH(QString, name);
        QFETCH(bool, slaveTakes);
        QFETCH(bool, masterTakes);
        const QByteArray file = ::Corpus(name);
        QCOMPARE(SlaveRefusal(file).isEmpty(), slaveTakes);
        QCOMPARE(MasterRefusal(file).isEmpty(), masterTakes);
        const auto slave = literalhex::Slave(file);
        const auto master = literalhex::Master(file);
        QCOMPARE(slave.has_value(), slaveTakes);
        QCOMPARE(master.has_value(), masterTakes);
        if (slaveTakes) {
            const hexfile::SlaveFile read = hexfile::ReadHexSlave(file);
            QVERIFY(literalhex::Matches(read.words, *slave, 16383));
            QCOMPARE(read.lastAddress, slave->lastAddress);
        }
        if (masterTakes)
            QVERIFY(literalhex::Matches(hexfile::ReadHexMaster(file).bytes, *master, 255));
    }
};

REGISTER_TEST(TestHexFile)
#include "tst_hexfile.moc"
