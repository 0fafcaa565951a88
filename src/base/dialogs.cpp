// SPDX-License-Identifier: GPL-3.0-or-later
#include "dialogs.h"

#include "flag.h"
#include "remembered.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

#include <memory>

namespace dialogs {
namespace {
/// Opens a dialog and waits for its end; when the handler is dropped the dialog goes away with it.
class Opened
{
public:
    explicit Opened(QDialog *dialog) : dialog_(dialog)
    {
        // Later, because the handler may end then, and the dialog and this with it: the flag outlives its setting.
        const auto set = [](std::shared_ptr<Flag> finished) { finished->Set(); };
        QObject::connect(
            dialog, &QDialog::finished, &context_, [set, finished = finished_] { set(finished); },
            Qt::QueuedConnection);
        dialog->open(); // holds up its window only
    }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;
    ~Opened()
    {
        if (dialog_)
            dialog_->hide();
    }
    Flag &Finished() { return *finished_; }

private:
    QPointer<QDialog> dialog_;
    QObject context_;
    std::shared_ptr<Flag> finished_ = std::make_shared<Flag>();
};

QLineEdit *NameOf(const QFileDialog *dialog)
{
    return dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
}

/// What was chosen the last time; the dialog's own selectFile() takes no empty name.
void ForgetChoice(const QFileDialog *dialog)
{
    NameOf(dialog)->clear(); // selects the folder
    for (QAbstractItemView *view : dialog->findChildren<QAbstractItemView *>())
        view->setCurrentIndex({});
}

QString NearestFolder(QString folder)
{
    while (!QDir(folder).exists() && !QDir(folder).isRoot())
        folder = QFileInfo(folder).path();
    return folder;
}
} // namespace

Task<bool> Confirm(QWidget *over, QMessageBox::Icon icon, QString title, QString text, QString about, QString detail)
{
    QMessageBox box(icon, title, text, QMessageBox::Yes | QMessageBox::No, over);
    box.setInformativeText(QString(about + u'\n' + detail.section(u'\n', 0, 0)).trimmed());
    box.setDetailedText(detail);
    box.button(QMessageBox::Yes)->setText(QStringLiteral("&Oui"));
    box.button(QMessageBox::No)->setText(QStringLiteral("&Non"));
    box.setDefaultButton(QMessageBox::No);
    box.setEscapeButton(QMessageBox::No);
    Opened opened(&box);
    co_await opened.Finished();
    co_return box.clickedButton() == box.button(QMessageBox::Yes);
}

QFileDialog *CommonDialog(QWidget *window)
{
    const QString name = QStringLiteral("CommonDialog1");
    auto *dialog = window->findChild<QFileDialog *>(name);
    if (!dialog) {
        dialog = new QFileDialog(window);
        dialog->setObjectName(name);
        dialog->setOption(QFileDialog::DontUseNativeDialog);
        dialog->setOption(QFileDialog::DontConfirmOverwrite); // its question would hold up the program; ours does not
        dialog->setFileMode(QFileDialog::AnyFile);            // so would its word on a file that is not there
    }
    return dialog;
}

namespace {
const QString lastFolder = QStringLiteral("folder");

void RememberFolder(const QFileDialog *dialog, const QString &path)
{
    Remembered(*dialog->parentWidget()).setValue(lastFolder, QFileInfo(path).path());
}

/// At the dialog's side: the user's home, where the dialog begins, and where he went from there the last time.
void OfferFolders(QFileDialog *dialog)
{
    const QString last = Remembered(*dialog->parentWidget()).value(lastFolder).toString();
    QList<QUrl> offered{QUrl::fromLocalFile(QDir::homePath()), QUrl::fromLocalFile(dialog->directory().path())};
    if (!last.isEmpty() && QDir(last).exists() && !offered.contains(QUrl::fromLocalFile(last)))
        offered.append(QUrl::fromLocalFile(last));
    dialog->setSidebarUrls(offered);
}

/// What the user answers to a file dialog that is set up.
Task<QString> Answer(QFileDialog *dialog)
{
    Opened opened(dialog);
    co_await opened.Finished();
    if (QCompleter *completer = NameOf(dialog)->completer())
        completer->popup()->hide();           // stays behind when Enter follows fast on the name
    dialog->parentWidget()->activateWindow(); // not every window system leads back to it
    if (dialog->result() != QDialog::Accepted || dialog->selectedFiles().isEmpty())
        co_return QString();
    co_return dialog->selectedFiles().constFirst();
}
} // namespace

Task<QString> ChooseFile(QFileDialog *dialog, FileQuestion question)
{
    const bool saving = question.mode == QFileDialog::AcceptSave;
    dialog->setWindowTitle(question.title);
    dialog->setAcceptMode(question.mode);
    dialog->setNameFilters(question.filter.split(QStringLiteral(";;")));
    dialog->setDirectory(NearestFolder(question.folder));
    dialog->setDefaultSuffix(saving ? question.suffix : QString());
    ForgetChoice(dialog);
    OfferFolders(dialog);
    for (;;) {
        Task<QString> answer = Answer(dialog);
        const QString path = co_await answer;
        if (path.isEmpty())
            co_return path;
        bool chosen = !saving || !QFileInfo::exists(path);
        if (!chosen) {
            Task<bool> replacing =
                Confirm(dialog->parentWidget(), QMessageBox::Warning, question.title,
                        QStringLiteral("« %1 » existe déjà. Le remplacer ?").arg(QFileInfo(path).fileName()));
            chosen = co_await replacing;
        }
        if (chosen) {
            RememberFolder(dialog, path);
            co_return path;
        }
    }
}
} // namespace dialogs
