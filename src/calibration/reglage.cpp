// SPDX-License-Identifier: GPL-3.0-or-later
#include "reglage.h"

#include <QCloseEvent>

Reglage::Reglage(Codebas &link)
    : Window(QStringLiteral("Reglage"))
    , link_(link)
    , temperature_(link)
    , batteryVoltage_(link)
    , supplies_(link)
    , charge_(link)
    , discharge_(link)
    , lithium_(link)
{
    ui_.setupUi(this);
    ui_.SelRegl->installEventFilter(this);
    connect(&link_.outputs, &Outputs::QueueFailed, this, [this](const QString &text) { Failed(Error(text)); });
    // A choice by hand tells of the change and then of the choice, the same entry again of the choice only.
    connect(ui_.SelRegl, &QComboBox::currentIndexChanged, this, [this](int index) {
        chosen_ = true;
        QMetaObject::invokeMethod(this, [this] { chosen_ = false; }, Qt::QueuedConnection);
        SelRegl_Click(index);
    });
    connect(ui_.SelRegl, &QComboBox::activated, this, [this](int index) {
        if (!chosen_)
            SelRegl_Click(index);
    });
    connect(ui_.Rquitter, &QPushButton::clicked, this, &Reglage::Rquitter_Click);
}

void Reglage::Load()
{
    Centre();
    const QSignalBlocker quiet(ui_.SelRegl);
    ui_.SelRegl->clear();
    ui_.SelRegl->addItems({QStringLiteral("Temperature"), QStringLiteral("Tension Batterie"),
                           QStringLiteral("Tensions Alimentations"), QStringLiteral("Courrant Charge"),
                           QStringLiteral("Courrant Décharge"), QStringLiteral("Tensions LIPO")});
    ui_.SelRegl->setCurrentIndex(-1);
}

void Reglage::SelRegl_Click(int index)
{
    CalibrationWindow *const windows[] = {&temperature_, &batteryVoltage_, &supplies_,
                                          &charge_,      &discharge_,      &lithium_};
    CloseFour();
    if (index >= 0 && index < static_cast<int>(std::size(windows)))
        windows[index]->Open();
}

/// The two others stay open side by side with whatever is chosen.
void Reglage::CloseFour()
{
    for (CalibrationWindow *window :
         std::initializer_list<CalibrationWindow *>{&temperature_, &batteryVoltage_, &supplies_, &charge_})
        if (window->isVisible())
            window->close();
}

void Reglage::StopCurrents()
{
    for (CurrentWindow *window : std::initializer_list<CurrentWindow *>{&charge_, &discharge_})
        if (window->isVisible())
            window->close();
}

void Reglage::Rquitter_Click()
{
    link_.ReconnectOnActivate = 0; // before the main window is activated
    close();
    Q_EMIT Returning();
}

void Reglage::closeEvent(QCloseEvent *event)
{
    CloseFour();
    event->accept();
}

/// The wheel would open one window after the other in passing, and switch the board with each.
bool Reglage::eventFilter(QObject *watched, QEvent *event)
{
    return (watched == ui_.SelRegl && event->type() == QEvent::Wheel) || Window::eventFilter(watched, event);
}
