// SPDX-License-Identifier: GPL-3.0-or-later
#include "stopbutton.h"

#include <QAbstractButton>
#include <QShortcut>

StopButton::StopButton(QAbstractButton &button, const RunNews &news) : QObject(&button)
{
    auto *escape = new QShortcut(Qt::Key_Escape, button.window());
    escape->setEnabled(false);
    connect(escape, &QShortcut::activated, &button, &QAbstractButton::click);
    connect(&news, &RunNews::Began, this, [&button, escape] {
        Paint(button);
        escape->setEnabled(true);
    });
    connect(&news, &RunNews::Over, this, [&button, escape] {
        button.setStyleSheet({});
        escape->setEnabled(false);
    });
}

void StopButton::Paint(QAbstractButton &button)
{
    button.setStyleSheet(QStringLiteral("QAbstractButton { background: #c00000; color: white; font-weight: bold; "
                                        "border: 2px solid #800000; border-radius: 3px; padding: 2px 12px }"
                                        "QAbstractButton:hover, QAbstractButton:focus { border-color: white }"
                                        "QAbstractButton:pressed { background: #800000 }"));
}
