// SPDX-License-Identifier: GPL-3.0-or-later
#include "handshake.h"

#include "base/number.h"
#include "codebas.h"
#include "command.h"

namespace {
constexpr quint8 firstGreeting = 85;
constexpr quint8 firstAnswer = 27;
constexpr quint8 secondGreeting = 170;
constexpr quint8 secondAnswer = 85;

constexpr int answerMs = 150; // what an attempt leaves the board to answer; scaled with the other timers
constexpr int speedMs = 5000; // from one try of a speed to the next

// Properties of the wire, not scaled: bytes of one burst follow each other faster than this, at 9600 baud they are a
// millisecond apart; and nobody who wants the line waits longer for a greeting that is not answered.
constexpr auto burst = 5ms;
constexpr auto patience = 1s;

constexpr int eepromBytes = 16;
} // namespace

/// While it lives, the main window's timers pace a greeting that has the line; however it ends, they stop.
class Handshake::Pacing
{
public:
    explicit Pacing(Handshake &handshake) : handshake_(handshake)
    {
        handshake_.timer2_.SetEnabled(false);
        handshake_.timer1_.SetEnabled(true);
        handshake_.link_.Timer2Flg = 0;
        handshake_.heard_.Restart();
        handshake_.unanswered_ = 0;
        handshake_.secondDue_ = false;
        if (handshake_.link_.com.Settings() != Codebas::ordinarySettings)
            handshake_.speedTimer_.SetEnabled(true);
        Q_EMIT handshake_.Greeting(true);
    }
    Pacing(const Pacing &) = delete;
    Pacing &operator=(const Pacing &) = delete;
    ~Pacing()
    {
        handshake_.timer1_.SetEnabled(false);
        handshake_.timer2_.SetEnabled(false);
        handshake_.speedTimer_.SetEnabled(false);
        handshake_.link_.AbortWait = 0;
        if (handshake_.unanswered_ > 0 || handshake_.secondDue_)
            handshake_.link_.line.LeaveDoubt(); // their answers may still come
        Q_EMIT handshake_.Greeting(false);
    }

private:
    Handshake &handshake_;
};

Handshake::Handshake(Codebas &link, Timer &timer1, Timer &timer2)
    : link_(link), timer1_(timer1), timer2_(timer2), speedTimer_(QStringLiteral("SpeedTimer"), speedMs, this)
{
    const auto wake = [this] { news_.Wake(); };
    connect(&timer1_, &Timer::Tick, this, [this] {
        link_.AbortWait = 1;
        news_.Wake();
    });
    connect(&timer2_, &Timer::Tick, this, [this] {
        link_.Timer2Flg = 1;
        news_.Wake();
    });
    connect(&speedTimer_, &Timer::Tick, this, [this] { speedDue_ = true; });
    connect(&link_.com, &Com::Received, this, wake);
    connect(&link_, &Codebas::PortCut, this, [this] {
        unanswered_ = 0;
        secondDue_ = false;
        news_.Wake();
    });
    connect(&link_.line, &Exchanges::Wanted, this, wake);
}

Task<void> Handshake::ConnectBoard()
{
    Task<void> greeting = Greet();
    co_await greeting;
    Task<void> report = ReportI2c();
    co_await report;
    Task<void> loading = LoadEeproms();
    co_await loading;
    Q_EMIT Connected();
}

// ---- the greeting

Task<void> Handshake::Greet()
{
    link_.OpenPort();
    attempts_ = 0;
    auto place = Exchanges::Place::Newest;
    for (;;) {
        Exchanges::HoldAwaiter turn = link_.line.TakeLine(place);
        const Exchanges::Hold hold = co_await turn;
        const Pacing pacing(*this);
        Task<bool> greeting = GreetUntilAnswered();
        if (co_await greeting) {
            timer1_.SetEnabled(false);
            link_.SessionBegun();
            Task<void> quiet = AwaitQuiet();
            co_await quiet;
            Q_EMIT Display(QStringLiteral("Connecté"));
            co_return;
        }
        place = Exchanges::Place::Last;
    }
}

/// False when somebody else wants the line and the board says nothing.
Task<bool> Handshake::GreetUntilAnswered()
{
    for (;;) {
        if (Deserted())
            co_return false;
        if (std::exchange(speedDue_, false)) {
            Task<void> change = ChangeSpeed();
            co_await change;
        } else if (link_.AbortWait == 1 && link_.com.PortOpen()) {
            link_.AbortWait = 0;
            Task<bool> attempt = Attempt(attempts_++);
            if (co_await attempt)
                co_return true;
        } else {
            co_await news_;
        }
    }
}

bool Handshake::Hears() const
{
    return link_.com.InBufferCount() > 0;
}

/// Not while the port is closed: it may be open again in a moment, and nobody else gets on until then.
bool Handshake::Deserted() const
{
    return link_.com.PortOpen() && link_.line.IsWanted() && heard_.Elapsed() >= patience;
}

