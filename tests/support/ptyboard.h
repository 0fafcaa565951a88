#pragma once

#include "simulation/scriptedboard.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <functional>
#include <map>
#include <memory>

/// The board's end of a pseudo-terminal, driven by a test in the same thread. It keeps every byte that the program
/// sends and answers the requests that it was told to answer.
class PtyBoard : public QObject
{
    Q_OBJECT

public:
    PtyBoard();
    ~PtyBoard() override;

    /// The path of the program's end: a link, so that no other test has a port of this name. (Two tests at once may be
    /// given the same pseudo-terminal one after the other, and the lock of the first may still lie on its number.)
    QString Port() const { return folder_.filePath(QStringLiteral("port")); }

    /// Everything received so far, in order, and forgets it.
    QByteArray TakeReceived();
    const QByteArray &Received() const { return received_; }

    /// Waits without events until so many bytes have reached this end, and gives all of them; nothing of it is
    /// answered.
    const QByteArray &Await(int count);

    /// Sends bytes to the program now.
    void Send(const QByteArray &bytes);

    /// Sends as much as the pseudo-terminal takes now; how many bytes that were.
    qsizetype SendSome(const QByteArray &bytes);

    /// Answers the two bytes of the greeting, 85 and 170, which come without an escape byte.
    std::function<QByteArray(quint8 greeting)> greet;

    /// Answers each request that begins with 27 and `command` and has `parameters` more bytes.
    using Answer = std::function<QByteArray(const QByteArray &parameters)>;
    void On(quint8 command, int parameters, Answer answer);

    /// Answers as a healthy board: greeting, I2C status, EEPROM bytes, clock, channels and register writes.
    void Healthy();

    /// Stops or goes on answering; what arrives meanwhile is kept as received and never answered.
    void SetSilent(bool silent) { silent_ = silent; }

    /// Speed that the program has set, in baud.
    int Speed() const;
    /// Stop bits that the program has set.
    int StopBits() const;

    /// Ends the pseudo-terminal, like a pulled plug.
    void Unplug();

    // What a healthy board answers with.
    std::map<int, int> channel; ///< count by channel; 0 for those not named
    quint8 master[256] = {};
    quint8 slave[256] = {};
    int hours = 0, minutes = 0, seconds = 0;
    quint8 i2c[3] = {0, 0, 6};

private:
    struct Rule
    {
        int parameters;
        Answer answer;
    };
    void Read();
    void timerEvent(QTimerEvent *event) override;
    void Parse();

    int master_ = -1;
    QTemporaryDir folder_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::map<quint8, Rule> rules_;
    QByteArray received_;
    QByteArray pending_;
    bool silent_ = false;
};
