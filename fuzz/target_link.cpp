// SPDX-License-Identifier: GPL-3.0-or-later
// Answers on the line: handlers ask, wait, are dropped and hold the line while the board is late, stalls, loses and
// invents bytes and its plug is pulled. As far as that can be known, nobody gets what was not sent in answer to his
// very question; and once the board is healthy everybody is served.

#include "check.h"
#include "quietdispatcher.h"
#include "support/programlink.h"

#include <algorithm>
#include <deque>
#include <set>

namespace {
constexpr int firstName = 20; // names go over 27, the byte that frames answers
constexpr int requestLength = 4;
constexpr size_t mostSteps = 200; ///< each takes one name at most
constexpr int mostLooks = 60;     ///< ten seconds each: all that such an input starts may be late, one after the other

enum Kind : quint8
{
    Channel, ///< 27 and three bytes
    Write,   ///< any byte
    Store,   ///< 6
    kinds
};

/// What a request asks for; the board reads it out of the bytes.
struct Subject
{
    quint8 kind;
    quint8 name;   ///< of the handler
    quint8 number; ///< of the request among those of the handler

    QByteArray Bytes() const { return Request(kind, name, number); }
    Reply Form() const
    {
        return kind == Channel ? Reply::Framed(2) : kind == Write ? Reply::Acknowledge() : Reply::Stored();
    }
    QByteArray Data() const
    {
        const char bytes[] = {static_cast<char>(name), static_cast<char>(number), number % 2 ? '\x1B' : '\0'};
        return QByteArray(bytes, kind == Channel ? 3 : kind == Write ? 1 : 0);
    }
    QByteArray Answer() const { return kind == Channel ? '\x1B' + Data() : kind == Write ? Data() : QByteArray(1, 6); }
};

/// The board: answers in the order of the requests, as soon and as whole as it is told to.
class Board
{
public:
    explicit Board(MemoryPort &port) : port_(port) {}

    void Hear(const Subject &subject)
    {
        QByteArray answer = subject.Answer();
        if (std::exchange(losesAnswer, false)) {
            wholeLost = true;
            return;
        }
        if (std::exchange(losesByte, false)) {
            (answer.size() > 1 ? partLost : wholeLost) = true;
            answer.chop(1);
        }
        late += (delay > Exchanges::quiet / 2) + (answer.size() > 1 && gap > Exchanges::quiet / 2);
        ready_ = std::max(ready_, Clock::Current().Now()) + 1ms + std::exchange(delay, Clock::Duration::zero());
        for (const char byte : answer) {
            due_.emplace_back(ready_, byte);
            if (answer.size() > 1)
                ready_ += std::exchange(gap, Clock::Duration::zero());
        }
        if (!arrival_.IsSet())
            Next();
    }

    void Heal()
    {
        losesAnswer = losesByte = false;
        delay = gap = Clock::Duration::zero();
    }

    // What goes wrong with the next answer.
    bool losesAnswer = false;
    bool losesByte = false;
    Clock::Duration delay{};
    Clock::Duration gap{}; ///< behind its first byte

    bool partLost = false; ///< of some answer
    bool wholeLost = false;
    int late = 0; ///< how often one was so late that it may come behind a drain

private:
    void Next()
    {
        if (!due_.empty())
            arrival_.Start(std::max<Clock::Duration>(due_.front().first - Clock::Current().Now(), 0ms));
    }
    void Deliver()
    {
        QByteArray bytes;
        for (; !due_.empty() && due_.front().first <= Clock::Current().Now(); due_.pop_front())
            bytes.append(due_.front().second);
        port_.Deliver(bytes);
        Next();
    }

    MemoryPort &port_;
    Clock::Duration ready_{};
    std::deque<std::pair<Clock::Duration, char>> due_;
    Alarm arrival_{[this] { Deliver(); }};
};

/// While it lives its name may ask.
class Wanted
{
public:
    Wanted(std::set<quint8> &names, quint8 name) : names_(names), name_(name) { names_.insert(name_); }
    Wanted(const Wanted &) = delete;
    Wanted &operator=(const Wanted &) = delete;
    ~Wanted() { names_.erase(name_); }

private:
    std::set<quint8> &names_;
    quint8 name_;
};

class Line
{
public:
    Line()
    {
        QObject::connect(program_.port, &MemoryPort::SentByProgram, program_.port,
                         [this](const QByteArray &request) { Sent(request); });
        program_.link.InitSerialPort();
        program_.link.OpenPort();
    }

    void Play(const uint8_t *data, size_t size)
    {
        for (size_t i = 0; i + 1 < std::min(size, 2 * mostSteps); i += 2)
            Do(data[i], data[i + 1]);
    }

    void CheckEnd()
    {
        board_.Heal();
        program_.port->Plug();
        program_.clock.Run(0ms);
        program_.link.OpenPort();
        // Whoever is alone is waited for without end; a watch asks again.
        for (int look = 0; look < mostLooks && !Rests(); ++look)
            if (!program_.clock.RunUntil([this] { return Rests(); }, 10s) && program_.link.line.Silence() >= 5s)
                program_.link.line.AskAgain();
        Check(Rests());
        Check(wanted_.empty() && told_ == unanswered_);
    }

private:
    bool Rests() const
    {
        return runner_.Idle() && doomed_.Idle() && program_.closing.Idle() && program_.link.line.Idle();
    }

