#include "codebas.h"

#include <algorithm>

namespace {
/// Milliseconds after which the answer to a request has come in, if one is coming. A property of the wire: not scaled.
constexpr int settling = 50;
} // namespace

Codebas::Codebas(Com &itsCom, Timer &timer1, Timer &timer2, QObject *parent)
    : QObject(parent)
    , com(itsCom)
    , timer1_(timer1)
    , timer2_(timer2)
    , speedTimer_(QStringLiteral("SpeedTimer"), 5000, this)
{
    connect(&com, &Com::Received, this, &Codebas::Dispatch);
    connect(&com, &Com::Received, this, [this] { greetingNews_.Wake(); });
    connect(&com, &Com::PortLost, this, [this] {
        line.SetState(Line::State::Unusable);
        Cut();
    });
    connect(&com, &Com::PortBack, this, &Codebas::ResumeLine);
    settling_.setSingleShot(true);
    settling_.setInterval(settling);
    connect(&settling_, &QTimer::timeout, this, [this] {
        DrainInput();
        answerDue_ = false;
        line.SetState(Line::State::Usable);
    });
    connect(&line, &Line::ReaderChanged, this, &Codebas::Dispatch, Qt::QueuedConnection);
    connect(&timer1_, &QTimer::timeout, this, [this] {
        AbortWait = 1;
        for (ByteAwaiter *reader : readers_)
            reader->aborted_ = true;
        ReleaseAborted();
        greetingNews_.Wake();
    });
    connect(&timer2_, &QTimer::timeout, this, [this] {
        Timer2Flg = 1;
        greetingNews_.Wake();
    });
    connect(&speedTimer_, &QTimer::timeout, this, [this] {
        // Nobody answers: the board may be at the other of its two speeds.
        if (com.Settings() == ordinarySettings)
            com.SetSettings(streamSettings);
        else
            InitSerialPort();
    });
}

void Codebas::InitSerialPort()
{
    ConfigurePort(ordinarySettings);
    LinkState = 0;
}

void Codebas::ConfigurePort(const QString &settings)
{
    com.SetSettings(settings);
    com.SetCommPort(1);
    com.SetHandshaking(0);
    com.SetInputMode(1);
    com.SetInputLen(1);
    com.SetRTSEnable(true);
    com.SetDTREnable(true);
}

void Codebas::OpenPort()
{
    if (com.PortOpen())
        return;
    com.SetPortOpen(true);
    ResumeLine();
}

/// The port is open: the line can be used, but not before the answer to a request of before has come and gone.
void Codebas::ResumeLine()
{
    line.SetState(answerDue_ ? Line::State::Unusable : Line::State::Usable);
    if (answerDue_)
        settling_.start();
}

void Codebas::AskAgain()
{
    if (readers_.empty() || !com.PortOpen())
        return;
    line.SetState(Line::State::Unusable);
    Cut();
    ResumeLine();
}

void Codebas::ClosePort()
{
    com.SetPortOpen(false);
    line.SetState(Line::State::Closed);
    Cut();
}

void Codebas::Cut()
{
    settling_.stop();
    greetingNews_.Wake();
    Q_EMIT PortCut();
    if (!readers_.empty())
        answerDue_ = true;
    for (ByteAwaiter *reader : readers_)
        reader->cut_ = true;
    // Later: whoever closed the port may be about to open it again.
    QMetaObject::invokeMethod(
        this,
        [this] {
            const auto isCut = [](const ByteAwaiter *reader) { return reader->cut_; };
            for (auto next = std::ranges::find_if(readers_, isCut); next != readers_.end();
                 next = std::ranges::find_if(readers_, isCut)) {
                const auto reader = (*next)->reader_;
                readers_.erase(next);
                reader.resume();
            }
        },
        Qt::QueuedConnection);
}

void Codebas::SendByte(quint8 byte)
{
    com.Output(QByteArray(1, static_cast<char>(byte)));
}

void Codebas::ReadOne()
{
    RxByte = static_cast<quint8>(com.Input().at(0));
    RxCount = static_cast<qint16>(com.InBufferCount());
    line.Heard();
}

bool Codebas::TakeByte(ByteAwaiter &awaiter)
{
    RxByte = 0;
    readers_.push_back(&awaiter);
    if (AbortWait != 0) {
        // The caller may be in a loop for a certain byte: it goes on only after events have run.
        awaiter.aborted_ = true;
        QMetaObject::invokeMethod(this, &Codebas::ReleaseAborted, Qt::QueuedConnection);
        return false;
    }
    if (Reader() == &awaiter && com.InputWaits()) {
        readers_.pop_back();
        ReadOne();
        return true;
    }
    com.Flush();
    return false;
}

Codebas::ByteAwaiter *Codebas::Reader() const
{
    if (readers_.empty())
        return nullptr;
    if (line.Reader() == 0)
        return readers_.back();
    const auto reader = std::ranges::find(readers_, line.Reader(), &ByteAwaiter::handler_);
    return reader == readers_.end() ? nullptr : *reader;
}

void Codebas::Dispatch()
{
    while (AbortWait == 0) {
        ByteAwaiter *reader = Reader();
        if (!reader || reader->cut_ || reader->aborted_ || !com.InputWaits())
            return;
        std::erase(readers_, reader);
        ReadOne();
        reader->reader_.resume();
    }
}

void Codebas::ReleaseAborted()
{
    // Only as many as there are now: one in a loop comes back at once.
    for (auto left = std::ranges::count_if(readers_, &ByteAwaiter::aborted_); left > 0; --left) {
        const auto next = std::ranges::find_if(readers_, &ByteAwaiter::aborted_);
        if (next == readers_.end())
            return;
        const auto reader = (*next)->reader_;
        readers_.erase(next);
        RxByte = 0;
        reader.resume();
    }
}

Task<QByteArray> Codebas::Exchange(QByteArray request, Reply reply, std::function<bool()> wanted,
                                   Line::Overtaking overtaking)
{
    for (;;) {
        const Line::Turn turn = co_await line.Begin(overtaking);
        if (wanted && !wanted())
            co_return QByteArray();
        try {
            Task<QByteArray> conversation = Converse(request, reply);
            const QByteArray data = co_await conversation;
            co_return data;
        } catch (const LineCut &) {
            continue; // again from the escape byte, when the line is back
        }
    }
}

Task<QByteArray> Codebas::Exchange(std::function<QByteArray()> request, Reply reply, Line::Overtaking overtaking)
{
    std::optional<QByteArray> made;
    for (;;) {
        const Line::Turn turn = co_await line.Begin(overtaking);
        if (!made)
            made = request();
        if (made->isEmpty())
            co_return QByteArray();
        try {
            Task<QByteArray> conversation = Converse(*made, reply);
            const QByteArray data = co_await conversation;
            co_return data;
        } catch (const LineCut &) {
            continue;
        }
    }
}

/// Sends a request on the line that is ours and reads its reply.
Task<QByteArray> Codebas::Converse(QByteArray request, Reply reply)
{
    for (const char byte : request)
        SendByte(static_cast<quint8>(byte));
    if (reply.until) {
        if (reply.clearFirst)
            RxByte = 0;
        while (RxByte != *reply.until) {
            const bool received = co_await ReceiveByte();
            if (!received && reply.abortable)
                throw WaitAborted();
        }
    }
    QByteArray data;
    while (data.size() < reply.length) {
        const bool received = co_await ReceiveByte();
        if (!received && reply.abortable)
            throw WaitAborted();
        data.append(static_cast<char>(RxByte));
    }
    co_return data;
}
