// SPDX-License-Identifier: GPL-3.0-or-later
#include "window.h"

#include "dress.h"
#include "messages.h"
#include "opening.h"
#include "screenfit.h"
#include "title.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QSignalBlocker>
#include <QSlider>

#include <utility>

Window::Window(const QString &name)
    : handlers_([this](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const Error &error) {
            Failed(error);
        } catch (const Opening::Over &) {
            // it was only to end
        }
    })
{
    setObjectName(name);
}

void Window::Open()
{
    if (!isVisible() && opensNow && !opensNow(*this))
        return;
    if (!isVisible()) {
        if (!MayOpen())
            return;
        if (!std::exchange(dressed_, true))
            Dress(*this);
        for (const auto &restore : design_)
            restore();
        Load();
        FitOnScreen(*this);
        show();
    } else {
        setWindowState(windowState() & ~Qt::WindowMinimized);
        raise();
    }
    activateWindow();
}

void Window::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Cancel))
        Escape();
    else
        QMainWindow::keyPressEvent(event);
}

void Window::RememberDesign()
{
    for (QLabel *label : findChildren<QLabel *>())
        design_.push_back([label, text = label->text()] { label->setText(text); });
    for (QLineEdit *box : findChildren<QLineEdit *>())
        design_.push_back([box, text = box->text()] {
            const QSignalBlocker quiet(box);
            box->setText(text);
        });
    for (QSlider *slider : findChildren<QSlider *>())
        design_.push_back([slider, value = slider->value()] {
            const QSignalBlocker quiet(slider);
            slider->setValue(value);
        });
    for (QCheckBox *box : findChildren<QCheckBox *>())
        design_.push_back([box, state = box->checkState()] {
            const QSignalBlocker quiet(box);
            box->setCheckState(state);
        });
}

void Window::Centre()
{
    adjustSize();
    const QRect room = screen()->availableGeometry();
    move(room.center() - rect().center());
}

void Window::Failed(const Error &error)
{
    messages::Show(this, QMessageBox::Critical, title::Of(*this), error.Text(), error.Hint());
}

void Window::EndProgram(const Error &error)
{
    DropHandlers();
    centralWidget()->setEnabled(false);
    const QString ending = endsProgram ? endsProgram(error) : QString();
    messages::ShowAndEnd(this, title::Of(*this), error.Text(), QString(error.Hint() + u'\n' + ending).trimmed());
}
