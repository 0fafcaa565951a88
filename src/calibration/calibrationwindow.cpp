// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibrationwindow.h"

#include "base/number.h"
#include "base/paint.h"
#include "correction.h"

CalibrationWindow::CalibrationWindow(const QString &name, Codebas &link) : Window(name), link_(link)
{
    connect(&link_.eeproms, &BoardEeproms::Changed, this, [this] {
        if (isVisible())
            ShowStored();
    });
}

void CalibrationWindow::Load()
{
    Centre();
    for (QLineEdit *entry : findChildren<QLineEdit *>())
        paint::Refused(entry, false);
    ShowStored();
}

void CalibrationWindow::Failed(const Error &error)
{
    Say({});
    Window::Failed(error);
}

void CalibrationWindow::ShowWord(QLabel *label, Memory memory, quint8 address)
{
    const auto byte = [this, memory](int at) { return (link_.eeproms.*memory)(static_cast<quint8>(at)); };
    label->setText(number::Str(byte(address) * 256 + byte(address + 1)));
}

void CalibrationWindow::ShowByte(QLabel *label, Memory memory, quint8 address)
{
    label->setText(number::Str((link_.eeproms.*memory)(address)));
}

void CalibrationWindow::ShowCorrection(QLineEdit *entry, int count, QLineEdit *correction)
{
    const double entered = number::Val(entry->text());
    paint::Refused(entry, entered == 0);
    if (count != 0 && entered != 0)
        correction->setText(number::Str(calibration::Correction(count, entered, {})));
}

Task<void> CalibrationWindow::WriteByte(quint8 command, quint8 address, quint8 value, Reply answer,
                                        std::function<bool()> wanted)
{
    Task<QByteArray> exchange = link_.Exchange(Request(command, address, value), answer, wanted);
    co_await exchange;
}
