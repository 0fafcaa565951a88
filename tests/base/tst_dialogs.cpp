// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/dialogs.h"
#include "base/drive.h"
#include "support/boxes.h"
#include "support/coroutines.h"
#include "support/suite.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

namespace {
Task<void> Ask(QWidget *over, int *answer, QString about = {}, QString detail = {})
{
    Task<bool> question = dialogs::Confirm(over, QMessageBox::Information, QStringLiteral("Titre"),
                                           QStringLiteral("Confirmer ?"), about, detail);
    *answer = co_await question ? 1 : 0;
}

Task<void> Choose(QFileDialog *dialog, dialogs::FileQuestion question, QStringList *chosen)
{
    Task<QString> choice = dialogs::ChooseFile(dialog, question);
    const QString path = co_await choice;
    chosen->append(path);
}
} // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { over_.show(); }

    void AQuestionIsAnswered_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<int>("answer");
        QTest::newRow("yes") << int(QMessageBox::Yes) << 1;
        QTest::newRow("no") << int(QMessageBox::No) << 0;
        QTest::newRow("closed") << 0 << 0;
    }
    void AQuestionIsAnswered()
    {
        QFETCH(int, button);
        QFETCH(int, answer);
        int given = -1;
        Runner runner;
        runner.Start(Ask(&over_, &given));
        QCOMPARE(given, -1);
        QCOMPARE(OpenBoxes().size(), 1);
        QMessageBox *box = OpenBoxes().constFirst();
        QCOMPARE(box->text(), QStringLiteral("Confirmer ?"));
        QCOMPARE(box->icon(), QMessageBox::Information);
        QCOMPARE(box->buttons().size(), 2);
        QVERIFY(box->detailedText().isEmpty());
        QCOMPARE(box->windowModality(), Qt::WindowModal); // other windows stay within reach
        if (button == 0)
            box->close();
        else
            box->button(static_cast<QMessageBox::StandardButton>(button))->click();
        QTRY_COMPARE(given, answer);
        QVERIFY(runner.Idle());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void ADetailIsShown()
    {
        int given = -1;
        Runner runner;
        runner.Start(Ask(&over_, &given, QStringLiteral("image.HEX"), QStringLiteral("un\ndeux")));
        QCOMPARE(OpenBoxes().constFirst()->informativeText(), QStringLiteral("image.HEX\nun"));
        QCOMPARE(OpenBoxes().constFirst()->detailedText(), QStringLiteral("un\ndeux"));
    }

    void EnterMeansNo()
    {
        int given = -1;
        Runner runner;
        runner.Start(Ask(&over_, &given));
        QTest::keyClick(OpenBoxes().constFirst(), Qt::Key_Return);
        QTRY_COMPARE(given, 0);
    }

    void ADroppedQuestionGoesAway()
    {
        int given = -1;
        Runner runner;
        runner.Start(Ask(&over_, &given));
        runner.Drop();
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(given, -1);
    }

    void AFileIsChosen()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("a.HEX")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QCOMPARE(&dialog, dialogs::CommonDialog(&over_));
        QCOMPARE(dialog.objectName(), QStringLiteral("CommonDialog1"));
        QStringList chosen;
        Runner runner;
        for (int round = 1; round <= 2; ++round) { // the dialog is there for more than once
            runner.Start(Choose(&dialog,
                                {.mode = QFileDialog::AcceptOpen,
                                 .title = QStringLiteral("Fichier"),
                                 .filter = QStringLiteral("Hex8 (*.HEX);;All (*)"),
                                 .folder = folder.filePath(QStringLiteral("not/there"))},
                                &chosen));
            QVERIFY(dialog.isVisible());
            QCOMPARE(dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->text(), QString());
            QCOMPARE(dialog.windowTitle(), QStringLiteral("Fichier"));
            QCOMPARE(dialog.nameFilters(), (QStringList{QStringLiteral("Hex8 (*.HEX)"), QStringLiteral("All (*)")}));
            QCOMPARE(dialog.directory(), QDir(folder.path()));
            dialog.selectFile(file.fileName());
            static_cast<QDialog &>(dialog).accept();
            QTRY_COMPARE(chosen.size(), round);
            QCOMPARE(chosen.constLast(), file.fileName());
        }
    }

    void TheFolderOfTheLastTimeIsOffered()
    {
        const QTemporaryDir usual;
        const QTemporaryDir other;
        drive::SetRoot(usual.path());
        over_.setObjectName(QStringLiteral("EEprom"));
        QFile file(other.filePath(QStringLiteral("a")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        const QUrl there = QUrl::fromLocalFile(other.path());
        for (const bool known : {false, true}) {
            runner.Start(Choose(&dialog,
                                {.mode = QFileDialog::AcceptOpen, .title = {}, .filter = {}, .folder = usual.path()},
                                &chosen));
            QCOMPARE(dialog.directory(), QDir(usual.path())); // where it always begins
            QCOMPARE(dialog.sidebarUrls().contains(there), known);
            dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(file.fileName());
            static_cast<QDialog &>(dialog).accept();
            QTRY_COMPARE(chosen.size(), known ? 2 : 1);
        }
        drive::SetRoot({});
    }

    void TheLastChoiceIsForgotten()
    {
        const QTemporaryDir folder;
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        for (const QString &name : {QStringLiteral("a"), QStringLiteral("b")}) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            runner.Start(Choose(&dialog,
                                {.mode = QFileDialog::AcceptOpen, .title = {}, .filter = {}, .folder = folder.path()},
                                &chosen));
            dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(file.fileName());
            static_cast<QDialog &>(dialog).accept();
            QTRY_COMPARE(chosen.value(chosen.size() - 1), file.fileName());
        }
    }

    void AllFilesAreOffered()
    {
        const QTemporaryDir folder;
        for (const char *name : {"a.HEX", "b.hex", "c.txt", "nodot"}) {
            QFile file(folder.filePath(QString::fromLatin1(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        runner.Start(Choose(&dialog,
                            {.mode = QFileDialog::AcceptOpen,
                             .title = {},
                             .filter = QStringLiteral("Hex8 (*.HEX);;All (*.* *)"),
                             .folder = folder.path()},
                            &chosen));
        const auto *view = dialog.findChild<QTreeView *>(QStringLiteral("treeView"));
        QTRY_COMPARE(view->model()->rowCount(view->rootIndex()), 2);
        dialog.selectNameFilter(QStringLiteral("All (*.* *)"));
        QTRY_COMPARE(view->model()->rowCount(view->rootIndex()), 4);
        dialog.reject();
        QTRY_VERIFY(runner.Idle());
    }

    void AMissingFileIsForTheReaderToName()
    {
        const QTemporaryDir folder;
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        runner.Start(Choose(
            &dialog,
            {.mode = QFileDialog::AcceptOpen, .title = {}, .filter = {}, .folder = folder.path(), .suffix = "ESV"},
            &chosen));
        dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("image"));
        static_cast<QDialog &>(dialog).accept();
        QTRY_COMPARE(chosen, QStringList{folder.filePath(QStringLiteral("image"))}); // with the name as it was typed
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AFileIsReplacedOnlyWhenTheUserSaysSo()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("old.ESV")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        runner.Start(Choose(
            &dialog,
            {.mode = QFileDialog::AcceptSave, .title = {}, .filter = {}, .folder = folder.path(), .suffix = "ESV"},
            &chosen));
        dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("old"));
        static_cast<QDialog &>(dialog).accept();
        QTRY_COMPARE(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(), QStringLiteral("« old.ESV » existe déjà. Le remplacer ?"));
        OpenBoxes().constFirst()->button(QMessageBox::No)->click();
        QTRY_VERIFY(dialog.isVisible()); // for another name
        QVERIFY(chosen.isEmpty());
        static_cast<QDialog &>(dialog).accept();
        QTRY_COMPARE(OpenBoxes().size(), 1);
        OpenBoxes().constFirst()->button(QMessageBox::Yes)->click();
        QTRY_COMPARE(chosen, QStringList{file.fileName()});
    }

    void ACancelledChoiceIsEmpty()
    {
        QFileDialog &dialog = *dialogs::CommonDialog(&over_);
        QStringList chosen;
        Runner runner;
        runner.Start(
            Choose(&dialog, {.mode = QFileDialog::AcceptSave, .title = {}, .filter = {}, .folder = {}}, &chosen));
        dialog.reject();
        QTRY_COMPARE(chosen, QStringList{QString()});
    }

private:
    QWidget over_;
};

REGISTER_TEST(TestDialogs)
#include "tst_dialogs.moc"
