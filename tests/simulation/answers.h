// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

#include <functional>
#include <map>
#include <utility>

/// What a board that is driven by a test hears and answers, whatever its line: it keeps every byte that the program
/// sends and answers the requests that it was told to answer.
class Answers
{
public:
    /// Everything received so far, in order, and forgets it.
    QByteArray TakeReceived() { return std::exchange(received_, {}); }
    const QByteArray &Received() const { return received_; }

    /// Answers the two bytes of the greeting, 85 and 170, which come without an escape byte.
    std::function<QByteArray(quint8 greeting)> greet;

    /// Answers each request that begins with 27 and `command` and has `parameters` more bytes.
    using Answer = std::function<QByteArray(const QByteArray &parameters)>;
    void On(quint8 command, int parameters, Answer answer);

    /// Answers as a healthy board: greeting, I2C status, EEPROM bytes, clock, channels, lines and register writes.
    void Healthy();

    /// Stops or goes on hearing; what arrives meanwhile is kept as received, does nothing and is never answered.
    void SetSilent(bool silent) { silent_ = silent; }

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

protected:
    Answers() = default;
    ~Answers() = default;

    /// Bytes have come that are answered, unless the board is silent.
    void Take(const QByteArray &bytes);
    /// Bytes have come that are never answered.
    void Keep(const QByteArray &bytes) { received_ += bytes; }

private:
    struct Rule
    {
        int parameters;
        Answer answer;
    };
    void Parse();
    void ReplyIfAny(const QByteArray &bytes);
    virtual void Reply(const QByteArray &bytes) = 0;

    std::map<quint8, Rule> rules_;
    QByteArray received_;
    QByteArray pending_;
    bool silent_ = false;
};

/// Bytes from numbers.
QByteArray Bytes(std::initializer_list<int> numbers);
