// SPDX-License-Identifier: GPL-3.0-or-later
#include "picturemenu.h"

#include <QAction>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

void AskWhereToSave(QWidget *window, const SaveQuestion &question)
{
    auto *dialog = new QFileDialog(window, question.title, QDir::currentPath(), question.filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(question.suffix);
    dialog->selectFile(question.log.isEmpty() ? QStringLiteral("Courbe") : QFileInfo(question.log).completeBaseName());
    QObject::connect(dialog, &QFileDialog::fileSelected, window, [question](const QString &path) {
        try {
            question.save(path);
        } catch (const Error &error) {
            question.failed(error);
        }
    });
    dialog->open();
}

void AddPictureMenu(Chart &chart, const std::function<QString()> &log, const std::function<void(const Error &)> &failed)
{
    const auto add = [&chart](const char *name, const QString &text, const std::function<void()> &action) {
        auto *item = new QAction(text, &chart);
        item->setObjectName(QLatin1String(name));
        QObject::connect(item, &QAction::triggered, &chart, action);
        chart.addAction(item);
    };
    const auto save = [&chart, log, failed](Chart::Picture picture, const QString &suffix, const QString &filter) {
        AskWhereToSave(chart.window(), {QStringLiteral("Enregistrer la courbe"), log(), suffix, filter,
                                        [&chart, picture](const QString &path) { chart.Save(path, picture); }, failed});
    };
    chart.setContextMenuPolicy(Qt::ActionsContextMenu);
    add("MnuVue", QStringLiteral("Tout afficher"), [&chart] { chart.ShowAll(); });
    add("MnuPng", QStringLiteral("Enregistrer l'image (PNG)…"),
        [save] { save(Chart::Picture::Png, QStringLiteral("png"), QStringLiteral("Image PNG (*.png)")); });
    add("MnuPdf", QStringLiteral("Enregistrer en PDF…"),
        [save] { save(Chart::Picture::Pdf, QStringLiteral("pdf"), QStringLiteral("Document PDF (*.pdf)")); });
}
