// SPDX-License-Identifier: GPL-3.0-or-later
#include "tracedport.h"

#include "base/messages.h"

#include <QCoreApplication>

namespace {
QString Words(const LineSettings &settings)
{
    return QStringLiteral("%1,%2,%3,%4 RTS %5 DTR %6")
        .arg(settings.baud)
        .arg(QChar::fromLatin1(settings.parity))
        .arg(settings.dataBits)
        .arg(settings.stopBits)
        .arg(settings.rts)
        .arg(settings.dtr);
}
} // namespace

TracedPort::TracedPort(std::unique_ptr<Port> port, std::unique_ptr<TraceFile> file)
    : port_(std::move(port)), file_(std::move(file))
{
    connect(port_.get(), &Port::Arrived, this, [this] {
        Fetch(); // at the moment when it arrives, not when somebody asks for it
        Q_EMIT Arrived();
    });
    connect(port_.get(), &Port::Lost, this, [this](const QString &reason) {
        arrived_.clear();
        Note(QStringLiteral("perdu : ") + reason);
        Q_EMIT Lost(reason);
    });
    connect(port_.get(), &Port::Back, this, [this] {
        Note(QStringLiteral("de retour"));
        Q_EMIT Back();
    });
}

void TracedPort::Open(const QString &name, const LineSettings &settings)
{
    try {
        port_->Open(name, settings);
    } catch (const PortError &error) {
        Note(QStringLiteral("refusé : ") + error.Text().section(u'\n', 0, 0));
        throw;
    }
    Note(QStringLiteral("ouvert %1 %2").arg(name, Words(settings)));
}

void TracedPort::Close()
{
    const bool open = IsOpen() || IsLost();
    if (open)
        Fetch(); // what goes unread has come all the same
    port_->Close();
    arrived_.clear();
    if (open)
        Note(QStringLiteral("fermé"));
}

void TracedPort::Apply(const LineSettings &settings)
{
    port_->Apply(settings);
    Note(QStringLiteral("réglé ") + Words(settings));
}

void TracedPort::Send(const QByteArray &bytes)
{
    port_->Send(bytes); // first: the trace takes nothing of the line's time
    Write({TraceLine::Kind::Sent, 0, bytes});
}

QByteArray TracedPort::Take()
{
    Fetch();
    return std::exchange(arrived_, {});
}

void TracedPort::Fetch()
{
    const QByteArray bytes = port_->Take();
    if (bytes.isEmpty())
        return;
    arrived_ += bytes;
    Write({TraceLine::Kind::Received, 0, bytes});
}

void TracedPort::Note(const QString &event)
{
    if (!IsOpen())
        meaning_.Cut();
    Write({TraceLine::Kind::Event, 0, {}, event});
}

void TracedPort::Write(TraceLine line)
{
    if (file_->Ended())
        return;
    line.microseconds = began_.Elapsed().count();
    if (line.kind == TraceLine::Kind::Sent)
        line.text = meaning_.Sent(line.microseconds, line.bytes);
    else if (line.kind == TraceLine::Kind::Received)
        line.text = meaning_.Received(line.microseconds, line.bytes);
    try {
        file_->Write(line.Text());
    } catch (const FileError &error) {
        file_->End();
        const QString text = error.Text() + QStringLiteral("\nLa trace s'arrête là ; le travail continue.");
        const auto tell = [text] {
            messages::Show(nullptr, QMessageBox::Warning, QCoreApplication::applicationName(), text);
        };
        QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection); // this may be the middle of anything
    }
}
