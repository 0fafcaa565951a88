// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/messages.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QPointer>
#include <QTemporaryFile>
#include <QTimer>
#include <QtTest>

#include <unistd.h>

class TestMessages : public QObject
{
    Q_OBJECT

private:
    static void Say(const QString &text)
    {
        messages::Show(nullptr, QMessageBox::Warning, QStringLiteral("Titre"), text);
    }

private Q_SLOTS:
    void cleanup()
    {
        AnswerBoxes();
        QTRY_VERIFY(OpenBoxes().isEmpty());
    }

    void ABoxHoldsNothingUp()
    {
        QWidget window;
        window.show();
        messages::Show(&window, QMessageBox::Critical, QStringLiteral("Titre"), QStringLiteral("texte"));
        const auto boxes = OpenBoxes();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes[0]->windowTitle(), QStringLiteral("Titre"));
        QCOMPARE(boxes[0]->text(), QStringLiteral("texte"));
        QCOMPARE(boxes[0]->icon(), QMessageBox::Critical);
        QCOMPARE(boxes[0]->buttons().size(), 1);
        QVERIFY(!boxes[0]->isModal());
        QCOMPARE(boxes[0]->parentWidget(), &window);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void TheSameIsNotSaidTwiceAtATime()
    {
        Say(QStringLiteral("un"));
        Say(QStringLiteral("un"));
        QCOMPARE(OpenBoxes().size(), 1);
        Say(QStringLiteral("deux"));
        QCOMPARE(OpenBoxes().size(), 2);
        const QPointer<QMessageBox> first = OpenBoxes().constFirst();
        AnswerBoxes();
        QVERIFY(OpenBoxes().isEmpty());
        QTRY_VERIFY(!first); // and none is left over
        Say(QStringLiteral("un"));
        QCOMPARE(OpenBoxes().size(), 1);
    }

    void AFatalErrorEndsTheProgramOnceItWasSeen()
    {
        messages::ShowAndEnd(nullptr, QStringLiteral("Titre"), QStringLiteral("fatal"));
        QCOMPARE(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(), QStringLiteral("fatal"));
        bool seen = false;
        QTimer::singleShot(0, this, [&seen] {
            seen = OpenBoxes().size() == 1;
            AnswerBoxes();
        });
        QCOMPARE(QCoreApplication::exec(), 1);
        QVERIFY(seen);
    }

    void OnAConsoleTheyAreLines() // the last one: there is no way back
    {
        QTemporaryFile console;
        QVERIFY(console.open());
        std::fflush(stderr);
        const int kept = dup(STDERR_FILENO);
        dup2(console.handle(), STDERR_FILENO);
        messages::UseConsole([] { QCoreApplication::exit(1); });
        Say(QStringLiteral("une ligne"));
        QTimer::singleShot(0, this, [] { messages::ShowAndEnd(nullptr, {}, QStringLiteral("la dernière")); });
        const int status = QCoreApplication::exec();
        std::fflush(stderr);
        dup2(kept, STDERR_FILENO);
        close(kept);
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(status, 1);
        console.seek(0);
        QCOMPARE(QString::fromUtf8(console.readAll()), QStringLiteral("une ligne\nla dernière\n"));
    }
};

REGISTER_TEST(TestMessages)
#include "tst_messages.moc"
