// SPDX-License-Identifier: GPL-3.0-or-later
#include "warningstrip.h"

#include "link/unwatched.h"

#include <QHBoxLayout>

WarningStrip::WarningStrip(const QString &cutText, QWidget *parent)
    : QWidget(parent), text_(new ElidedLabel(this)), cut_(new QToolButton(this)), guard_(new ElidedLabel(this))
{
    setObjectName(QStringLiteral("warnings"));
    text_->setObjectName(QStringLiteral("unwatched"));
    cut_->setText(cutText);
    cut_->setObjectName(QStringLiteral("cut"));
    guard_->setText(QStringLiteral("sans surveillance de secours"));
    guard_->setObjectName(QStringLiteral("guardMissing"));
    for (QLabel *label : {text_, guard_}) {
        label->setStyleSheet(QStringLiteral("background: #c00000; color: white; font-weight: bold"));
        label->setContentsMargins(8, 3, 8, 3);
    }
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(guard_);
    row->addWidget(text_, 1);
    row->addWidget(cut_);
    connect(cut_, &QToolButton::clicked, this, &WarningStrip::Cut);
    Show({}, false);
}

int WarningStrip::UsualWidth() const
{
    ElidedLabel usual(nullptr);
    usual.setText(Unwatched::Warning(QStringLiteral("décharge")));
    usual.setStyleSheet(text_->styleSheet());
    usual.setContentsMargins(text_->contentsMargins());
    usual.ensurePolished();
    return usual.sizeHint().width() + layout()->spacing() + cut_->sizeHint().width();
}

void WarningStrip::Show(const QString &unwatched, bool guardMissing)
{
    text_->setText(unwatched);
    text_->setVisible(!unwatched.isEmpty());
    cut_->setVisible(!unwatched.isEmpty());
    guard_->setVisible(guardMissing);
    setVisible(guardMissing || !unwatched.isEmpty());
}
