// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulatedboard.h"

#include "memory_file.h"

#include <cmath>

namespace {
constexpr double bitsPerByte = 10; // start bit, 8 data bits, stop bit
constexpr double latency = 0.001;  // s; what an adapter takes, so that no answer comes in the moment of its request

QByteArray ArrayOf(const Board::Bytes &bytes)
{
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}
} // namespace

SimulatedBoard::SimulatedBoard() = default;

SimulatedBoard::SimulatedBoard(MemoryPort &port)
{
    Attach(&port);
}

void SimulatedBoard::Attach(MemoryPort *port)
{
    if (port_)
        disconnect(port_, nullptr, this, nullptr);
    port_ = port;
    if (port_)
        connect(port_, &MemoryPort::SentByProgram, this, [this](const QByteArray &bytes) { ToBoard(bytes); });
}

void SimulatedBoard::SwitchOn(const QStringList &options)
{
    SwitchOff();
    std::vector<std::string> arguments;
    for (const QString &option : options)
        arguments.push_back(option.toStdString());
    const Board::Options parsed = Board::ParseOptions(arguments);
    memoryFile_ = parsed.memoryFile;
    line_.emplace(parsed, Board::RememberedContent(memoryFile_, parsed.device.pack));
    line_->SetListener([this](const Board::Bytes &request, const Board::Bytes &reply) {
        Q_EMIT Did(ArrayOf(request), ArrayOf(reply));
    });
    on_.Restart();
}

void SimulatedBoard::SwitchOff()
{
    if (line_ && !memoryFile_.empty())
        Board::SaveMemories(memoryFile_, Core().Stored().Image());
    line_.reset();
    next_.Stop();
}

void SimulatedBoard::Tell(const QByteArray &order)
{
    if (!line_->Obey(Seconds(), order.toStdString()))
        qFatal("refused: %s", order.constData());
}

double SimulatedBoard::Seconds() const
{
    return std::chrono::duration<double>(on_.Elapsed()).count();
}

/// The program may set the port to another speed at any time.
void SimulatedBoard::NoteSpeed()
{
    if (port_)
        line_->SetByteSeconds(bitsPerByte / port_->Settings().baud);
}

void SimulatedBoard::ToBoard(const QByteArray &bytes)
{
    if (!line_)
        return;
    NoteSpeed();
    line_->Receive(Seconds() + latency, Board::Bytes(bytes.begin(), bytes.end()));
    Wait();
}

void SimulatedBoard::Work()
{
    NoteSpeed();
    line_->AdvanceTo(Seconds());
    Board::Bytes arrived;
    line_->Outgoing().CopyArrived(Seconds(), arrived);
    line_->Outgoing().Drop(arrived.size());
    Wait();
    if (arrived.empty())
        return;
    ToProgram(ArrayOf(arrived));
}

void SimulatedBoard::ToProgram(const QByteArray &bytes)
{
    if (port_)
        port_->Deliver(bytes);
    Q_EMIT Sent(bytes);
}

/// The clock counts whole microseconds: rounded up, so that what is due is due when it rings.
void SimulatedBoard::Wait()
{
    const auto next = Board::Sooner(line_->NextMoment(), line_->Outgoing().Next());
    if (!next) {
        next_.Stop();
        return;
    }
    const double left = std::max(0.0, *next - Seconds());
    next_.Start(Clock::Duration(static_cast<Clock::Duration::rep>(std::ceil(left * 1e6))));
}