/// One greeting; true when the board gave both answers. After the first attempt in vain Timer2Flg stays set: later ones
/// look at what has come since the one before, at the pace of Timer1.
Task<bool> Handshake::Attempt(int number)
{
    Q_EMIT Display(QStringLiteral("Essais de Connection\r\n") + number::Str(number));
    link_.SendByte(firstGreeting);
    ++unanswered_;
    timer2_.SetInterval(answerMs);
    timer2_.SetEnabled(true);
    while (link_.Timer2Flg == 0 && link_.com.PortOpen() && !Hears())
        co_await news_;
    timer2_.SetEnabled(false);
    if (!Hears())
        co_return false;
    Delay pause(burst);
    co_await pause;
    if (TakeBurst() != firstAnswer || !link_.com.PortOpen())
        co_return false;
    link_.SendByte(secondGreeting);
    secondDue_ = true;
    Task<bool> answer = AwaitSecondAnswer();
    co_return co_await answer;
}

/// Answers to greetings of before come first, as the board answers in order: they say nothing of this one.
Task<bool> Handshake::AwaitSecondAnswer()
{
    Stopwatch late;
    bool anyLate = false;
    for (;;) {
        while (link_.com.PortOpen() && !Hears() && !Deserted() && !(anyLate && late.Elapsed() >= patience))
            co_await news_;
        if (!Hears())
            co_return false;
        Delay pause(burst);
        co_await pause;
        const int before = unanswered_;
        const int last = TakeBurst();
        if (last != firstAnswer || unanswered_ == before)
            co_return last == secondAnswer;
        anyLate = true;
        late.Restart();
    }
}

/// The last of the bytes that wait; -1 when there are none. Each 27 answers the oldest greeting that has no answer.
int Handshake::TakeBurst()
{
    int last = -1;
    while (Hears()) {
        last = static_cast<quint8>(link_.com.Input().back());
        if (last == firstAnswer && unanswered_ > 0)
            --unanswered_;
        if (last == secondAnswer)
            secondDue_ = false;
        heard_.Restart();
    }
    return last;
}

/// What is still on its way when the board has answered must not be taken for the answer to what follows. Nothing of
/// the greetings is owed then: the board answers in order, and has answered the last one.
Task<void> Handshake::AwaitQuiet()
{
    link_.line.HeardOut();
    link_.com.KeepNewest(0);
    if (std::exchange(unanswered_, 0) == 0)
        co_return;
    const Stopwatch began;
    do {
        link_.com.KeepNewest(0);
        Delay pause(Exchanges::quiet);
        co_await pause;
    } while (Hears() && began.Elapsed() < patience);
}

/// Nobody answers: the board may be at the other of its two speeds.
Task<void> Handshake::ChangeSpeed()
{
    Task<void> sent = link_.com.Sent();
    co_await sent;
    if (link_.com.Settings() == Codebas::ordinarySettings)
        link_.com.SetSettings(Codebas::streamSettings);
    else
        link_.InitSerialPort();
}

// ---- what follows it

Task<void> Handshake::ReportI2c()
{
    Task<QByteArray> exchange = link_.Exchange(Request(command::I2cStatus), Reply::Framed(3));
    const QByteArray status = co_await exchange;
    const auto first = static_cast<quint8>(status[0]);
    const auto second = static_cast<quint8>(status[1]);
    const auto third = static_cast<quint8>(status[2]);
    const QString report =
        QStringLiteral("I2C err :%1,%2,%3").arg(number::Str(first), number::Str(second), number::Str(third));
    Q_EMIT Display(QStringLiteral("Srl Connecté\r\n") + (third == 6 ? QStringLiteral("Slave Connecté.") : report));
}

namespace {
/// Whatever ends the loading, the main window is told.
struct LoadingShown
{
    explicit LoadingShown(Handshake &itsHandshake) : handshake(itsHandshake)
    {
        Q_EMIT handshake.LoadStarted(QStringLiteral(" Chargement partiel EEproms   Main.Prbar.Visible = False "),
                                     2 * eepromBytes);
    }
    LoadingShown(const LoadingShown &) = delete;
    LoadingShown &operator=(const LoadingShown &) = delete;
    ~LoadingShown() { Q_EMIT handshake.LoadEnded(); }
    Handshake &handshake;
};
} // namespace

Task<void> Handshake::LoadEeproms()
{
    const LoadingShown shown(*this);
    for (int i = 0; i < 2 * eepromBytes; ++i) {
        Q_EMIT LoadProgress(i);
        const bool master = i < eepromBytes;
        const int address = master ? i : i - eepromBytes;
        Task<QByteArray> exchange = link_.Exchange(
            Request(master ? command::ReadMasterEeprom : command::ReadSlaveEeprom, address), Reply::Framed(1));
        const QByteArray reply = co_await exchange;
        (master ? link_.MasterEeprom : link_.SlaveEeprom)[static_cast<size_t>(address)] = static_cast<quint8>(reply[0]);
    }
}
