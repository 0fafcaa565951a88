#pragma once

#include "base/flag.h"
#include "base/task.h"
#include "base/timer.h"
#include "com.h"
#include "line.h"

#include <QByteArray>

#include <array>
#include <functional>
#include <optional>
#include <vector>

/// Thrown into an exchange when the port was closed or lost under it: Exchange() starts it again.
class LineCut : public Error
{
public:
    LineCut() : Error(QStringLiteral("La liaison avec la carte a été coupée pendant un échange.")) {}
};

/// AbortWait ended a wait of an exchange that says so.
class WaitAborted : public Error
{
public:
    WaitAborted() : Error(QStringLiteral("L'attente de la réponse de la carte a été interrompue.")) {}
};

/// A request to the board: the escape byte 27, then the command byte and its parameters.
template <class... Byte>
QByteArray Request(Byte... bytes)
{
    const char request[] = {27, static_cast<char>(bytes)...};
    return QByteArray(request, sizeof request);
}

/// What the board sends back for a request.
struct Reply
{
    std::optional<quint8> until; ///< bytes are thrown away up to and with this one
    int length = 0;              ///< bytes that are read then
    bool clearFirst = true;      ///< RxByte is set to 0 before the wait for `until`
    bool abortable = false;      ///< AbortWait ends the exchange with WaitAborted; otherwise it waits on

    /// 27, data bytes and one more that says nothing.
    static Reply Framed(int dataBytes) { return {.until = quint8(27), .length = dataBytes + 1}; }
    /// One byte, whatever it is.
    static Reply Acknowledge() { return {.until = std::nullopt, .length = 1}; }
    /// Bytes up to a 6: a memory write is done.
    static Reply Stored() { return {.until = quint8(6), .length = 0}; }
};

/// The device link: the byte exchange with the board, the connection handshake and the state that all windows share.
class Codebas : public QObject
{
    Q_OBJECT

public:
    /// `timer1` and `timer2` are the main window's: their ticks set AbortWait and Timer2Flg.
    Codebas(Com &com, Timer &timer1, Timer &timer2, QObject *parent = nullptr);

    /// The settings of the line for commands and for the monitor's stream.
    static inline const QString ordinarySettings = QStringLiteral("9600,n,8,1");
    static inline const QString streamSettings = QStringLiteral("19200,n,8,1");

    Com &com;
    Line line;

    quint8 RxByte = 0;    ///< the last byte that ReceiveByte read, 0 when it gave up
    qint16 RxCount = 0;   ///< bytes that still waited after the last successful ReceiveByte
    quint8 AbortWait = 0; ///< 1: ReceiveByte gives up at once
    quint8 Timer2Flg = 0; ///< 1 once Timer2 has ticked
    int LinkState = 0;    ///< 1 once the greeting has succeeded

    /// Images of the on-chip EEPROMs of both microcontrollers.
    std::array<quint8, 257> MasterEeprom{};
    std::array<quint8, 257> SlaveEeprom{};

    int EepromSel = 0; ///< whose on-chip memories the tools work on: 1 the master's, else the slave's

    int ReconnectOnActivate = 1; ///< 1: the next activation of the main window runs the handshake
    bool LinkDropped = false;    ///< true from a disconnection to the next connection
    float MainLeft = 0;          ///< where the main window was when it opened a window
    float MainTop = 0;

    /// Configures the port ("9600,n,8,1", port 1, no handshaking, binary, byte by byte, RTS and DTR on); does not open
    /// it.
    void InitSerialPort();

    /// Configures the port as InitSerialPort does, with other settings.
    void ConfigurePort(const QString &settings);

    /// Whether the monitor keeps the line for its stream: nothing can be begun then that the program has to watch.
    bool Streaming = false;

    /// Begins the exchange that waits for an answer again from its escape byte, after what may still come has gone by.
    void AskAgain();

    /// Opens the port if it is closed; throws PortError.
    void OpenPort();

    /// Closes the port: exchanges under way start again when it is open next, or fail with PortClosed if it stays
    /// closed.
    void ClosePort();

    /// Sends one byte; throws PortClosed.
    void SendByte(quint8 byte);

    class ByteAwaiter
    {
    public:
        explicit ByteAwaiter(Codebas &link) : link_(link) {}
        ByteAwaiter(const ByteAwaiter &) = delete;
        ByteAwaiter &operator=(const ByteAwaiter &) = delete;
        ~ByteAwaiter() { std::erase(link_.readers_, this); }

        bool await_ready() const noexcept { return false; }
        template <class Promise>
        bool await_suspend(std::coroutine_handle<Promise> reader)
        {
            handler_ = reader.promise().handler;
            reader_ = reader;
            return !link_.TakeByte(*this);
        }
        /// False when AbortWait ended the wait.
        bool await_resume() const
        {
            if (cut_)
                throw LineCut();
            return !aborted_;
        }

    private:
        friend class Codebas;
        Codebas &link_;
        HandlerNumber handler_ = 0;
        std::coroutine_handle<> reader_;
        bool aborted_ = false;
        bool cut_ = false;
    };

    /// Waits for one byte and leaves it in RxByte; with AbortWait set RxByte is 0 and nothing is read. Bytes go to the
    /// exchange that holds the line (see Line). No time limit.
    ByteAwaiter ReceiveByte() { return ByteAwaiter(*this); }

    /// One exchange: sends the request when the line is ours and gives the bytes of the reply. `wanted`, asked at that
    /// moment, may still call it off: then nothing is sent and the reply is empty.
    Task<QByteArray> Exchange(QByteArray request, Reply reply, std::function<bool()> wanted = {},
                              Line::Overtaking overtaking = Line::Overtaking::Allowed);

    /// The same with a request that is made when the line is ours, once; an empty one calls the exchange off.
    Task<QByteArray> Exchange(std::function<QByteArray()> request, Reply reply,
                              Line::Overtaking overtaking = Line::Overtaking::Allowed);

    /// Opens the port if need be, greets the board until it answers (without end), reports on its I2C link and loads
    /// bytes 0 to 15 of both on-chip EEPROMs. Throws PortError.
    Task<void> ConnectBoard();

Q_SIGNALS:
    /// Text for the main window's display.
    void Display(const QString &text);
    /// Loading of the EEPROMs begins: what to say and where the progress ends; then how far it is; then it is over.
    void LoadStarted(const QString &caption, int maximum);
    void LoadProgress(int value);
    void LoadEnded();
    /// The session is open.
    void Connected();
    /// The port was closed or lost; it may be open again when events run next.
    void PortCut();

private:
    friend class ByteAwaiter;
    class Greeting;

    Task<QByteArray> Converse(QByteArray request, Reply reply);
    bool TakeByte(ByteAwaiter &awaiter);
    ByteAwaiter *Reader() const;
    void ReadOne();
    void Dispatch();
    void ReleaseAborted();
    void Cut();
    void ResumeLine();
    int DrainInput();
    Task<void> Greet();
    Task<bool> Attempt(int number);
    Task<int> LastOfBurst();
    Task<void> ReportI2c();
    Task<void> LoadEeproms();

    Timer &timer1_;
    Timer &timer2_;
    Timer speedTimer_;
    Flag greetingNews_;
    QTimer settling_;
    bool answerDue_ = false; ///< to a request of an exchange that was cut
    std::vector<ByteAwaiter *> readers_;
};
