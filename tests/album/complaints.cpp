// SPDX-License-Identifier: GPL-3.0-or-later
#include "complaints.h"

#include "base/elidedlabel.h"
#include "base/tone.h"
#include "chart/chart.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollArea>
#include <QSplitterHandle>
#include <QStyleOption>
#include <QTabWidget>
#include <QToolButton>

#include <functional>

namespace {
constexpr int titleBar = 30; // logical pixels, as window managers have them

QString Name(const QWidget &widget)
{
    QString name = widget.objectName();
    if (name.isEmpty())
        name = QString::fromLatin1(widget.metaObject()->className()) + u'(' + widget.property("text").toString() + u')';
    return name;
}

/// What is painted by a widget as a whole, so that nobody lays its parts out.
bool IsWhole(const QWidget &widget)
{
    return (qobject_cast<const QAbstractScrollArea *>(&widget) && !qobject_cast<const QScrollArea *>(&widget)) ||
           qobject_cast<const QAbstractSpinBox *>(&widget) || qobject_cast<const QComboBox *>(&widget) ||
           qobject_cast<const Chart *>(&widget) || qobject_cast<const QMenuBar *>(&widget) ||
           qobject_cast<const QTabBar *>(&widget);
}

/// The visible widgets below this one.
void Walk(const QWidget &parent, const std::function<void(const QWidget &)> &visit)
{
    for (const QObject *child : parent.children()) {
        const auto *widget = qobject_cast<const QWidget *>(child);
        if (!widget || widget->isWindow() || !widget->isVisible())
            continue;
        visit(*widget);
        if (!IsWhole(*widget))
            Walk(*widget, visit);
    }
}

bool Scrolls(const QWidget &widget)
{
    for (const QWidget *parent = widget.parentWidget(); parent; parent = parent->parentWidget())
        if (qobject_cast<const QScrollArea *>(parent))
            return true;
    return false;
}

/// The place of a group box's title.
QRect TitleOf(const QGroupBox &box)
{
    QStyleOptionGroupBox option;
    option.initFrom(&box);
    option.text = box.title();
    option.subControls = QStyle::SC_GroupBoxFrame | QStyle::SC_GroupBoxLabel;
    option.textAlignment = box.alignment();
    return box.style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, &box);
}

/// The places that a widget takes up, in its own coordinates. A group box leaves the rest of its title line to others.
QRegion Taken(const QWidget &widget)
{
    const auto *box = qobject_cast<const QGroupBox *>(&widget);
    if (!box || box->title().isEmpty())
        return widget.rect();
    const QRect title = TitleOf(*box);
    return QRegion(widget.rect().adjusted(0, title.bottom() + 1, 0, 0)) + title;
}

/// A text and the place that it has in its widget.
struct Text
{
    QString text;
    QRect place;
    int flags = 0; ///< as for QFontMetrics::boundingRect
};

QRect InsideButton(const QAbstractButton &button)
{
    QStyleOptionButton option;
    option.initFrom(&button);
    if (qobject_cast<const QCheckBox *>(&button))
        return button.style()->subElementRect(QStyle::SE_CheckBoxContents, &option, &button);
    if (qobject_cast<const QRadioButton *>(&button))
        return button.style()->subElementRect(QStyle::SE_RadioButtonContents, &option, &button);
    QRect inside = button.rect().adjusted(2, 0, -2, 0);
    const auto *tool = qobject_cast<const QToolButton *>(&button);
    if (!button.icon().isNull() || (tool && tool->arrowType() != Qt::NoArrow))
        inside.adjust(button.iconSize().width() + 4, 0, 0, 0);
    return inside;
}

/// Nothing for a widget that shows no text, or shortens it itself.
std::optional<Text> TextOf(const QWidget &widget)
{
    if (const auto *label = qobject_cast<const QLabel *>(&widget)) {
        if (label->text().isEmpty() || Qt::mightBeRichText(label->text()) || qobject_cast<const ElidedLabel *>(label))
            return std::nullopt;
        const QRect place =
            label->contentsRect().marginsRemoved({label->margin(), label->margin(), label->margin(), label->margin()});
        return Text{label->text(), place, label->wordWrap() ? Qt::TextWordWrap : 0};
    }
    if (const auto *button = qobject_cast<const QAbstractButton *>(&widget))
        return button->text().isEmpty() ? std::nullopt
                                        : std::optional<Text>({button->text(), InsideButton(*button), 0});
    if (const auto *box = qobject_cast<const QGroupBox *>(&widget))
        return box->title().isEmpty() ? std::nullopt : std::optional<Text>({box->title(), TitleOf(*box), 0});
    if (const auto *entry = qobject_cast<const QLineEdit *>(&widget)) {
        QStyleOptionFrame option;
        option.initFrom(entry);
        option.lineWidth = entry->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &option, entry);
        const QString shown = entry->text().isEmpty() ? entry->placeholderText() : entry->displayText();
        return shown.isEmpty()
                   ? std::nullopt
                   : std::optional<Text>(
                         {shown, entry->style()->subElementRect(QStyle::SE_LineEditContents, &option, entry), 0});
    }
    if (const auto *combo = qobject_cast<const QComboBox *>(&widget)) {
        QStyleOptionComboBox option;
        option.initFrom(combo);
        option.editable = combo->isEditable();
        return combo->currentText().isEmpty()
                   ? std::nullopt
                   : std::optional<Text>({combo->currentText(),
                                          combo->style()->subControlRect(QStyle::CC_ComboBox, &option,
                                                                         QStyle::SC_ComboBoxEditField, combo),
                                          0});
    }
    return std::nullopt;
}

