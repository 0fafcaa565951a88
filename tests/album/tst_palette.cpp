// SPDX-License-Identifier: GPL-3.0-or-later
#include "album.h"
#include "complaints.h"
#include "support/palettes.h"
#include "support/suite.h"

#include <QtTest>

/// Every text can be read on a light and on a dark desktop, also when it changes under the windows.
class TestPalette : public QObject
{
    Q_OBJECT

private:
    Album album_;

private Q_SLOTS:
    void cleanup() { QApplication::setPalette({}); }

    void TextsCanBeRead_data()
    {
        QTest::addColumn<bool>("atWork");
        for (const bool atWork : {false, true})
            for (const QString &name : Album::Windows())
                QTest::newRow(qPrintable(name + (atWork ? QStringLiteral(" at work") : QString()))) << atWork;
    }
    void TextsCanBeRead()
    {
        QFETCH(bool, atWork);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(u' ', 0, 0);
        QWidget &window = atWork ? album_.ShowAtWork(name) : album_.Show(name);
        for (const QPalette &palette : {palettes::Light(), palettes::Dark(), palettes::Light()}) {
            QApplication::setPalette(palette);
            album_.Time().Run(1s);
            const QStringList found = complaints::OfContrast(window);
            QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
        }
    }
};

REGISTER_TEST(TestPalette)
#include "tst_palette.moc"
