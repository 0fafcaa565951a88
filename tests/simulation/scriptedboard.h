#pragma once

#include "memoryport.h"

#include "base/clock.h"

#include <deque>
#include <functional>
#include <map>

/// The board's end of a memory port, driven by a test. It keeps every byte that the program sends and answers the
/// requests that it was told to answer, a millisecond after they came.
class ScriptedBoard : public QObject
{
    Q_OBJECT

public:
    explicit ScriptedBoard(MemoryPort &port);

    /// Everything received so far, in order, and forgets it.
    QByteArray TakeReceived() { return std::exchange(received_, {}); }
    const QByteArray &Received() const { return received_; }

    /// Sends bytes to the program now.
    void Send(const QByteArray &bytes) { port_.Deliver(bytes); }

    /// Answers the two bytes of the greeting, 85 and 170, which come without an escape byte.
    std::function<QByteArray(quint8 greeting)> greet;

    /// Answers each request that begins with 27 and `command` and has `parameters` more bytes.
    using Answer = std::function<QByteArray(const QByteArray &parameters)>;
    void On(quint8 command, int parameters, Answer answer);

    /// Answers as a healthy board: greeting, I2C status, EEPROM bytes, clock, channels, lines and register writes.
    void Healthy();

    /// Stops or goes on hearing; what arrives meanwhile is kept as received, does nothing and is never answered.
    void SetSilent(bool silent) { silent_ = silent; }

    /// From now on the answers come so much later than their requests.
    void SetDelay(Clock::Duration delay) { delay_ = delay; }

    /// Speed that the program has set, in baud.
    int Speed() const { return port_.Settings().baud; }
    int StopBits() const { return port_.Settings().stopBits; }

    void Unplug() { port_.Unplug(); }
    void Plug() { port_.Plug(); }

    // What a healthy board answers with.
    std::map<int, int> channel; ///< count by channel; 0 for those not named
    quint8 master[256] = {};
    quint8 slave[256] = {};
    int hours = 0, minutes = 0, seconds = 0;
    quint8 i2c[3] = {0, 0, 6};

    /// Lines 15 to 18 as a healthy board was told last; all of them 0 at first.
    std::map<int, int> lines;
    bool ChargeOn() { return lines[15] != 0 || lines[17] != 0; }
    bool DischargeOn() { return lines[16] != 0; }

private:
    struct Rule
    {
        int parameters;
        Answer answer;
    };
    void Take(const QByteArray &bytes);
    void Parse();
    void Reply(const QByteArray &bytes);
    void Deliver();

    MemoryPort &port_;
    std::map<quint8, Rule> rules_;
    QByteArray received_;
    QByteArray pending_;
    bool silent_ = false;
    Clock::Duration delay_ = 1ms;
    std::deque<std::pair<Clock::Duration, QByteArray>> answers_; ///< with the moments at which they arrive
    Alarm arrival_{[this] { Deliver(); }};
};

/// Bytes from numbers.
QByteArray Bytes(std::initializer_list<int> numbers);
