// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "act.h"
#include "faultyboard.h"
#include "ledger.h"

#include "ui/main/main.h"

#include <QHash>

#include <optional>

/// Something has happened that must never happen.
struct Violation
{
    QString name;
    QString detail;
    Clock::Duration at{}; ///< since the beginning of the story
};

/// What was counted in a story.
struct Counts
{
    long exchanges = 0;
    long records = 0;
    long inventions = 0;  ///< bytes that nobody had sent
    long believed = 0;    ///< readings that were wrong because of them
    long garbledEnds = 0; ///< switch-off writes that the board heard otherwise, and acknowledged
    QHash<QString, long> faults;

    void Add(const Counts &other);
};

/// Watches one life of the program, from its start to its end, and says what must never happen when it does.
class Judge : public QObject
{
    Q_OBJECT

public:
    Judge(Main &program, MemoryPort &port, FaultyBoard &board, Counts &counts);

    const std::optional<Violation> &Verdict() const { return verdict_; }
    void Accuse(const QString &name, const QString &detail);

    /// To be told of what the operator does and what else goes wrong.
    void Note(const Act &act);

    /// What cannot be tied to an event: to be called every second, and at any other time.
    void Look();

    /// Whether the board streams, or has just streamed: what it sends then is no answer to anything.
    bool Streamed() const;

    /// Everything is closed and nobody waits: what the program keeps then must not become more from time to time.
    void LookForGrowth(int alarms);

    /// The program has ended, or was killed: its logs hold all that it has recorded.
    void CountRecords();

private:
    struct Watched ///< a charge or a discharge
    {
        RunWindow &window;
        QString runningText;
        QLabel *state;
        quint8 lines; ///< bits of those that it switches on
        quint8 stops; ///< of those that a stop switches off
        bool running = false;
        quint8 switched = 0; ///< of those that its runs have written since one was over last
        Clock::Duration gotOn{};
        std::optional<Clock::Duration> stopPressed{};
    };
    static constexpr quint8 Charge = 1;    ///< line 15
    static constexpr quint8 Discharge = 2; ///< line 16
    static constexpr quint8 Power = 4;     ///< line 17

    void Sent(const QByteArray &bytes);
    void Answered(const Question &question, const QByteArray &data);
    void Over(quint8 lines, Clock::Duration since);
    void LookAtRuns();
    void LookAtOutputs();
    void CountActivities();
    quint8 InUse() const;
    bool ByHand() const;
    bool Quiet(Clock::Duration length) const;
    static quint8 LineBit(quint8 command);

    Main &program_;
    MemoryPort &port_;
    FaultyBoard &board_;
    Counts &counts_;
    Ledger ledger_;
    std::vector<Watched> runs_; ///< stays as it is made
    bool measuring_ = false;
    quint8 measureSwitched_ = 0; ///< lines that a capacity measurement has written since one was over last
    std::optional<Clock::Duration> measureStopPressed_;
    Clock::Duration byHand_{}; ///< when a window in which the user himself switches lines was open last
    quint8 over_ = 0;          ///< lines that the runs which are over have to have switched off
    Clock::Duration overSince_{};
    bool portOpen_ = false;
    Clock::Duration disturbed_{};
    Clock::Duration streamed_{};
    bool diskFault_ = false;
    std::optional<int> objects_;  ///< at the first rest
    QHash<QString, int> records_; ///< by log
    QByteArray half_;             ///< of a request that is sent byte by byte
    std::optional<Violation> verdict_;
};
