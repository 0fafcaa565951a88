// SPDX-License-Identifier: GPL-3.0-or-later
#include "hands.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>

namespace {
const std::vector<QString> typed{QString(),
                                 QStringLiteral("0"),
                                 QStringLiteral("1"),
                                 QStringLiteral("3"),
                                 QStringLiteral("4"),
                                 QStringLiteral("6"),
                                 QStringLiteral("12"),
                                 QStringLiteral("100"),
                                 QStringLiteral("255"),
                                 QStringLiteral("256"),
                                 QStringLiteral("1200"),
                                 QStringLiteral("40000"),
                                 QStringLiteral("-1"),
                                 QStringLiteral("1.5"),
                                 QStringLiteral("1,5"),
                                 QStringLiteral(" 7 "),
                                 QStringLiteral("abc"),
                                 QStringLiteral("1e300"),
                                 QStringLiteral("99999999999999999999")};

/// How one gets to a window: the button, or the item of the list, of another.
struct Way
{
    const char *window, *from, *control;
    int item = -1;
};
constexpr Way ways[] = {{"Chargeur", "Main", "cb_chargeur"},  {"Dechargeur", "Main", "CbDechargeur"},
                        {"MesCapa", "Main", "CbCapa"},        {"Moni", "Main", "CbMoni"},
                        {"Reglage", "Main", "Cb_Reglage"},    {"Micro", "Main", "Cb_Debug"},
                        {"Temper", "Reglage", "SelRegl", 0},  {"Vfiltrage", "Reglage", "SelRegl", 2},
                        {"Vout", "Reglage", "SelRegl", 1},    {"Rcourant", "Reglage", "SelRegl", 3},
                        {"RglDech", "Reglage", "SelRegl", 4}, {"RegLIPO", "Reglage", "SelRegl", 5},
                        {"FEtat", "Micro", "CBEtat"},         {"EEprom", "Micro", "CBepr"},
                        {"Exteepr", "Micro", "CbextEEPROM"}};

/// In an order that is the same each time: the system's is that of addresses.
QString Rank(const QWidget *widget)
{
    const QWidget *parent = widget->parentWidget();
    return (parent ? parent->objectName() : QString()) + u'/' + widget->objectName() + u'/' +
           widget->property("text").toString();
}

template <class T>
QList<T *> InSight()
{
    QList<T *> found;
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *wanted = qobject_cast<T *>(widget); wanted && wanted->isVisible())
            found.append(wanted);
    std::ranges::sort(found, {}, Rank);
    return found;
}

QMessageBox *Box()
{
    const QList<QMessageBox *> boxes = InSight<QMessageBox>();
    return boxes.isEmpty() ? nullptr : boxes.constFirst();
}

QFileDialog *FileDialog()
{
    const QList<QFileDialog *> dialogs = InSight<QFileDialog>();
    return dialogs.isEmpty() ? nullptr : dialogs.constFirst();
}

bool Within(const QWidget *control, const QWidget *window)
{
    return !control->objectName().isEmpty() && !control->objectName().startsWith(QLatin1String("qt_")) &&
           control->window() == window && control->isVisible() && control->isEnabled();
}

/// The verb for a control; empty for one that there is nothing to do with.
QString VerbFor(const QWidget *control)
{
    if (qobject_cast<const QAbstractButton *>(control))
        return QStringLiteral("click");
    if (qobject_cast<const QSlider *>(control) || qobject_cast<const QSpinBox *>(control))
        return QStringLiteral("slide");
    if (const auto *box = qobject_cast<const QLineEdit *>(control))
        return box->isReadOnly() ? QStringLiteral("press") : QStringLiteral("type");
    if (qobject_cast<const QComboBox *>(control) || qobject_cast<const QListWidget *>(control))
        return QStringLiteral("choose");
    return {};
}

void Press(QWidget *control)
{
    const QPointF middle = QRectF(control->rect()).center();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, middle, control->mapToGlobal(middle), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(control, &event);
    }
}

QString ValueFor(Dice &dice, const QString &verb, const QWidget *control)
{
    if (verb == QLatin1String("type"))
        return dice.Any(typed);
    if (const auto *slider = qobject_cast<const QSlider *>(control))
        return QString::number(slider->minimum() + dice.Below(slider->maximum() - slider->minimum() + 1));
    if (const auto *spin = qobject_cast<const QSpinBox *>(control)) // a small one is reached in time
        return QString::number(dice.Chance(0.5) ? spin->minimum() + dice.Below(10) : spin->maximum());
    if (const auto *combo = qobject_cast<const QComboBox *>(control))
        return QString::number(dice.Below(combo->count() + 1) - 1);
    if (const auto *list = qobject_cast<const QListWidget *>(control))
        return QString::number(dice.Below(list->count() + 1) - 1);
    return {};
}

/// Buttons that end the program or the session are pressed seldom, or little else would be.
bool IsDrastic(const QString &target)
{
    return target == QLatin1String("Cb_quitter") || target == QLatin1String("CD_DECONNECT") ||
           target == QLatin1String("Cb_Reconnect");
}
} // namespace

