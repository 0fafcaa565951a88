#include "unconfirmed.h"

#include <QGridLayout>
#include <QLabel>

QLabel *UnconfirmedWarning(Outputs &outputs, QWidget *parent)
{
    auto *warning = new QLabel(QStringLiteral("Arrêt non confirmé"), parent);
    warning->setObjectName(QStringLiteral("unconfirmed"));
    warning->setStyleSheet(QStringLiteral("color: #c00000; font-weight: bold"));
    warning->hide();
    QObject::connect(&outputs, &Outputs::UnconfirmedChanged, warning, &QLabel::setVisible);
    return warning;
}

void ShowUnconfirmed(Outputs &outputs, const QLabel *state)
{
    QWidget *frame = state->parentWidget();
    QWidget *central = frame->parentWidget();
    auto *grid = qobject_cast<QGridLayout *>(central->layout());
    int row = 0, column = 0, rows = 0, columns = 0;
    grid->getItemPosition(grid->indexOf(frame), &row, &column, &rows, &columns);
    // In the cell of the frame, which is larger than the warning: nothing moves when it appears.
    grid->addWidget(UnconfirmedWarning(outputs, central), row, column, Qt::AlignTop | Qt::AlignRight);
}
