// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "help/helpmenu.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QLineEdit>
#include <QMenuBar>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QtTest>

class TestHelp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { AnswerBoxes(); }

    void EveryWindowHasItsPage_data()
    {
        QTest::addColumn<QString>("page");
        const auto row = [](const char *window, const char *page) { QTest::newRow(window) << page; };
        row("Main", "Connexion");
        row("Chargeur", "Charge rapide (« Chargeur »)");
        row("Dechargeur", "Décharge (« Dechargeur »)");
        row("MesCapa", "Mesure de capacité (« Mesure Bat. »)");
        row("Moni", "Moniteur (« Monitor »)");
        row("FEtat", "Tableau de bord (« Acces Micro », puis « Tableau de bord »)");
        for (const char *window : {"Micro", "EEprom", "Exteepr"})
            row(window, "Les mémoires (« Acces Micro »)");
        for (const char *window : {"Reglage", "Temper", "Vout", "Vfiltrage", "Rcourant", "RglDech", "RegLIPO"})
            row(window, "Réglage (« Réglage »)");
        row("Courbes", "Courbes (« Journaux », « Courbes »)");
        row("Carnet", "Carnet (« Journaux », « Carnet »)");
        row("nowhere", "Guide de l'utilisateur");
    }
    void EveryWindowHasItsPage()
    {
        QFETCH(QString, page);
        Guide guide;
        guide.ShowFor(QLatin1String(QTest::currentDataTag()));
        QVERIFY(guide.isVisible());
        QCOMPARE(guide.Page(), page);
    }

    void ThePageIsAtTheTop()
    {
        Guide guide;
        guide.ShowFor(QStringLiteral("Moni"));
        auto *text = guide.findChild<QTextBrowser *>();
        const auto top = [text] { return text->cursorForPosition({text->width() / 2, 12}).block().text(); };
        QCOMPARE(top(), guide.Page());
        text->verticalScrollBar()->setValue(0);
        guide.ShowFor(QStringLiteral("Moni"));
        QCOMPARE(top(), guide.Page());
        guide.findChild<QListWidget *>()->setCurrentRow(1);
        QCOMPARE(top(), QStringLiteral("Connexion"));
    }

    void ItOpensAsLargeAsItWas()
    {
        const QTemporaryDir folder;
        drive::SetRoot(folder.path());
        {
            Guide guide;
            guide.ShowFor(QStringLiteral("Main"));
            guide.resize(640, 480);
            guide.close();
        }
        QCOMPARE(Guide().size(), QSize(640, 480));
        drive::SetRoot({});
    }

    void F1OpensThePageOfTheWindow()
    {
        QMainWindow main;
        const HelpMenu help(main, QStringLiteral("1.0"));
        QWidget window;
        window.setObjectName(QStringLiteral("Temper"));
        auto *box = new QLineEdit(&window);
        window.show();
        QTest::keyClick(box, Qt::Key_F1);
        QCOMPARE(Opened()->Page(), QStringLiteral("Réglage (« Réglage »)"));
        QVERIFY(box->text().isEmpty());
    }

    void TheMenuOpensTheGuide()
    {
        QMainWindow main;
        main.setObjectName(QStringLiteral("Main"));
        const HelpMenu help(main, QStringLiteral("1.0"));
        auto *guide = main.findChild<QAction *>(QStringLiteral("MnuGuide"));
        QCOMPARE(guide->shortcut(), QKeySequence(Qt::Key_F1));
        guide->trigger();
        QCOMPARE(Opened()->Page(), QStringLiteral("Connexion"));
    }

    void AboutSaysVersionLicencesAndFolders()
    {
        QMainWindow main;
        const HelpMenu help(main, QStringLiteral("7.3"));
        main.findChild<QAction *>(QStringLiteral("MnuAPropos"))->trigger();
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Voltaire 7.3")));
        const QString told = OpenBoxes().constFirst()->informativeText();
        for (const QString &part : {QStringLiteral("(GPL), version 3 ou suivante"), QString::fromLatin1(qVersion()),
                                    QStringLiteral("QCustomPlot 2."), QStringLiteral("LGPL 3"), drive::Root(),
                                    drive::Folder(QStringLiteral("temp")), drive::SettingsFile()})
            QVERIFY2(told.contains(part), qPrintable(part));
    }

private:
    static Guide *Opened()
    {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *guide = qobject_cast<Guide *>(widget); guide && guide->isVisible())
                return guide;
        qFatal("there is no guide");
    }
};

REGISTER_TEST(TestHelp)
#include "tst_help.moc"