QList<QWidget *> Hands::Windows()
{
    QList<QWidget *> windows;
    for (QMainWindow *window : InSight<QMainWindow>())
        windows.append(window);
    return windows;
}

QWidget *Hands::Visible(const QString &window)
{
    for (QWidget *each : Windows())
        if (each->objectName() == window)
            return each;
    return nullptr;
}

Act Hands::Choose(Dice &dice, const QString &only) const
{
    if (Box() && dice.Chance(0.5))
        return {{}, QStringLiteral("answer"), {}, {}, QString::number(dice.Below(2))};
    if (FileDialog() && dice.Chance(0.7))
        return {{},
                QStringLiteral("file"),
                {},
                {},
                dice.Chance(0.2) ? QString() : dice.Any(std::vector<QString>(files_.begin(), files_.end()))};
    QList<QWidget *> windows = Windows();
    if (windows.isEmpty())
        return {{}, QStringLiteral("wait"), {}, {}, {}};
    QWidget *window = windows.at(dice.Below(static_cast<int>(windows.size())));
    if (!only.isEmpty()) {
        // To the window by the way that leads there, then mostly in it.
        QString next = only;
        while (!Visible(next)) {
            const Way *way = std::ranges::find(ways, next, [](const Way &each) { return QLatin1String(each.window); });
            if (way == std::end(ways))
                break;
            next = QLatin1String(way->from);
            if (Visible(next) && dice.Chance(0.9))
                return {{},
                        way->item < 0 ? QStringLiteral("click") : QStringLiteral("choose"),
                        next,
                        QLatin1String(way->control),
                        way->item < 0 ? QString() : QString::number(way->item)};
        }
        if (QWidget *wanted = Visible(only); wanted && dice.Chance(0.9))
            window = wanted;
    }
    const QString name = window->objectName();
    if (dice.Chance(name == QLatin1String("Main") ? 0.005 : 0.03))
        return {{}, QStringLiteral("close"), name, {}, {}};
    if (dice.Chance(0.05))
        return {{}, QStringLiteral("look away"), {}, {}, {}};
    std::vector<const QWidget *> controls;
    for (const QWidget *control : window->findChildren<QWidget *>())
        if (Within(control, window) && !VerbFor(control).isEmpty() &&
            (!IsDrastic(control->objectName()) || dice.Chance(0.1)))
            controls.push_back(control);
    if (controls.empty())
        return {{}, QStringLiteral("wait"), {}, {}, {}};
    const QWidget *control = dice.Any(controls);
    const QString verb = VerbFor(control);
    return {{}, verb, name, control->objectName(), ValueFor(dice, verb, control)};
}

void Hands::Do(const Act &act) const
{
    if (act.verb == QLatin1String("answer")) {
        if (QMessageBox *box = Box()) {
            const auto buttons = box->buttons();
            buttons.at(act.value.toInt() % buttons.size())->click();
        }
        return;
    }
    if (act.verb == QLatin1String("file")) {
        if (QFileDialog *dialog = FileDialog()) {
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(folder_.filePath(act.value));
            if (act.value.isEmpty())
                dialog->reject();
            else
                static_cast<QDialog *>(dialog)->accept();
        }
        return;
    }
    if (act.verb == QLatin1String("look away")) {
        QWidget other;
        other.show();
        other.activateWindow();
        QApplication::processEvents();
        other.hide();
        if (QWidget *main = Visible(QStringLiteral("Main")))
            main->activateWindow();
        return;
    }
    QWidget *window = Visible(act.window);
    if (!window)
        return;
    if (act.verb == QLatin1String("close")) {
        window->close();
        return;
    }
    auto *control = window->findChild<QWidget *>(act.target);
    if (!control || !Within(control, window))
        return;
    if (auto *button = qobject_cast<QAbstractButton *>(control))
        button->click();
    else if (auto *slider = qobject_cast<QSlider *>(control))
        slider->setValue(act.value.toInt());
    else if (auto *spin = qobject_cast<QSpinBox *>(control))
        spin->setValue(act.value.toInt());
    else if (auto *combo = qobject_cast<QComboBox *>(control)) {
        combo->setCurrentIndex(act.value.toInt());
        if (act.value.toInt() >= 0)
            Q_EMIT combo->activated(act.value.toInt());
    } else if (auto *list = qobject_cast<QListWidget *>(control))
        list->setCurrentRow(act.value.toInt());
    else if (auto *box = qobject_cast<QLineEdit *>(control)) {
        Press(box);
        if (!box->isReadOnly() && box->text() != act.value) {
            box->setText(act.value);
            Q_EMIT box->textEdited(act.value);
            Q_EMIT box->returnPressed();
        }
    }
}

void Hands::DismissBoxes()
{
    for (QMessageBox *box : InSight<QMessageBox>())
        box->buttons().constLast()->click();
    for (QFileDialog *dialog : InSight<QFileDialog>())
        dialog->reject();
}
