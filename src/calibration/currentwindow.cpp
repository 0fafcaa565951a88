// SPDX-License-Identifier: GPL-3.0-or-later
#include "currentwindow.h"

#include "base/messages.h"
#include "base/number.h"
#include "correction.h"
#include "link/measurement.h"
#include "link/settingbox.h"

#include <QApplication>
#include <QMouseEvent>

namespace {
constexpr int samples = 8;
}

CurrentWindow::CurrentWindow(const QString &name, Codebas &link, Kind kind)
    : ReadingWindow(name, link, QStringLiteral("Timercourant"), kind.readingMs)
    , kind_(std::move(kind))
    , activity_(link.activities, Activity::Kind::Current, kind_.name, [this] { return current_ && !current_->over; })
{
}

void CurrentWindow::SetPanel(const Panel &panel)
{
    panel_ = panel;
    SetReading(panel_.reading);
    box_ = new SettingBox(panel_.slider, link_);
    connect(panel_.slider, &QSlider::valueChanged, this, [this](int value) { Start(Slider_Change(value)); });
    panel_.setting->installEventFilter(this);
}

bool CurrentWindow::MayOpen()
{
    return !activity_.IsBarred(QApplication::activeWindow(), windowTitle());
}

void CurrentWindow::Load()
{
    ReadingWindow::Load();
    current_ = link_.outputs.Begin(kind_.leaving);
    link_.outputs.Queue(current_, kind_.opening);
}

void CurrentWindow::closeEvent(QCloseEvent *event)
{
    ReadingWindow::closeEvent(event);
    link_.outputs.QueueEnd(current_,
                           kind_.leaving); // whatever way the user goes: no current flows with nobody watching
}

void CurrentWindow::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error)) {
        CalibrationWindow::Failed(error);
        return;
    }
    timer_.SetEnabled(false);
    DropHandlers(); // nobody is waited for
    link_.outputs.EndNow(current_, kind_.leaving);
    EndProgram(error);
}

void CurrentWindow::ShowStored()
{
    ShowWord(panel_.storedWord, &BoardEeproms::Slave, kind_.wordAddress);
    ShowByte(panel_.storedScale, &BoardEeproms::Slave, kind_.scaleAddress);
}

// ---- the setting

Task<void> CurrentWindow::Slider_Change(int value)
{
    panel_.setting->setText(number::Plain(value));
    const auto newest = settings_.Next();
    co_await measurement::WriteRegister(link_, kind_.settingRegister, static_cast<quint8>(value), newest);
}

/// Applies a setting that was typed.
Task<void> CurrentWindow::Setting_Click()
{
    quint8 value = 0;
    try {
        value = number::ToByte(PotValue(), QStringLiteral("valeur Pot"));
    } catch (const Overflow &error) {
        CalibrationWindow::Failed(error); // nothing is lost: the user types another one
        co_return;
    }
    box_->Follow(value);
    const auto newest = settings_.Next();
    co_await measurement::WriteRegister(link_, kind_.settingRegister, value, newest);
}

bool CurrentWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == panel_.setting && event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton)
        Start(Setting_Click());
    return ReadingWindow::eventFilter(watched, event);
}

// ---- the reading

Task<void> CurrentWindow::Read()
{
    const auto open = opening_.Lasts();
    const int sum = co_await SumOfCounts();
    if (open())
        panel_.reading->setText(kind_.readingText + number::Str(number::Int(sum / double(samples))));
}

/// One after the other with nothing in between. Nobody waits for the byte behind a count but behind the last one.
Task<int> CurrentWindow::SumOfCounts()
{
    const auto open = opening_.Lasts();
    constexpr int countBytes = 2;
    Exchanges::Conversation conversation;
    conversation.next = [open, channel = kind_.channel](int number) -> std::optional<Question> {
        if (number >= samples || !open())
            return std::nullopt;
        const bool last = number == samples - 1;
        return Question{Request(channel), {.until = quint8(27), .length = countBytes + last, .spare = !last}};
    };
    Exchanges::Answer answer = link_.line.Ask(std::move(conversation));
    const QByteArray counts = co_await answer;
    if (!open())
        throw Opening::Over();
    int sum = 0;
    for (int i = 0; i < samples * countBytes; i += countBytes)
        sum += measurement::Count(static_cast<quint8>(counts[i]), static_cast<quint8>(counts[i + 1]), kind_.channel);
    co_return sum;
}

// ---- the computation

double CurrentWindow::CountEntry() const
{
    return number::Val(panel_.count->text());
}

double CurrentWindow::MeasuredTens() const
{
    return number::Val(panel_.measured->text());
}

double CurrentWindow::PotValue() const
{
    return number::Val(panel_.setting->text());
}

CurrentWindow::Result CurrentWindow::Compute()
{
    const QString where = QStringLiteral("courant mesuré");
    const Result result = {calibration::Correction(CountEntry(), MeasuredTens(), where),
                           calibration::SettingScale(PotValue(), MeasuredTens(), where)};
    panel_.word->setText(number::Str(result.word));
    panel_.scale->setText(number::Str(result.scale));
    return result;
}

Task<void> CurrentWindow::WriteResult(Result result)
{
    const QString where = QStringLiteral("diviseur du courant");
    number::ToInt16(result.word, where);
    const calibration::HiLo word = calibration::SplitHiLo(result.word, where);
    const quint8 scale = number::ToByte(result.scale, QStringLiteral("coefficient du potentiomètre"));
    const std::pair<quint8, quint8> writes[] = {{kind_.wordAddress, word.ValHi},
                                                {static_cast<quint8>(kind_.wordAddress + 1), word.ValLo},
                                                {kind_.scaleAddress, scale}};
    const auto newest = sets_.Next();
    Say(QStringLiteral("Écriture…"));
    for (const auto &[address, value] : writes) {
        Task<void> write = WriteByte(command::WriteSlaveEeprom, address, value, Reply::Stored(), newest);
        co_await write;
    }
    if (newest())
        Say(QStringLiteral("Écrit ; en service dès la prochaine connexion."));
}

void CurrentWindow::Complain(const QString &text)
{
    messages::Show(this, QMessageBox::Warning, windowTitle(), text);
}
