// SPDX-License-Identifier: GPL-3.0-or-later
#include "limitsbox.h"

#include "base/remembered.h"
#include "warning.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpinBox>

#include <algorithm>

namespace {
constexpr auto thinking = 2s; // a number that is not typed on for so long is meant as it stands
constexpr int columnGap = 16;

QString TickedKey(const QString &key)
{
    return key + QStringLiteral("Active");
}
} // namespace

LimitsBox::LimitsBox(QWidget *parent) : QGroupBox(QStringLiteral("Sécurités"), parent)
{
    setToolTip(QStringLiteral("Une limite cochée arrête le travail dès qu'elle est atteinte"));
    auto *grid = new QGridLayout(this);
    setLayout(grid);
    rows_ = {
        MakeRow(0, QStringLiteral("temperatureMax"), QStringLiteral("Température max."), QStringLiteral(" °C"),
                Limits::temperatures),
        MakeRow(1, QStringLiteral("dureeMax"), QStringLiteral("Durée max."), QStringLiteral(" min"), Limits::durations),
        MakeRow(2, QStringLiteral("capaciteMax"), QStringLiteral("Capacité max."), QStringLiteral(" mAh"),
                Limits::capacities)};
    rows_[0].Explain(QStringLiteral("Arrête quand la carte atteint cette température ; celle de la batterie n'est pas "
                                    "mesurée"));
    rows_[1].Explain(
        QStringLiteral("Arrête au bout de ce temps ; une mesure de capacité compte chaque charge et chaque "
                       "décharge pour elle-même"));
    rows_[2].Explain(QStringLiteral("Arrête quand tant de mAh ont été mis ou tirés ; une mesure de capacité compte "
                                    "chaque charge et chaque décharge pour elle-même"));
    setFocusPolicy(Qt::StrongFocus); // a place in the order of the window's controls, for all that is in it
    setFocusProxy(rows_[0].ticked);
}

LimitsBox::Row LimitsBox::MakeRow(int column, const QString &key, const QString &caption, const QString &unit,
                                  const Limits::Range &range)
{
    const Row row{key, new QCheckBox(caption, this), new QSpinBox(this)};
    row.ticked->setObjectName(TickedKey(key));
    row.limit->setObjectName(key);
    row.limit->setSuffix(unit);
    row.limit->setRange(range.least, range.most);
    row.limit->setValue(range.usual);
    row.limit->setAlignment(Qt::AlignRight);
    row.limit->setEnabled(false);
    row.limit->setKeyboardTracking(false); // the 1 of 120 is no limit

    auto *grid = static_cast<QGridLayout *>(layout());
    if (column > 0)
        grid->setColumnMinimumWidth(3 * column - 1, columnGap);
    grid->setColumnStretch(3 * column + 2, column < 2 ? 1 : 0);
    grid->addWidget(row.ticked, 0, 3 * column);
    grid->addWidget(row.limit, 0, 3 * column + 1);

    connect(row.ticked, &QCheckBox::toggled, row.limit, &QWidget::setEnabled);
    connect(row.ticked, &QCheckBox::toggled, this, [this, row] {
        Remember(row);
        ShowBlindness();
    });
    connect(row.limit, &QSpinBox::valueChanged, this, [this, row] { Remember(row); });
    connect(row.limit->findChild<QLineEdit *>(), &QLineEdit::textEdited, this, [this] { typed_.Start(thinking); });
    return row;
}

void LimitsBox::Watch(const Codebas &link, std::vector<const Quantity *> currents)
{
    link_ = &link;
    currents_ = std::move(currents);
    blindness_ = RedWarning({}, parentWidget());
    blindness_->setObjectName(QStringLiteral("blindness"));
    PutOnTitleLine(blindness_, this);
    connect(&link.handshake, &Handshake::Connected, this, &LimitsBox::ShowBlindness);
}

void LimitsBox::Row::Explain(const QString &tip) const
{
    ticked->setToolTip(tip);
    limit->setToolTip(tip);
}

std::optional<int> LimitsBox::Row::Value() const
{
    return ticked->isChecked() ? std::optional(limit->value()) : std::nullopt;
}

void LimitsBox::Row::Set(std::optional<int> value)
{
    const QSignalBlocker tickedQuiet(ticked), limitQuiet(limit);
    ticked->setChecked(value.has_value());
    limit->setEnabled(value.has_value());
    limit->setValue(value.value_or(limit->value()));
}

void LimitsBox::Recall()
{
    Remembered settings(*window());
    for (Row &row : rows_) {
        bool isNumber = false;
        const int value = settings.value(row.key).toInt(&isNumber);
        if (isNumber)
            row.Set(value);
        if (!isNumber || !settings.value(TickedKey(row.key)).toBool())
            row.Set({});
    }
    ShowBlindness();
}

void LimitsBox::Show(const Limits &limits)
{
    rows_[0].Set(limits.temperature);
    rows_[1].Set(limits.minutes);
    rows_[2].Set(limits.milliampereHours);
    ShowBlindness();
}

void LimitsBox::Remember(const Row &row) const
{
    Remembered settings(*window());
    settings.setValue(row.key, row.limit->value());
    settings.setValue(TickedKey(row.key), row.ticked->isChecked());
}

void LimitsBox::TakeTyped()
{
    for (const Row &row : rows_)
        row.limit->interpretText();
}

QString LimitsBox::Reached(double temperature, double seconds, double milliampereHours)
{
    ShowBlindness(); // the calibration may be another one by now
    Progress progress{temperature, seconds, milliampereHours};
    if (!Quantity::temperature.calibrated(*link_))
        progress.temperature.reset();
    return Limits{rows_[0].Value(), rows_[1].Value(), rows_[2].Value()}.Reached(progress);
}

QString LimitsBox::Blindness() const
{
    const bool temperature = rows_[0].Value() && !Quantity::temperature.calibrated(*link_);
    const bool current = rows_[2].Value() && !std::ranges::all_of(currents_, [this](const Quantity *each) {
                             return each->calibrated(*link_);
                         });
    if (temperature && current)
        return QStringLiteral("température et courant non étalonnés : limites sans effet");
    if (temperature)
        return QStringLiteral("température non étalonnée : limite sans effet");
    return current ? QStringLiteral("courant non étalonné : limite sans effet") : QString();
}

void LimitsBox::ShowBlindness()
{
    blindness_->setText(Blindness());
    blindness_->setVisible(!blindness_->text().isEmpty());
}
