// SPDX-License-Identifier: GPL-3.0-or-later
#include "readingwindow.h"

#include <QCloseEvent>

/// A reading that is under way.
class ReadingWindow::Pass
{
public:
    explicit Pass(ReadingWindow &window) : window_(window), lasts_(window.opening_.Lasts()) { window_.reading_ = true; }
    Pass(const Pass &) = delete;
    Pass &operator=(const Pass &) = delete;
    ~Pass()
    {
        if (!lasts_())
            return;
        window_.reading_ = false;
        // Later: those who wait must not run in the middle of the reading that ends.
        ReadingWindow *window = &window_;
        QMetaObject::invokeMethod(window, [window] { window->readingOver_.Wake(); }, Qt::QueuedConnection);
    }

private:
    ReadingWindow &window_;
    std::function<bool()> lasts_;
};

ReadingWindow::ReadingWindow(const QString &name, Codebas &link, const QString &timerName, int intervalMs)
    : CalibrationWindow(name, link), timer_(timerName, intervalMs, this), intervalMs_(intervalMs)
{
    connect(&timer_, &Timer::Tick, this, [this] {
        if (!reading_)
            Start(Tick());
    });
}

void ReadingWindow::Load()
{
    CalibrationWindow::Load();
    opening_.Begin();
    portClosed_.Forget();
    freshness_.Forget();
    timer_.SetInterval(intervalMs_);
    timer_.SetEnabled(true);
}

void ReadingWindow::closeEvent(QCloseEvent *event)
{
    timer_.SetEnabled(false);
    opening_.End();
    reading_ = false;
    QMetaObject::invokeMethod(this, [this] { readingOver_.Wake(); }, Qt::QueuedConnection);
    event->accept();
}

Task<void> ReadingWindow::Tick()
{
    const Pass pass(*this);
    const auto open = opening_.Lasts();
    std::optional<PortClosed> closed;
    try {
        Task<void> reading = Read();
        co_await reading;
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (!open())
        co_return;
    if (!closed)
        freshness_.Read();
    if (portClosed_.Begins(closed.has_value()))
        CalibrationWindow::Failed(*closed);
}

Task<int> ReadingWindow::ReadCount(quint8 channel)
{
    const auto open = opening_.Lasts();
    Task<QByteArray> exchange = link_.Exchange(Request(channel), Reply::Framed(2), open);
    const QByteArray reply = co_await exchange;
    if (!open())
        throw Opening::Over();
    co_return static_cast<quint8>(reply.at(0)) * 256 + static_cast<quint8>(reply.at(1));
}

Task<void> ReadingWindow::ReadingOver()
{
    while (reading_)
        co_await readingOver_;
}
