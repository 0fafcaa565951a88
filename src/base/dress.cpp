// SPDX-License-Identifier: GPL-3.0-or-later
#include "dress.h"

#include "glyph.h"
#include "keyletters.h"
#include "tone.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>

#include <algorithm>

namespace {
constexpr int spacing = 8;       // pixels from one group of controls to the next
constexpr double designSize = 9; // points of the application's letters for which the windows are designed

/// What is designed as 12 points is a third larger than the application's letters.
void ScaleLetters(const QMainWindow &window)
{
    const double scale = QApplication::font().pointSizeF() / designSize;
    for (QWidget *widget : window.findChildren<QWidget *>()) {
        QFont font = widget->font();
        const bool own = widget->testAttribute(Qt::WA_SetFont) && (font.resolveMask() & QFont::SizeResolved) != 0 &&
                         font.pointSizeF() != widget->parentWidget()->font().pointSizeF();
        if (!own || font.pointSizeF() <= 0)
            continue;
        font.setPointSizeF(scale * font.pointSizeF());
        widget->setFont(font);
    }
}

/// Not in a window with a pane, whose places are its own.
void SetSpaces(const QMainWindow &window)
{
    if (window.centralWidget()->objectName() != QLatin1String("central"))
        return;
    window.centralWidget()->layout()->setSpacing(spacing);
    window.centralWidget()->layout()->activate();
}

/// Curves and texts have a use for all the room that there is.
bool HasUseForRoom(const QWidget &widget)
{
    return qobject_cast<const QPlainTextEdit *>(&widget) || widget.inherits("QCustomPlot");
}

/// In a window of fields that is larger than it need be these keep their width, in the middle.
void KeepWidth(QMainWindow &window)
{
    if (std::ranges::any_of(window.centralWidget()->findChildren<QWidget *>(),
                            [](const QWidget *widget) { return HasUseForRoom(*widget); }))
        return;
    QWidget *const content = window.takeCentralWidget();
    auto *middle = new QWidget(&window);
    auto *row = new QHBoxLayout(middle);
    row->setContentsMargins({});
    row->addStretch(1);
    row->addWidget(content);
    row->addStretch(1);
    content->show();
    window.setCentralWidget(middle);
}
} // namespace

void Dress(QMainWindow &window)
{
    SetSpaces(window);
    ScaleLetters(window);
    for (QLineEdit *entry : window.findChildren<QLineEdit *>()) {
        if (entry->isReadOnly())
            SetFlat(*entry);
        if (!entry->placeholderText().isEmpty())
            SetReadableHint(*entry);
    }
    KeepWidth(window);
    GiveKeyLetters(window);
    if (const QIcon icon = TitleIcon(window.objectName()); !icon.isNull())
        window.setWindowIcon(icon);
    window.layout()->activate(); // so that the window knows what it needs before it is shown
}
