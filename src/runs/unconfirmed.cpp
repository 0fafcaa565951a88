#include "unconfirmed.h"

#include <QBoxLayout>
#include <QLabel>

void ShowUnconfirmed(Outputs &outputs, QLabel *state)
{
    auto *warning = new QLabel(QStringLiteral("Arrêt non confirmé"), state->parentWidget());
    warning->setObjectName(QStringLiteral("unconfirmed"));
    warning->setStyleSheet(QStringLiteral("color: #c00000; font-weight: bold"));
    warning->setAlignment(Qt::AlignCenter);
    QSizePolicy policy = warning->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // nothing moves when it appears
    warning->setSizePolicy(policy);
    warning->hide();
    state->parentWidget()->layout()->addWidget(warning);
    QObject::connect(&outputs, &Outputs::UnconfirmedChanged, warning, &QLabel::setVisible);
}
