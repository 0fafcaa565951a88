#include "unconfirmed.h"

#include <QBoxLayout>
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
    QLabel *warning = UnconfirmedWarning(outputs, state->parentWidget());
    warning->setAlignment(Qt::AlignCenter);
    state->parentWidget()->layout()->addWidget(warning);
}
