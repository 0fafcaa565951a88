// SPDX-License-Identifier: GPL-3.0-or-later
#include "codebas.h"

#include "command.h"

Codebas::Codebas(Com &itsCom, Timer &timer1, Timer &timer2) : com(itsCom), handshake(*this, timer1, timer2)
{
    connect(&com, &Com::PortLost, this, [this] {
        line.SetState(Exchanges::State::Lost);
        outputs.LinesInDoubt();
        Q_EMIT PortCut();
    });
    connect(&com, &Com::PortBack, this, [this] { line.SetState(Exchanges::State::Usable); });
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
    line.SetState(Exchanges::State::Usable);
}

Task<void> Codebas::ClosePort()
{
    Task<void> settled = outputs.Settled();
    co_await settled;
    Task<void> sent = com.Sent();
    co_await sent;
    com.SetPortOpen(false);
    line.SetState(Exchanges::State::Closed);
    Q_EMIT PortCut();
}

void Codebas::SendByte(quint8 byte)
{
    com.Output(QByteArray(1, static_cast<char>(byte)));
}

void Codebas::EndSession()
{
    SendByte(27);
    SendByte(command::EndSession);
    BoardStreams = true;
    Q_EMIT BoardStreamsChanged();
}

void Codebas::SessionBegun()
{
    LinkState = 1;
    LinkDropped = false;
    outputs.LinesInDoubt(); // it may have been switched off and on
    if (!std::exchange(BoardStreams, false))
        return;
    Q_EMIT BoardStreamsChanged();
    line.Reconsider();
}

Task<QByteArray> Codebas::Exchange(QByteArray request, Reply reply, std::function<bool()> wanted,
                                   Exchanges::Overtaking overtaking)
{
    Task<QByteArray> once = Repeat(1, std::move(request), reply, std::move(wanted), overtaking);
    co_return co_await once;
}

Task<QByteArray> Codebas::Exchange(std::function<QByteArray()> request, Reply reply)
{
    std::optional<QByteArray> made;
    Exchanges::Conversation conversation;
    conversation.next = [&made, &request, reply](int number) -> std::optional<Question> {
        if (!made)
            made = request();
        if (number > 0 || made->isEmpty())
            return std::nullopt;
        return Question{*made, reply};
    };
    Exchanges::Answer answer = line.Ask(std::move(conversation));
    co_return co_await answer;
}

Task<QByteArray> Codebas::Repeat(int times, QByteArray request, Reply reply, std::function<bool()> wanted,
                                 Exchanges::Overtaking overtaking)
{
    Exchanges::Conversation conversation;
    conversation.overtaking = overtaking;
    conversation.wanted = wanted;
    conversation.next = [times, request, reply, wanted](int number) -> std::optional<Question> {
        if (number >= times || (wanted && !wanted()))
            return std::nullopt;
        return Question{request, reply};
    };
    Exchanges::Answer answer = line.Ask(std::move(conversation));
    co_return co_await answer;
}
