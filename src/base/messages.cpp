#include "messages.h"

#include <QApplication>

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

void Print(const QString &text)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

QMessageBox *Open(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text)
{
    auto *box = new QMessageBox(icon, title, text, QMessageBox::Ok, over);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal); // a stop button stays within reach
    box->show();
    return box;
}
} // namespace

void UseConsole(std::function<void()> end)
{
    endOnConsole = std::move(end);
}

void Show(QWidget *over, QMessageBox::Icon icon, const QString &title, const QString &text)
{
    if (endOnConsole)
        Print(text);
    else if (!IsOpen(text))
        Open(over, icon, title, text);
}

void ShowAndEnd(QWidget *over, const QString &title, const QString &text)
{
    if (endOnConsole) {
        Print(text);
        endOnConsole();
        return;
    }
    QObject::connect(Open(over, QMessageBox::Critical, title, text), &QMessageBox::finished, qApp,
                     [] { QCoreApplication::exit(1); });
}
} // namespace messages
