// SPDX-License-Identifier: GPL-3.0-or-later
#include "helpmenu.h"

#include "base/drive.h"
#include "base/messages.h"
#include "chart/customplot.h"
#include "logbook/logbook.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>

HelpMenu::HelpMenu(QMainWindow &main, const QString &version) : main_(main), version_(version)
{
    QMenu *const menu = main.menuBar()->addMenu(QStringLiteral("Aide"));
    menu->setObjectName(QStringLiteral("MnuAide"));
    QAction *const guide = menu->addAction(QStringLiteral("Guide"), this, [this] { ShowGuide(main_.objectName()); });
    guide->setObjectName(QStringLiteral("MnuGuide"));
    guide->setShortcut(QKeySequence::HelpContents);
    QAction *const about = menu->addAction(QStringLiteral("À propos de Voltaire"), this, &HelpMenu::ShowAbout);
    about->setObjectName(QStringLiteral("MnuAPropos"));
    about->setMenuRole(QAction::AboutRole);
    qApp->installEventFilter(this);
}

bool HelpMenu::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress || !static_cast<QKeyEvent *>(event)->matches(QKeySequence::HelpContents))
        return false;
    const auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget)
        return false;
    ShowGuide(widget->window()->objectName());
    return true;
}

void HelpMenu::ShowGuide(const QString &window)
{
    if (!guide_)
        guide_ = std::make_unique<Guide>();
    guide_->ShowFor(window);
}

void HelpMenu::ShowAbout()
{
    messages::Show(&main_, QMessageBox::Information, QStringLiteral("À propos de Voltaire"),
                   QStringLiteral("Voltaire %1").arg(version_),
                   QStringLiteral("Commande d'un chargeur et déchargeur rapide de batteries.\n"
                                  "Logiciel libre, sans aucune garantie : licence publique générale GNU (GPL), "
                                  "version 3 ou suivante.\n\n"
                                  "Avec Qt %1 (LGPL 3), QCustomPlot %2 (GPL 3) et SQLite (domaine public).\n\n"
                                  "Fichiers : %3\n"
                                  "Journaux du moniteur et notes : %4\n"
                                  "Journaux de capacité : %5\n"
                                  "Carnet : %6\n"
                                  "Réglages : %7")
                       .arg(QString::fromLatin1(qVersion()), QStringLiteral(QCUSTOMPLOT_VERSION_STR), drive::Root(),
                            drive::Folder(QStringLiteral("temp")), drive::Folder(QStringLiteral("log")),
                            Logbook::Path(), drive::SettingsFile()));
}
