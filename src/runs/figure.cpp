// SPDX-License-Identifier: GPL-3.0-or-later
#include "figure.h"

#include <QGridLayout>
#include <QPainter>

namespace {
const QString dash = QStringLiteral("–");

// Pixels.
constexpr int strokeWidth = 4;
constexpr int gap = 8; // from the stroke to the number

constexpr double large = 2.2; // times the size of other texts
} // namespace

Figure::Figure(const QString &name, const QString &caption, const QString &unit, QWidget *parent, const QColor &stroke)
    : QWidget(parent), number_(new QLabel(dash, this)), stroke_(stroke)
{
    number_->setObjectName(name);
    QFont font = number_->font();
    font.setPointSizeF(large * font.pointSizeF());
    font.setBold(true);
    number_->setFont(font);
    number_->setAlignment(Qt::AlignRight | Qt::AlignBaseline);
    auto *heading = new QLabel(caption, this);
    auto *behind = new QLabel(unit, this);
    for (QLabel *label : {heading, behind})
        ::SetTone(*label, Tone::Quiet);
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(stroke.isValid() ? strokeWidth + gap : 0, 0, 0, 0);
    grid->setSpacing(0);
    grid->setHorizontalSpacing(gap / 2);
    grid->setColumnStretch(0, 1);
    grid->addWidget(heading, 0, 0, 1, 2, Qt::AlignRight);
    grid->addWidget(number_, 1, 0);
    grid->addWidget(behind, 1, 1, Qt::AlignBaseline);
}

void Figure::Show(const QString &number)
{
    number_->setText(number.isEmpty() ? dash : number);
}

void Figure::paintEvent(QPaintEvent *)
{
    if (stroke_.isValid())
        QPainter(this).fillRect(0, 0, strokeWidth, height(), stroke_);
}
