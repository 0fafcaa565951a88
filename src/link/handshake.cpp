#include "base/number.h"
#include "codebas.h"
#include "command.h"

#include <optional>

namespace {
/// Milliseconds within which the bytes of one burst follow each other; at 9600 baud they are one apart. A property of
/// the wire: it is not scaled.
constexpr int burst = 5;

constexpr int eepromBytes = 16;

/// Waits for some real time.
class Delay
{
public:
    explicit Delay(int milliseconds) : milliseconds_(milliseconds) {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiter)
    {
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [waiter] { waiter.resume(); });
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.start(milliseconds_);
    }
    void await_resume() const noexcept {}

private:
    int milliseconds_;
    QTimer timer_;
};
} // namespace

/// While it lives, the main window's timers pace a greeting; however it ends, they stop and no wait stays aborted.
class Codebas::Greeting
{
public:
    explicit Greeting(Codebas &link) : link_(link)
    {
        link_.timer2_.SetEnabled(false);
        link_.timer1_.SetEnabled(true);
        link_.Timer2Flg = 0;
        if (link_.com.Settings() != ordinarySettings)
            link_.speedTimer_.SetEnabled(true);
    }
    Greeting(const Greeting &) = delete;
    Greeting &operator=(const Greeting &) = delete;
    ~Greeting()
    {
        link_.timer1_.SetEnabled(false);
        link_.timer2_.SetEnabled(false);
        link_.speedTimer_.SetEnabled(false);
        link_.AbortWait = 0;
    }

private:
    Codebas &link_;
};

Task<void> Codebas::ConnectBoard()
{
    co_await Greet();
    co_await ReportI2c();
    co_await LoadEeproms();
    Q_EMIT Connected();
}

int Codebas::DrainInput()
{
    int last = -1;
    while (com.InBufferCount() > 0) {
        const QByteArray byte = com.Input();
        if (byte.isEmpty())
            break;
        last = static_cast<quint8>(byte.back());
    }
    return last;
}

Task<void> Codebas::Greet()
{
    const Greeting pacing(*this);
    OpenPort();
    const Line::Turn turn = co_await line.Begin(Line::Overtaking::Refused);
    DrainInput();
    int attempts = 0;
    bool connected = false;
    while (!connected) {
        if (AbortWait == 1 && com.PortOpen()) {
            AbortWait = 0;
            connected = co_await Attempt(attempts++);
        } else {
            co_await greetingNews_;
        }
    }
    LinkState = 1;
    LinkDropped = false;
    DrainInput();
    Q_EMIT Display(QStringLiteral("Connecté"));
}

/// One greeting; true when the board gave both answers.
Task<bool> Codebas::Attempt(int number)
{
    Q_EMIT Display(QStringLiteral("Essais de Connection\r\n") + number::Str(number));
    SendByte(85);
    timer2_.SetInterval(150);
    timer2_.SetEnabled(true);
    while (Timer2Flg == 0 && com.PortOpen() && com.InBufferCount() == 0)
        co_await greetingNews_;
    timer2_.SetEnabled(false);
    const int first = co_await LastOfBurst();
    if (first != 27 || !com.PortOpen())
        co_return false;
    SendByte(170);
    while (com.PortOpen() && com.InBufferCount() == 0)
        co_await greetingNews_;
    const int second = co_await LastOfBurst();
    co_return second == 85;
}

/// The last of the bytes that wait or are still coming in behind them; -1 when there are none.
Task<int> Codebas::LastOfBurst()
{
    if (com.InBufferCount() == 0)
        co_return -1;
    Delay delay(burst);
    co_await delay;
    co_return DrainInput();
}

Task<void> Codebas::ReportI2c()
{
    Task<QByteArray> exchange = Exchange(Request(command::I2cStatus), Reply::Framed(3));
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
    explicit LoadingShown(Codebas &itsLink) : link(itsLink)
    {
        Q_EMIT link.LoadStarted(QStringLiteral(" Chargement partiel EEproms   Main.Prbar.Visible = False "),
                                2 * eepromBytes);
    }
    LoadingShown(const LoadingShown &) = delete;
    LoadingShown &operator=(const LoadingShown &) = delete;
    ~LoadingShown() { Q_EMIT link.LoadEnded(); }
    Codebas &link;
};
} // namespace

Task<void> Codebas::LoadEeproms()
{
    const LoadingShown shown(*this);
    for (int i = 0; i < 2 * eepromBytes; ++i) {
        Q_EMIT LoadProgress(i);
        const bool master = i < eepromBytes;
        const int address = master ? i : i - eepromBytes;
        Task<QByteArray> exchange =
            Exchange(Request(master ? command::ReadMasterEeprom : command::ReadSlaveEeprom, address), Reply::Framed(1));
        const QByteArray reply = co_await exchange;
        (master ? MasterEeprom : SlaveEeprom)[static_cast<size_t>(address)] = static_cast<quint8>(reply[0]);
    }
}
