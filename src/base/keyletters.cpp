// SPDX-License-Identifier: GPL-3.0-or-later
#include "keyletters.h"

#include <QCheckBox>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QShortcut>
#include <QToolButton>

namespace {
/// Each letter once.
class Letters
{
public:
    explicit Letters(const QString &taken = {}) : taken_(taken) {}

    /// The first letter of a word of the caption, or any of it, or a digit, that is free; null when none is left.
    QChar Take(const QString &caption)
    {
        const QString letters = caption.toUpper().normalized(QString::NormalizationForm_D);
        QString wanted;
        for (const QString &word : letters.split(u' ', Qt::SkipEmptyParts))
            wanted += word.front();
        wanted += letters + QStringLiteral("123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
        for (const QChar letter : wanted)
            if (letter.unicode() < 128 && letter.isLetterOrNumber() && !taken_.contains(letter)) {
                taken_ += letter;
                return letter;
            }
        return {};
    }

private:
    QString taken_;
};

/// The letters with Ctrl that texts have their own use for.
const QString editing = QStringLiteral("ACVXYZ");

/// Not an indicator, which only looks like one.
bool IsButton(const QAbstractButton *button)
{
    return !button->text().isEmpty() && !button->testAttribute(Qt::WA_TransparentForMouseEvents) &&
           (qobject_cast<const QPushButton *>(button) || qobject_cast<const QToolButton *>(button) ||
            qobject_cast<const QCheckBox *>(button) || qobject_cast<const QRadioButton *>(button));
}

void GiveLetter(QMainWindow &window, QAbstractButton *button, QChar letter)
{
    const QKeySequence key(Qt::ALT | Qt::Key(letter.unicode()));
    auto *shortcut = new QShortcut(key, &window);
    QObject::connect(shortcut, &QShortcut::activated, button, [button] {
        if (!button->isVisible() || !button->isEnabled())
            return;
        button->setFocus(Qt::ShortcutFocusReason);
        button->click();
    });
    const QString name = key.toString(QKeySequence::NativeText);
    button->setToolTip(button->toolTip().isEmpty() ? name : QStringLiteral("%1 (%2)").arg(button->toolTip(), name));
}
} // namespace

void GiveKeyLetters(QMainWindow &window)
{
    Letters withAlt, withCtrl(editing);
    if (auto *bar = window.findChild<QMenuBar *>(QString(), Qt::FindDirectChildrenOnly))
        for (QAction *menu : bar->actions()) {
            auto *shortcut = new QShortcut(Qt::ALT | Qt::Key(withAlt.Take(menu->text()).unicode()), &window);
            QObject::connect(shortcut, &QShortcut::activated, bar, [bar, menu] { bar->setActiveAction(menu); });
            for (QAction *entry : menu->menu()->actions())
                if (!entry->isSeparator() && !entry->isCheckable() && entry->shortcut().isEmpty())
                    entry->setShortcut(Qt::CTRL | Qt::Key(withCtrl.Take(entry->text()).unicode()));
        }
    const QList<QAbstractButton *> buttons = window.findChildren<QAbstractButton *>();
    for (const bool first : {true, false}) // push buttons have the first choice
        for (QAbstractButton *button : buttons)
            if (IsButton(button) && (qobject_cast<QPushButton *>(button) != nullptr) == first)
                if (const QChar letter = withAlt.Take(button->text()); !letter.isNull())
                    GiveLetter(window, button, letter);
}
