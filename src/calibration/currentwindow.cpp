#include "currentwindow.h"

#include "base/messages.h"
#include "base/number.h"
#include "correction.h"
#include "runs/measurement.h"

#include <QMouseEvent>

namespace {
constexpr int samples = 8;
}

CurrentWindow::CurrentWindow(const QString &name, Codebas &link, Switching &switching, Kind kind)
    : ReadingWindow(name, link, QStringLiteral("Timercourant"), kind.readingMs)
    , kind_(std::move(kind))
    , switching_(switching)
{
}

void CurrentWindow::SetPanel(const Panel &panel)
{
    panel_ = panel;
    connect(panel_.slider, &QSlider::valueChanged, this, [this](int value) { Start(Slider_Change(value)); });
    panel_.setting->installEventFilter(this);
}

void CurrentWindow::Load()
{
    ReadingWindow::Load();
    switching_.Write(kind_.opening);
}

void CurrentWindow::closeEvent(QCloseEvent *event)
{
    ReadingWindow::closeEvent(event);
    switching_.Write(kind_.leaving); // whatever way the user goes: no current flows with nobody watching
}

void CurrentWindow::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error)) {
        CalibrationWindow::Failed(error);
        return;
    }
    timer_.SetEnabled(false);
    DropHandlers();
    switching_.Override(kind_.leaving);
    centralWidget()->setEnabled(false);
    messages::ShowAndEnd(this, windowTitle(), error.Text());
}

void CurrentWindow::ShowStored()
{
    ShowWord(panel_.storedWord, link_.SlaveEeprom, kind_.wordAddress);
    ShowByte(panel_.storedScale, link_.SlaveEeprom, kind_.scaleAddress);
}

// ---- the setting

Task<void> CurrentWindow::Slider_Change(int value)
{
    panel_.setting->setText(number::Plain(value));
    // While the line is busy moves pile up, and the last one goes first: those before it are void then.
    const measurement::Wanted newest = [this, setting = ++settings_] { return setting == settings_; };
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
    const measurement::Wanted newest = [this, setting = ++settings_] { return setting == settings_; };
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
    const auto open = StillOpen();
    const int sum = co_await SumOfCounts();
    if (open())
        panel_.reading->setText(kind_.readingText + number::Str(number::Int(sum / double(samples))));
}

/// The byte behind each count is left to the next wait for 27, so all the counts make one exchange.
Task<int> CurrentWindow::SumOfCounts()
{
    const auto open = StillOpen();
    for (;;) {
        const Line::Turn turn = co_await link_.line.Begin();
        if (!open())
            throw WindowClosed();
        try {
            const int sum = co_await ReadCounts();
            co_return sum;
        } catch (const LineCut &) {
            continue; // all of them again, when the line is back
        }
    }
}

Task<int> CurrentWindow::ReadCounts()
{
    int sum = 0;
    for (int sample = 0; sample < samples; ++sample) {
        for (const quint8 byte : {quint8(27), kind_.channel})
            link_.SendByte(byte);
        link_.RxByte = 0;
        while (link_.RxByte != 27)
            co_await link_.ReceiveByte();
        co_await link_.ReceiveByte();
        const quint8 high = link_.RxByte;
        co_await link_.ReceiveByte();
        sum += measurement::Count(high, link_.RxByte, kind_.channel);
    }
    co_await link_.ReceiveByte(); // behind the last count nothing else would take it
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
    const auto newest = NewestSet();
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
