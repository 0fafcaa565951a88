// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "memory/eepromtable.h"
#include "support/suite.h"

#include <QFile>
#include <QtTest>

namespace {
QByteArray FileOf(const char *name)
{
    QFile file(QStringLiteral(TEST_DATA "/profiles/%1.ESV").arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no such file");
}

/// What the files of battery types are made of, beside their first names.
const QByteArray names[] = {"", "AA NiMh 2000 x4 ", "AA NiCd 800 x6  ", "LiPo 2200 3S    ",
                            "Pack \xE9t\xE9 \xB5"
                            "A 8   "};
const QByteArray texts[] = {"", "000004200100011003090", "002106080040013012090", "004203220220020001300",
                            "126008999255991059000"};

/// An EEPROM with every byte value on every place.
QByteArray AllBytes()
{
    QByteArray memory;
    for (int i = 0; i < 4096; ++i)
        memory.append(static_cast<char>(i * 7 + i / 16));
    return memory;
}
} // namespace

class TestEepromTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void FreshProfiles()
    {
        const Profiles table;
        QCOMPARE(table.Entries().size(), 257u);
        for (size_t i = 0; i < 257; ++i) {
            const QByteArray expected = i > 129      ? QByteArray()
                                        : i % 2 == 0 ? QByteArray("----------------")
                                                     : QByteArray("000000000000000000000000");
            QCOMPARE(table.Entries()[i], expected);
        }
        QCOMPARE(table.Header(), QByteArray("---"));
        QVERIFY(!table.AsRead(1));
    }

    void FreshImage()
    {
        const Image table;
        QCOMPARE(table.Entries().size(), 257u);
        QCOMPARE(table.Entries()[0], QByteArray("mesg  0"));
        QCOMPARE(table.Entries()[17], QByteArray("mesg  17"));
        QCOMPARE(table.Entries()[256], QByteArray("mesg  256"));
        const QByteArray memory = table.Memory();
        QCOMPARE(memory.size(), 4096);
        QCOMPARE(memory.mid(17 * 16, 16), QByteArray("mesg  17        "));
    }

    void ReadingProfiles()
    {
        QByteArray memory(4096, '\xFF');
        memory.replace(0, 32, "127 profils ici.A206123456874321");
        memory.replace(32, 32, "Nom de 16 signes@106150050131090");
        memory.replace(127 * 32, 32,
                       "le dernier      \x1B"
                       "206123456874321");
        Profiles table;
        table.Read(memory);
        QCOMPARE(table.Header(), QByteArray("127"));
        QCOMPARE(table.Entries()[0], QByteArray("127 profils ici."));
        QCOMPARE(table.Entries()[1], QByteArray("065206123456087004321"));
        QCOMPARE(table.Name(1), QByteArray("Nom de 16 signes"));
        QCOMPARE(table.Text(1), QByteArray("064106150050013001090"));
        QCOMPARE(table.Entries()[2], table.Name(1));
        QCOMPARE(table.Entries()[3], table.Text(1));
        QCOMPARE(table.Name(2), QByteArray(16, '\xFF'));
        QCOMPARE(table.Text(2), "255" + QByteArray(18, '0'));
        QCOMPARE(table.Entries()[254], QByteArray("le dernier      "));
        QCOMPARE(table.Entries()[255], QByteArray("027206123456087004321"));
        QCOMPARE(table.Entries()[256], QByteArray());
    }

    void WhatWasReadIsWrittenAsItWas()
    {
        for (const QByteArray &memory : {AllBytes(), QByteArray(4096, '\xFF'), QByteArray(4096, '\0')}) {
            Profiles profiles;
            profiles.Read(memory);
            QCOMPARE(profiles.HeaderMemory(), memory.first(3));
            QCOMPARE(profiles.RecordsMemory(), memory.mid(32));
            Image image;
            image.Read(memory);
            QCOMPARE(image.Memory(), memory);
        }
    }

    void OneTypeIsEdited()
    {
        const QByteArray memory = AllBytes();
        Profiles table;
        table.Read(memory);
        QVERIFY(table.AsRead(5));
        table.Set(5, "neuf", "065206123456987654321");
        QVERIFY(!table.AsRead(5));
        QByteArray expected = memory.mid(32);
        expected.replace(4 * 32, 32, "neuf            A206123456874321");
        QCOMPARE(table.RecordsMemory(), expected);
        table.SetHeader("7");
        QCOMPARE(table.HeaderMemory(), QByteArray("7  "));
    }

    void AnOverflowNamesTheProfile()
    {
        Profiles table;
        table.Set(45, "trop grand      ", "256000000000000000000");
        try {
            table.RecordsMemory();
            QFAIL("no overflow");
        } catch (const Overflow &error) {
            QVERIFY2(error.Text().contains(QStringLiteral("profil 45 (« trop grand »)")), qPrintable(error.Text()));
        }
    }

