// SPDX-License-Identifier: GPL-3.0-or-later
#include "logs/csv.h"
#include "logs/logfile.h"
#include "ownlogs.h"
#include "support/suite.h"

namespace {
const QByteArray head = "Time [s],Step,Cycle,Current [A],Voltage [V],Capacity [Ah],Temperature [C]";

QByteArray Exported(const QString &path)
{
    return csv::Of(LogFile(path).Contents());
}
} // namespace

class TestCsv : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Charge_data() { BothLocales(); }
    void Charge()
    {
        QFETCH(QLocale, locale);
        const OwnLogs logs(locale);
        QCOMPARE(Exported(OwnLogs::Charge()), head + "\n1,1,1,1.5,5.25,0,25\n2,1,1,1.5,5.25,0.001,25\n"
                                                     "3,1,1,1.5,5.25,0.001,25\n");
    }

    void ADischargeIsNegative()
    {
        const OwnLogs logs;
        QCOMPARE(Exported(OwnLogs::Discharge()), head + "\n1,1,1,-2.5,5.25,-0.1,25\n2,1,1,-2.5,5.25,-0.2,25\n");
    }

    void CapacityDischargesThenCharges()
    {
        const OwnLogs logs;
        QCOMPARE(Exported(OwnLogs::Capacity()), head + "\n2,1,1,-2,7.25,-1,25\n124,2,1,1.5,7.25,-0.5,25\n");
    }

    void TheMonitorsWordsHaveTheirOwnNames()
    {
        const OwnLogs logs;
        QCOMPARE(Exported(OwnLogs::Monitor()),
                 head + ",Echantillon,Temps,VBat,Cour,Temper,Vdelta,Resist,Capacité,Type,CDV,Valim,Vdbl,Vmoy,Maxidv\n"
                        "0,1,1,,,,,101,102,104,105,106,107,108,109,110,111,112,113,114,115\n");
    }

    void ALogWithoutRecordsHasItsNames()
    {
        const OwnLogs logs;
        QCOMPARE(Exported(OwnLogs::Charge(0)), head + '\n');
    }
};

REGISTER_TEST(TestCsv)
#include "tst_csv.moc"
