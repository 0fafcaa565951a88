// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/errors.h"
#include "capacity/capacityfile.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QtTest>

class TestCapacityFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        drive::SetRoot(folder_->filePath(QStringLiteral("c")));
    }
    void cleanup()
    {
        QDir::setCurrent(QStringLiteral("/"));
        drive::SetRoot(QString());
        QLocale::setDefault(QLocale::c());
    }

    void NameFromDateAndTime()
    {
        QCOMPARE(CapacityFile::Name(QDateTime(QDate(2026, 11, 15), QTime(2, 29, 59))),
                 QStringLiteral("Capa_Bat_D11_15_26T02_29.txt"));
        QCOMPARE(CapacityFile::Name(QDateTime(QDate(2009, 1, 2), QTime(23, 5))),
                 QStringLiteral("Capa_Bat_D01_02_09T23_05.txt"));
    }

    void LiesInTheLogFolderWhichIsMade()
    {
        const SimulatedClock clock;
        const CapacityFile file;
        const QString folder = drive::Folder(QStringLiteral("log"));
        QVERIFY(QFileInfo(folder).isDir());
        QCOMPARE(QDir::current().canonicalPath(), QFileInfo(folder).canonicalFilePath());
        const QStringList there = QDir(folder).entryList(QDir::Files);
        QCOMPARE(there, QStringList{CapacityFile::Name(clock.LocalTime())});
        QCOMPARE(QFileInfo(file.Path()).canonicalFilePath(), QFileInfo(QDir(folder), there[0]).canonicalFilePath());
    }

    void FolderThatIsThereIsUsed()
    {
        QVERIFY(QDir().mkpath(drive::Folder(QStringLiteral("log"))));
        const CapacityFile file;
        QVERIFY(QFileInfo::exists(file.Path()));
    }

    void FolderThatCannotBeMadeIsAFileError()
    {
        QFile obstacle(drive::Root());
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        QVERIFY_EXCEPTION_THROWN(CapacityFile(), FileError);
    }

    void ByteForByte_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QByteArray>("lines");
        QTest::newRow("point")
            << QLocale::c()
            << QByteArray(" 3600 : 25 : 1.5 : 0.07 : 5400 : 0.5 : 5.12 : 1.28 : 812 : 89 : 0.0416666666666667 \r\n"
                          " 2 :-4 : 0 : 1 : 0 : 2 : 5.03 : 1.25 : 0 :-10 : 2.31481481481481E-05 \r\n");
        QTest::newRow("comma")
            << QLocale(QLocale::French, QLocale::France)
            << QByteArray(" 3600 : 25 : 1,5 : 0,07 : 5400 : 0,5 : 5,12 : 1,28 : 812 : 89 : 0,0416666666666667 \r\n"
                          " 2 :-4 : 0 : 1 : 0 : 2 : 5,03 : 1,25 : 0 :-10 : 2,31481481481481E-05 \r\n");
    }
    void ByteForByte()
    {
        QFETCH(QLocale, locale);
        QFETCH(QByteArray, lines);
        QLocale::setDefault(locale);
        CapacityFile file;
        file.Write({.Phase = 1,
                    .ElapsedS = 3600,
                    .VBatCount = 600,
                    .VBattery = 5.12,
                    .VCell = 1.28,
                    .VDeltaCount = 812,
                    .ICharge = 1.5,
                    .IDischarge = 0.07,
                    .TotalCharge = 5400,
                    .TotalDischarge = 0.5,
                    .Temperature = 25,
                    .Resistance = 89});
        file.Write({.Phase = 2,
                    .ElapsedS = 2,
                    .VBatCount = 590,
                    .VBattery = 5.03,
                    .VCell = 1.25,
                    .VDeltaCount = 0,
                    .ICharge = 0,
                    .IDischarge = 1,
                    .TotalCharge = 0,
                    .TotalDischarge = 2,
                    .Temperature = -4,
                    .Resistance = -10});
        file.EndDischarge();
        file.EndRun();
        // On disk while it is still open.
        QFile written(file.Path());
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll(),
                 "DUREE:TEMPER:ICHRG:IDECHRG:TOTALCHARGE:TOTALDECHARGE:VBAT:VUNIT:VDELTA:RESISTANCE:TEMPS\r\n\r\n" +
                     lines +
                     "*********:**********:*************:******************************************************\r\n"
                     "=========:==========:=============:========:=============================================\r\n");
    }

private:
    std::unique_ptr<QTemporaryDir> folder_;
};

REGISTER_TEST(TestCapacityFile)
#include "tst_capacityfile.moc"