    void ProfileFiles()
    {
        Profiles table;
        table.SetHeader("006");
        table.Set(1, "court", "002106080040013012090");
        const QByteArray file = table.Save();
        QVERIFY(file.startsWith("006\r\n006\r\ncourt\r\n002106080040013012090\r\n----------------\r\n"));
        QCOMPARE(file.count("\r\n"), 256);
        QVERIFY(file.endsWith("\r\n\r\n"));
        Profiles loaded;
        QCOMPARE(loaded.Load(file), 0);
        QCOMPARE(loaded.Header(), QByteArray("006"));
        for (int number = 1; number <= 127; ++number) {
            QCOMPARE(loaded.Name(number), table.Name(number));
            QCOMPARE(loaded.Text(number), table.Text(number));
        }
    }

    void ProfileFilesOfAnyEeprom()
    {
        QByteArray lineEnds = AllBytes();
        for (int i = 32; i < 4096; i += 32)
            lineEnds.replace(i, 16, "\r\n\n\r\x1A\xFF\r\n\r\n\r\n\r\n\r\n");
        for (const QByteArray &memory : {AllBytes(), QByteArray(4096, '\xFF'), QByteArray(4096, '\0'), lineEnds}) {
            Profiles table;
            table.Read(memory);
            Profiles loaded;
            QCOMPARE(loaded.Load(table.Save()), 0);
            QCOMPARE(loaded.Header(), table.Header());
            for (int number = 1; number <= 127; ++number) {
                QCOMPARE(loaded.Name(number), table.Name(number));
                QCOMPARE(loaded.Text(number), table.Text(number));
                QVERIFY(!loaded.AsRead(number));
            }
        }
    }