QString InWords(const QSize &size)
{
    return QStringLiteral("%1 x %2").arg(size.width()).arg(size.height());
}

/// The contrast of what stands out most in a place of a picture with what fills it.
double ContrastIn(const QImage &picture, const QRect &place)
{
    QHash<QRgb, int> counts;
    for (int y = place.top(); y <= place.bottom(); ++y)
        for (int x = place.left(); x <= place.right(); ++x)
            ++counts[picture.pixel(x, y)];
    QRgb ground = 0;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        if (it.value() > counts.value(ground))
            ground = it.key();
    double most = 1;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        most = std::max(most, Contrast(QColor(it.key()), QColor(ground)));
    return most;
}
} // namespace

namespace complaints {
QStringList OfPlace(const QWidget &window)
{
    QStringList found;
    const QSize room = window.screen()->availableSize() - QSize(0, titleBar);
    if (window.width() > room.width() || window.height() > room.height())
        found.append(
            QStringLiteral("the window is %1, the screen has room for %2").arg(InWords(window.size()), InWords(room)));
    Walk(window, [&](const QWidget &widget) {
        const QRect place(widget.mapTo(&window, QPoint()), widget.size());
        if (!Scrolls(widget) && !window.rect().contains(place))
            found.append(QStringLiteral("%1 lies outside the window").arg(Name(widget)));
    });
    return found;
}

QStringList OfTexts(const QWidget &window)
{
    QStringList found;
    Walk(window, [&](const QWidget &widget) {
        const std::optional<Text> text = TextOf(widget);
        if (!text)
            return;
        QRect place = text->place;
        if ((text->flags & Qt::TextWordWrap) == 0)
            place.setWidth(QWIDGETSIZE_MAX);
        const QSize needed =
            widget.fontMetrics()
                .boundingRect(QRect(QPoint(), QSize(place.width(), QWIDGETSIZE_MAX)), text->flags, text->text)
                .size();
        const QSize line(0, widget.fontMetrics().height());
        if (needed.width() > text->place.width() + 1 || needed.expandedTo(line).height() > text->place.height() + 1)
            found.append(QStringLiteral("“%1” of %2 needs %3 and has %4")
                             .arg(text->text, Name(widget), InWords(needed), InWords(text->place.size())));
    });
    return found;
}

QStringList OfOverlaps(const QWidget &window)
{
    QStringList found;
    QHash<const QWidget *, QList<const QWidget *>> families;
    Walk(window, [&](const QWidget &widget) {
        const QWidget *parent = widget.parentWidget();
        if (!qobject_cast<const QSplitterHandle *>(&widget) && !qobject_cast<const QTabWidget *>(parent))
            families[parent].append(&widget);
    });
    for (const QList<const QWidget *> &family : std::as_const(families))
        for (qsizetype i = 0; i < family.size(); ++i)
            for (qsizetype j = 0; j < i; ++j) {
                const QRegion one = Taken(*family[i]).translated(family[i]->pos());
                if (one.intersects(Taken(*family[j]).translated(family[j]->pos())))
                    found.append(QStringLiteral("%1 lies on %2").arg(Name(*family[i]), Name(*family[j])));
            }
    return found;
}

QStringList OfContrast(QWidget &window)
{
    QStringList found;
    const QImage picture = window.grab().toImage();
    const double scale = picture.devicePixelRatio();
    Walk(window, [&](const QWidget &widget) {
        const std::optional<Text> text = TextOf(widget);
        if (!text || !widget.isEnabled() || text->text.trimmed().isEmpty())
            return;
        const QRect inside =
            text->place.adjusted(2, 2, -2, -2).translated(widget.mapTo(&window, QPoint())) & window.rect();
        if (inside.isEmpty() || widget.visibleRegion().boundingRect().size() != widget.size())
            return; // scrolled out of sight
        const double contrast = ContrastIn(picture, QRect(inside.topLeft() * scale, inside.size() * scale));
        if (contrast < textContrast)
            found.append(QStringLiteral("“%1” of %2 has a contrast of %3").arg(text->text, Name(widget)).arg(contrast));
    });
    return found;
}
} // namespace complaints
