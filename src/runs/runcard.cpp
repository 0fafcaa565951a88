// SPDX-License-Identifier: GPL-3.0-or-later
#include "runcard.h"

#include "base/elidedlabel.h"
#include "base/messages.h"
#include "base/title.h"
#include "runwords.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QGridLayout>
#include <QToolButton>
#include <QUrl>

#include <cmath>

namespace {
constexpr int gap = 14; // pixels between two figures

Tone ToneOf(RunEnd::How how)
{
    switch (how) {
    case RunEnd::How::Rule:
        return Tone::Good;
    case RunEnd::How::Cause:
    case RunEnd::How::Error:
        return Tone::Danger;
    case RunEnd::How::Left:
        return Tone::Caution; // what is on stays on
    case RunEnd::How::Stop:
    case RunEnd::How::Restart:
        break;
    }
    return Tone::Plain;
}

/// Milliampere-hours that count: those of the last discharge that went to its end, if there was one.
double Capacity(RunNews::Kind kind, const RunFigures &figures)
{
    return kind == RunNews::Kind::Charge ? figures.milliampereHoursIn
                                         : figures.capacity.value_or(figures.milliampereHoursOut);
}

QString Whole(const std::optional<double> &number)
{
    return number ? QString::number(std::floor(*number), 'f', 0) : QString();
}

QToolButton *Button(const QString &name, const QString &text, const QString &tip, QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(name);
    button->setText(text);
    button->setToolTip(tip);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}
} // namespace

RunCard::RunCard(const RunNews &news, QWidget *parent)
    : QWidget(parent)
    , news_(news)
    , duration_(new Figure(QStringLiteral("bilanDuree"), QStringLiteral("Durée"), {}, this))
    , capacity_(new Figure(QStringLiteral("bilanCapacite"),
                           news.What() == RunNews::Kind::Charge ? QStringLiteral("Chargé") : QStringLiteral("Déchargé"),
                           QStringLiteral("mAh"), this))
    , temperature_(
          new Figure(QStringLiteral("bilanTemperature"), QStringLiteral("Temp. max."), QStringLiteral("°C"), this))
    , cause_(new QLabel(this))
    , why_(new ElidedLabel(this))
    , log_(new ElidedLabel(this, Qt::ElideMiddle))
    , folder_(Button(QStringLiteral("CbDossier"), QStringLiteral("Ouvrir le dossier"),
                     QStringLiteral("Montre le journal dans le gestionnaire de fichiers"), this))
{
    setObjectName(QStringLiteral("bilan"));
    cause_->setObjectName(QStringLiteral("bilanCause"));
    why_->setObjectName(QStringLiteral("bilanRaison"));
    log_->setObjectName(QStringLiteral("bilanJournal"));
    QFont bold = cause_->font();
    bold.setBold(true);
    cause_->setFont(bold);
    SetTone(*cause_, Tone::Plain);
    for (QLabel *label : {why_, log_})
        label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QToolButton *const close =
        Button(QStringLiteral("CbFermerBilan"), QStringLiteral("✕"), QStringLiteral("Ferme ce bilan"), this);
    close->setAutoRaise(true);
    setTabOrder(close, folder_); // which stands below it

    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(gap);
    grid->setVerticalSpacing(2);
    QList<Figure *> figures{duration_, capacity_, temperature_};
    if (news.What() == RunNews::Kind::Capacity)
        figures.append(resistance_ = new Figure(QStringLiteral("bilanResistance"), QStringLiteral("Résistance"),
                                                QStringLiteral("mΩ"), this));
    int column = 0;
    for (Figure *figure : figures)
        grid->addWidget(figure, 0, column++, 3, 1);
    grid->addWidget(cause_, 0, column, 1, 2);
    grid->addWidget(close, 0, column + 2);
    grid->addWidget(why_, 1, column, 1, 3);
    grid->addWidget(log_, 2, column);
    grid->addWidget(folder_, 2, column + 1, 1, 2);
    grid->setColumnStretch(column, 1);
    setMinimumHeight(sizeHint().height()); // also without a reason

    connect(&news, &RunNews::Began, this, [this] {
        sum_ = {};
        currentKnown_ = false;
    });
    connect(&news, &RunNews::PhaseBegan, this, [this] { sum_.EndPhase(); });
    connect(&news, &RunNews::Measured, this, [this](const RunPoint &point) {
        sum_.Add(point);
        currentKnown_ = currentKnown_ || point.currentKnown;
    });
    connect(&news, &RunNews::Over, this, &RunCard::Fill);
    connect(folder_, &QToolButton::clicked, this, &RunCard::OpenFolder);
    connect(close, &QToolButton::clicked, this, &RunCard::Closed);
}

void RunCard::Fill(const RunEnd &end)
{
    if (end.how == RunEnd::How::Restart)
        return; // the next one is about to begin
    if (end.how == RunEnd::How::Rule)
        sum_.EndPhase();
    const RunFigures &figures = sum_.Figures();
    duration_->Show(runwords::Duration(news_.Seconds()));
    capacity_->Show(currentKnown_ ? Whole(Capacity(news_.What(), figures)) : QString());
    temperature_->Show(Whole(figures.highestTemperature));
    if (resistance_)
        resistance_->Show(Whole(figures.resistance));
    cause_->setText(runwords::Ended(news_.What(), end.how));
    SetTone(*cause_, ToneOf(end.how));
    why_->setText(end.why.left(1).toUpper() + end.why.mid(1));
    why_->setHidden(end.why.isEmpty());
    const bool logged = !news_.Log().isEmpty();
    log_->setText(logged ? QFileInfo(news_.Log()).fileName() : QStringLiteral("sans journal"));
    log_->setToolTip(news_.Log());
    folder_->setEnabled(logged);
    Q_EMIT Filled();
}

void RunCard::OpenFolder()
{
    const QString folder = QFileInfo(news_.Log()).absolutePath();
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        messages::Show(this, QMessageBox::Warning, title::Of(*window()),
                       QStringLiteral("Aucun gestionnaire de fichiers ne s'est ouvert. Le dossier est :\n") + folder);
}