    void ProfileFilesOfTheCorpus_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("type"); // whose name and text follow, as in the well-formed file
        QTest::addColumn<int>("missing");
        const QByteArray header("006");
        QTest::newRow("types") << header << 4 << 0;
        QTest::newRow("types_one_header") << header << 4 << 0;
        QTest::newRow("types_header_like_a_name") << header << 4 << 0;
        QTest::newRow("types_two_unlike_headers") << header << 4 << 0;
        QTest::newRow("types_short") << header << 2 << 249;
        QTest::newRow("types_long") << header << 4 << 0;
        QTest::newRow("types_line_feeds") << header << 4 << 0;
        QTest::newRow("types_no_last_line_end") << header << 4 << 0;
        QTest::newRow("types_end_mark") << header << 4 << 0;
        QTest::newRow("types_bytes_like_line_ends") << header << 4 << 0;
        QTest::newRow("types_long_name") << header << 4 << 0;
    }
    void ProfileFilesOfTheCorpus()
    {
        QFETCH(QByteArray, header);
        QFETCH(int, type);
        QFETCH(int, missing);
        Profiles table;
        QCOMPARE(table.Load(FileOf(QTest::currentDataTag())), missing);
        QCOMPARE(table.Header(), header);
        QCOMPARE(table.Name(type), names[type]);
        QCOMPARE(table.Text(type), texts[type]);
        if (missing == 0) {
            QCOMPARE(table.Name(127), QByteArray("Type 127        "));
            QCOMPARE(table.Text(127), QByteArray("252014000000000000000"));
            QCOMPARE(table.RecordsMemory().size(), 4064);
        }
    }

    void NamesThatLookLikeLineEnds()
    {
        Profiles table;
        table.Load(FileOf("types_bytes_like_line_ends"));
        QCOMPARE(table.Name(1), QByteArray("\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n"));
        QCOMPARE(table.Name(2), QByteArray("fin de ligne \r\n\x1A"));
    }

    void MissingValues()
    {
        Profiles table;
        QCOMPARE(table.Load(FileOf("types_short")), 249);
        QCOMPARE(table.Name(3), names[3]);
        QCOMPARE(table.Text(3), QByteArray("0"));
        QCOMPARE(table.Name(4), QByteArray(" "));
        QCOMPARE(table.Text(127), QByteArray("0"));
        QCOMPARE(table.RecordsMemory().last(32), QByteArray(16, ' ') + '\0' + QByteArray(15, '0'));
        QCOMPARE(table.Load(FileOf("types_header_only")), 254);
        QCOMPARE(table.Header(), QByteArray("012"));
        QCOMPARE(table.Load(FileOf("empty")), 255);
        QCOMPARE(table.Header(), QByteArray(" "));
        QCOMPARE(table.HeaderMemory(), QByteArray("   "));
    }

    void TheFreshTableComesBack()
    {
        Profiles table;
        QCOMPARE(table.Load(FileOf("types_fresh")), 0);
        const Profiles fresh;
        for (size_t i = 0; i < 129; ++i)
            if (i >= 2)
                QCOMPARE(table.Entries()[i], fresh.Entries()[i]);
        QCOMPARE(table.Entries()[130], QByteArray());
        QCOMPARE(table.RecordsMemory().mid(64 * 32, 32), QByteArray(16, ' ') + '\0' + QByteArray(15, '0'));
    }

    void LongNamesAreCut()
    {
        Profiles table;
        table.Load(FileOf("types_long_name"));
        QCOMPARE(table.Name(1), QByteArray("Un nom de plus d"));
    }

    void BadFilesAreNotWritten()
    {
        Profiles table;
        table.Load(FileOf("types_flags_300"));
        QCOMPARE(table.Text(1).first(3), QByteArray("300"));
        QVERIFY_EXCEPTION_THROWN(table.RecordsMemory(), Overflow);
        table.Load(FileOf("types_letters"));
        QVERIFY_EXCEPTION_THROWN(table.RecordsMemory(), TypeMismatch);
        table.Load(FileOf("image")); // an image by mistake
        QVERIFY_EXCEPTION_THROWN(table.RecordsMemory(), TypeMismatch);
        table.Load(FileOf("ones"));
        QCOMPARE(table.Name(1), QByteArray(" "));
    }

    void BlanksCountAsZeros()
    {
        Profiles table;
        table.Load(FileOf("types_blanks"));
        QCOMPARE(table.RecordsMemory().mid(16, 16), QByteArray("\x10"
                                                               "004010010133090"));
    }

    void ImageFiles()
    {
        Image table;
        const QByteArray fresh = table.Save();
        QVERIFY(fresh.startsWith("mesg  0\r\nmesg  1\r\n"));
        QVERIFY(fresh.endsWith("mesg  255\r\n"));
        QCOMPARE(fresh.count("\r\n"), 256);
        Image other;
        other.Read(AllBytes());
        QCOMPARE(other.Load(fresh), 0);
        for (size_t i = 0; i < 256; ++i)
            QCOMPARE(other.Entries()[i], table.Entries()[i]);
    }

    void AnyImageSurvivesItsFile()
    {
        QByteArray lineEnds;
        for (int i = 0; i < 1024; ++i)
            lineEnds += i % 3 == 0 ? "\r\n\r\n" : "\n\r\x1A\xFF";
        for (const QByteArray &memory : {AllBytes(), QByteArray(4096, '\r'), QByteArray(4096, '\n'), lineEnds}) {
            Image table;
            table.Read(memory);
            const QByteArray file = table.Save();
            QCOMPARE(file.size(), 256 * 18);
            Image loaded;
            QCOMPARE(loaded.Load(file), 0);
            QCOMPARE(loaded.Memory(), memory);
        }
    }

    void ImageFilesOfTheCorpus()
    {
        Image table;
        QCOMPARE(table.Load(FileOf("image")), 0);
        QCOMPARE(table.Memory(), AllBytes());
        QCOMPARE(table.Load(FileOf("image_lines")), 0);
        QCOMPARE(table.Entries()[1], QByteArray("Charge"));
        QCOMPARE(table.Memory().first(32), QByteArray("Pret            Charge          "));
        QCOMPARE(table.Load(FileOf("image_short")), 254);
        QCOMPARE(table.Entries()[1], QByteArray("Charge"));
        QCOMPARE(table.Entries()[2], QByteArray(" "));
        QCOMPARE(table.Memory().mid(32), QByteArray(4064, ' '));
        QCOMPARE(table.Load(FileOf("image_long_lines")), 0);
        QCOMPARE(table.Entries()[0], QByteArray("Une ligne de plu"));
        QCOMPARE(table.Entries()[255], QByteArray("Message 255"));
        QCOMPARE(table.Load(FileOf("empty")), 256);
        QCOMPARE(table.Memory(), QByteArray(4096, ' '));
    }

    void AnyFileCanBeRead()
    {
        int files = 0;
        for (const QString &path : QDir(QStringLiteral(TEST_DATA "/profiles")).entryList(QDir::Files)) {
            const QByteArray content = FileOf(path.chopped(4).toLatin1().constData());
            Image image;
            image.Load(content);
            QCOMPARE(image.Memory().size(), 4096);
            Profiles profiles;
            profiles.Load(content);
            for (int number = 1; number <= 127; ++number)
                QVERIFY(profiles.Name(number).size() <= 16);
            ++files;
        }
        QVERIFY(files > 20);
    }
};

REGISTER_TEST(TestEepromTable)
#include "tst_eepromtable.moc"