    /// Answers carry no name: what was invented passes for one; so does what is late and was given up, when the board
    /// was late before, or was prompt until then as far as anybody knew.
    bool IsCertain() const
    {
        return !invented_ && !board_.partLost && !(board_.late > 1 && givenUp_) &&
               !(board_.late > 0 && givenUpBlindly_);
    }

    void Do(int what, int how)
    {
        const bool refused = how & 0x40;
        const auto overtaking = refused ? Exchanges::Overtaking::Refused : Exchanges::Overtaking::Allowed;
        const auto kind = static_cast<quint8>(how % kinds);
        switch (what % 16) {
        case 0:
        case 1:
        case 2:
            runner_.Start(Ask(this, Name(), kind, 1 + (how >> 2) % 4, overtaking));
            break;
        case 3:
            doomed_.Start(Ask(this, Name(), kind, 1 + (how >> 2) % 4, overtaking));
            break;
        case 4: {
            const Subject subject{kind, Name(), 0};
            const Wanted wanted(wanted_, subject.name);
            ++unanswered_;
            givenUpBlindly_ = givenUpBlindly_ || program_.link.line.IsHeld();
            program_.link.line.SendUnanswered(subject.Bytes(), subject.Form(), [this](bool) { ++told_; });
            break;
        }
        case 5:
        case 6:
            program_.clock.Run(how * 5ms);
            break;
        case 7:
            program_.clock.Run(how * 20us);
            break;
        case 8: // never so late that it counts as lost
            board_.delay = how * 3500us;
            break;
        case 9:
            board_.gap = how * 3500us;
            break;
        case 10:
            board_.losesAnswer = true;
            break;
        case 11:
            board_.losesByte = true;
            break;
        case 12:
            invented_ = invented_ || !program_.link.line.Idle(); // else it is nobody's, and dropped
            program_.port->Deliver(QByteArray(1, static_cast<char>(how)));
            break;
        case 13:
            if (how % 2)
                program_.clock.Stall(how * 5ms);
            else
                doomed_.Drop();
            break;
        case 14:
            givenUp_ = true;
            runner_.Start(Hold(&program_.link.line, how * 1ms));
            break;
        default:
            Plug(how);
        }
    }

    void Plug(int how)
    {
        givenUp_ = givenUpBlindly_ = true;
        switch (how % 4) {
        case 0:
            program_.port->Unplug();
            break;
        case 1:
            program_.port->Plug();
            break;
        case 2:
            program_.Reopen();
            break;
        default:
            program_.clock.Run(3s);
        }
    }

    quint8 Name() { return static_cast<quint8>(firstName + names_++); }

    /// A handler that asks so many questions in one conversation.
    static Task<void> Ask(Line *line, quint8 name, quint8 kind, int questions, Exchanges::Overtaking overtaking)
    {
        const Wanted wanted(line->wanted_, name);
        Exchanges::Conversation conversation;
        conversation.overtaking = overtaking;
        conversation.next = [name, kind, questions](int number) -> std::optional<Question> {
            if (number >= questions)
                return std::nullopt;
            const Subject subject{kind, name, static_cast<quint8>(number)};
            return Question{subject.Bytes(), subject.Form()};
        };
        Exchanges::Answer answer = line->program_.link.line.Ask(std::move(conversation));
        const QByteArray data = co_await answer;
        QByteArray expected;
        for (int number = 0; number < questions; ++number)
            expected += Subject{kind, name, static_cast<quint8>(number)}.Data();
        Check(data.size() == expected.size());
        Check(data == expected || !line->IsCertain());
    }

    static Task<void> Hold(Exchanges *line, Clock::Duration length)
    {
        Exchanges::HoldAwaiter turn = line->TakeLine();
        const Exchanges::Hold hold = co_await turn;
        Delay pause(length);
        co_await pause;
    }

    void Sent(const QByteArray &request)
    {
        Check(request.size() == requestLength && request[0] == 27);
        const Subject subject{static_cast<quint8>(request[1]), static_cast<quint8>(request[2]),
                              static_cast<quint8>(request[3])};
        Check(wanted_.contains(subject.name));
        board_.Hear(subject);
    }

    ProgramLink program_;
    Board board_{*program_.port};
    std::set<quint8> wanted_; ///< the names of those who may still ask
    int names_ = 0;
    int unanswered_ = 0; ///< requests that nobody waits for
    int told_ = 0;       ///< of these, whose fate was told
    bool invented_ = false;
    bool givenUp_ = false; ///< answers may have been, when the port was closed or somebody wanted the line for himself
    bool givenUpBlindly_ = false; ///< not because of a silence: by a closing, or asked while somebody held the line
    Runner runner_;               ///< its coroutines end before all else does
    Runner doomed_;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool prepared = QuietDispatcher::Install();
    Check(prepared);
    Line line;
    line.Play(data, size);
    line.CheckEnd();
    return 0;
}
