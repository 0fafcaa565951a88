// SPDX-License-Identifier: GPL-3.0-or-later
#include "album.h"
#include "complaints.h"
#include "support/suite.h"

#include <QtTest>

/// Every window can be used on the screen at hand: it fits, no text is cut, nothing lies on anything else.
class TestGeometry : public QObject
{
    Q_OBJECT

private:
    Album album_;

private Q_SLOTS:
    void EveryWindowFits_data()
    {
        QTest::addColumn<bool>("atWork");
        for (const bool atWork : {false, true})
            for (const QString &name : Album::Windows())
                QTest::newRow(qPrintable(name + (atWork ? QStringLiteral(" at work") : QString()))) << atWork;
    }
    void EveryWindowFits()
    {
        QFETCH(bool, atWork);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(u' ', 0, 0);
        QWidget &window = atWork ? album_.ShowAtWork(name) : album_.Show(name);
        album_.Time().Run(1s);
        QCOMPARE(complaints::OfPlace(window), QStringList());
        QCOMPARE(complaints::OfTexts(window), QStringList());
        QCOMPARE(complaints::OfOverlaps(window), QStringList());
    }
};

REGISTER_TEST(TestGeometry)
#include "tst_geometry.moc"
