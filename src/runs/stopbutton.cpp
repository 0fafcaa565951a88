// SPDX-License-Identifier: GPL-3.0-or-later
#include "stopbutton.h"

#include <QPushButton>
#include <QShortcut>

StopButton::StopButton(QPushButton &button, const RunNews &news) : QObject(&button)
{
    auto *escape = new QShortcut(Qt::Key_Escape, button.window());
    escape->setEnabled(false);
    connect(escape, &QShortcut::activated, &button, &QPushButton::click);
    connect(&news, &RunNews::Began, this, [&button, escape] {
        Paint(button);
        escape->setEnabled(true);
    });
    connect(&news, &RunNews::Over, this, [&button, escape] {
        button.setStyleSheet({});
        escape->setEnabled(false);
    });
}

void StopButton::Paint(QPushButton &button)
{
    button.setStyleSheet(QStringLiteral("QPushButton { background: #c00000; color: white; font-weight: bold; "
                                        "border: 2px solid #800000; border-radius: 3px; padding: 2px 12px }"
                                        "QPushButton:hover, QPushButton:focus { border-color: white }"
                                        "QPushButton:pressed { background: #800000 }"));
}
