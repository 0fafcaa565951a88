// SPDX-License-Identifier: GPL-3.0-or-later
#include "messages.h"

#include <QApplication>
#include <QPushButton>

#include <cstdio>

namespace messages {
namespace {
std::function<void()> endOnConsole; // null while there are boxes

bool IsOpen(const QString &text)
{
    const auto widgets = QApplication::topLevelWidgets();
    return std::ranges::any_of(widgets, [&text](QWidget *widget) {
        const auto *box = qobject_cast<QMessageBox *>(widget);
        return box && box->isVisible() && box->text() == text;
    });
}

void Print(const QString &text, const QString &hint)
{
    for (const QString &line : {text, hint})
        if (!line.isEmpty())
            std::fprintf(stderr, "%s\n", qUtf8Printable(line));
}

QMessageBox *Make(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text,
                  QMessageBox::StandardButtons buttons)
{
    auto *box = new QMessageBox(icon, title, text, buttons, over);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal); // a stop button stays within reach
    return box;
}

QMessageBox *Open(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text, const QString &hint)
{
    QMessageBox *const box = Make(over, icon, title, text, QMessageBox::Ok);
    box->setInformativeText(hint);
    box->show();
    return box;
}
} // namespace

void UseConsole(std::function<void()> end)
{
    endOnConsole = std::move(end);
}

void Show(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text, const QString &hint)
{
    if (endOnConsole)
        Print(text, hint);
    else if (!IsOpen(text))
        Open(over, icon, title, text, hint);
}

QMessageBox *Ask(QWidget *over, const QString &title, const QString &text, const QStringList &answers,
                 std::function<void(int)> answered)
{
    if (endOnConsole)
        return nullptr;
    QMessageBox *const box = Make(over, QMessageBox::Question, title, text, QMessageBox::NoButton);
    QPushButton *last = nullptr;
    for (const QString &answer : answers)
        last = box->addButton(answer, &answer == &answers.back() ? QMessageBox::RejectRole : QMessageBox::ActionRole);
    box->setDefaultButton(last);
    box->setEscapeButton(last);
    QObject::connect(box, &QMessageBox::buttonClicked, over, [answers, answered](const QAbstractButton *button) {
        answered(static_cast<int>(answers.indexOf(button->text())));
    });
    box->show();
    return box;
}

void ShowAndEnd(QWidget *over, const QString &title, const QString &text, const QString &hint)
{
    if (endOnConsole) {
        Print(text, hint);
        endOnConsole();
        return;
    }
    QMessageBox *const box = Open(over, QMessageBox::Critical, title, text, hint);
    box->raise();
    box->activateWindow();
    QObject::connect(box, &QMessageBox::finished, qApp, [] { QCoreApplication::exit(1); });
}
} // namespace messages
