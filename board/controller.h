// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "device.h"
#include "interpreter.h"
#include "memories.h"
#include "record_stream.h"

namespace Board {

/// The whole board behind its serial line: bytes in, bytes out, at moments that the caller gives in simulated seconds.
class Controller
{
public:
    Controller(const DeviceOptions &options, const Memories::Content &content, std::uint8_t streamType)
        : device_(options), memories_(content), interpreter_(device_, memories_), stream_(device_, streamType)
    {
    }

    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    /// Takes a byte from the PC and appends the answer.
    void Take(double seconds, std::uint8_t byte, Bytes &reply);

    bool Streaming() const { return interpreter_.Streaming(); }
    bool BetweenRequests() const { return interpreter_.BetweenRequests(); }
    /// Appends the stream record of the moment.
    void AppendRecord(double seconds, Bytes &out);

    /// Power off and on. The memories and the pack are as they were.
    void Restart(double seconds);

    unsigned long Commands() const { return interpreter_.Commands(); }
    Bytes LastRequest() const { return interpreter_.LastRequest(); }
    Device &Hardware() { return device_; }
    const Device &Hardware() const { return device_; }
    const Memories &Stored() const { return memories_; }

private:
    Device device_;
    Memories memories_;
    Interpreter interpreter_;
    RecordStream stream_;
};

} // namespace Board
