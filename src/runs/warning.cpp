// SPDX-License-Identifier: GPL-3.0-or-later
#include "warning.h"

#include "base/tone.h"

#include <QGridLayout>
#include <QLabel>

QLabel *RedWarning(const QString &text, QWidget *parent)
{
    auto *warning = new QLabel(text, parent);
    QFont bold;
    bold.setBold(true);
    warning->setFont(bold);
    SetTone(*warning, Tone::Danger);
    warning->hide();
    return warning;
}

void PutOnTitleLine(QWidget *warning, QWidget *frame)
{
    auto *grid = qobject_cast<QGridLayout *>(frame->parentWidget()->layout());
    int row = 0, column = 0, rows = 0, columns = 0;
    grid->getItemPosition(grid->indexOf(frame), &row, &column, &rows, &columns);
    QSizePolicy policy = warning->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // the layout knows no gap above a hidden one
    warning->setSizePolicy(policy);
    // In the cell of the frame, which is larger than the warning.
    grid->addWidget(warning, row, column, rows, columns, Qt::AlignTop | Qt::AlignRight);
}
