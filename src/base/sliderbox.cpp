// SPDX-License-Identifier: GPL-3.0-or-later
#include "sliderbox.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QShowEvent>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>
#include <memory>

namespace {
const QString nothing = QStringLiteral("–");
const QString widest = QStringLiteral("00,00 A"); // so that all boxes are as wide
constexpr int arrows = 30;                        // pixels, with the frame
constexpr int decimals = 2;                       // of an amount
} // namespace

SliderBox::SliderBox(QSlider *slider, Amount amount, const QString &unit)
    : QSpinBox(slider->parentWidget()), slider_(slider), amount_(std::move(amount)), unit_(unit)
{
    setObjectName(slider->objectName() + QStringLiteral("Box"));
    setKeyboardTracking(false);
    setAlignment(Qt::AlignRight);
    setFixedWidth(fontMetrics().horizontalAdvance(widest) + arrows);
    setEnabled(slider->isEnabled());

    auto *beside = new QWidget(slider->parentWidget());
    const std::unique_ptr<QLayoutItem> former(
        slider->parentWidget()->layout()->replaceWidget(slider, beside, Qt::FindChildrenRecursively));
    const bool upright = slider->orientation() == Qt::Vertical;
    auto *both = new QBoxLayout(upright ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight, beside);
    both->setContentsMargins(0, 0, 0, 0);
    both->addWidget(slider, 1, upright ? Qt::AlignHCenter : Qt::Alignment());
    both->addWidget(this);
    for (QWidget *entry : std::initializer_list<QWidget *>{this, lineEdit()})
        entry->setFocusPolicy(Qt::ClickFocus); // the tabulator has the slider, which passes digits on
    setTabOrder(slider, this);

    Show();
    connect(slider, &QSlider::rangeChanged, this, &SliderBox::Show);
    connect(slider, &QSlider::valueChanged, this, &SliderBox::Follow);
    slider->installEventFilter(this);
    connect(this, &QSpinBox::valueChanged, this, &SliderBox::Enter);
    connect(lineEdit(), &QLineEdit::textEdited, this, [this] { typed_ = hasAcceptableInput(); });
    connect(this, &QSpinBox::editingFinished, this, [this] {
        if (std::exchange(typed_, false) && empty_)
            Enter(value());
    });
}

void SliderBox::Follow()
{
    empty_ = false;
    Show();
}

void SliderBox::Show()
{
    {
        const QSignalBlocker quiet(this);
        setRange(slider_->minimum(), slider_->maximum());
        setValue(slider_->value());
        setPrefix({}); // the text may be another one for the same value, which the box does not know by itself
    }
    Q_EMIT Changed();
}

void SliderBox::Empty()
{
    empty_ = true;
    Show();
}

void SliderBox::Enter(int setting)
{
    const bool moves = slider_->value() != setting || slider_->sliderPosition() != setting;
    const bool wanted = std::exchange(empty_, false);
    slider_->setValue(setting);
    if (wanted && !moves)
        Q_EMIT slider_->valueChanged(setting);
}

QString SliderBox::Text(int setting) const
{
    const std::optional<double> amount = amount_ ? amount_(setting) : std::nullopt;
    return amount ? locale().toString(*amount, 'f', decimals) + u' ' + unit_ : QString::number(setting);
}

QString SliderBox::textFromValue(int setting) const
{
    return empty_ ? nothing : Text(setting);
}

/// The setting whose number is the nearest.
int SliderBox::valueFromText(const QString &text) const
{
    const std::optional<double> number = Number(text);
    if (!number)
        return value();
    int nearest = minimum();
    for (int setting = minimum(); setting <= maximum(); ++setting)
        if (std::abs(NumberOf(setting) - *number) < std::abs(NumberOf(nearest) - *number))
            nearest = setting;
    return nearest;
}

QValidator::State SliderBox::validate(QString &text, int &) const
{
    const QString bare = Bare(text);
    const bool whole = !amount_ || !amount_(minimum());
    if (whole && bare.contains(u'.'))
        return QValidator::Invalid;
    if (bare.isEmpty() || bare == QLatin1String("."))
        return QValidator::Intermediate;
    const std::optional<double> number = Number(text);
    if (!number || !(*number <= NumberOf(maximum())))
        return QValidator::Invalid;
    return *number < NumberOf(minimum()) ? QValidator::Intermediate : QValidator::Acceptable;
}

void SliderBox::showEvent(QShowEvent *event)
{
    if (!event->spontaneous())
        Show(); // its window opens: the slider is as designed again
    QSpinBox::showEvent(event);
}

double SliderBox::NumberOf(int setting) const
{
    return (amount_ ? amount_(setting) : std::nullopt).value_or(setting);
}

/// A number as it may be typed, with a point; comma and unit do not matter.
QString SliderBox::Bare(QString text) const
{
    return text.remove(unit_).remove(nothing).replace(u',', u'.').trimmed();
}

std::optional<double> SliderBox::Number(const QString &text) const
{
    bool isNumber = false;
    const double number = QLocale::c().toDouble(Bare(text), &isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// A digit that is pressed on the slider begins a number here.
bool SliderBox::TakesKey(const QKeyEvent &key)
{
    if (key.text().size() != 1 || !key.text().at(0).isDigit() || !isEnabled())
        return false;
    setFocus();
    selectAll();
    QKeyEvent digit(key.type(), key.key(), key.modifiers(), key.text());
    QCoreApplication::sendEvent(this, &digit);
    return true;
}

bool SliderBox::eventFilter(QObject *object, QEvent *event)
{
    if (object == slider_ && event->type() == QEvent::EnabledChange)
        setEnabled(slider_->isEnabled());
    if (object == slider_ && event->type() == QEvent::KeyPress && TakesKey(*static_cast<QKeyEvent *>(event)))
        return true;
    return QSpinBox::eventFilter(object, event);
}
