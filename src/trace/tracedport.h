// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/port.h"
#include "meaning.h"
#include "tracefile.h"
#include "traceline.h"

#include "base/clock.h"

#include <memory>

/// A port whose every byte is written into a trace. When the disk takes no more the user is told once, the trace ends,
/// and the port goes on.
class TracedPort : public Port
{
    Q_OBJECT

public:
    TracedPort(std::unique_ptr<Port> port, std::unique_ptr<TraceFile> file);

    void Open(const QString &name, const LineSettings &settings) override;
    void Close() override;
    bool IsOpen() const override { return port_->IsOpen(); }
    bool IsLost() const override { return port_->IsLost(); }
    void Apply(const LineSettings &settings) override;
    void Send(const QByteArray &bytes) override;
    qsizetype Unsent() const override { return port_->Unsent(); }
    QByteArray Take() override;

private:
    void Fetch();
    void Note(const QString &event);
    void Write(TraceLine line);

    std::unique_ptr<Port> port_;
    std::unique_ptr<TraceFile> file_;
    Meaning meaning_;
    Stopwatch began_;
    QByteArray arrived_; ///< and was traced
};
