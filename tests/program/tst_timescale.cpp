// SPDX-License-Identifier: GPL-3.0-or-later
#include "program.h"
#include "support/suite.h"

#include <QtTest>

#include <memory>
#include <vector>

namespace {
/// Processes that keep every processor busy for as long as they live.
class BusyLoops
{
public:
    explicit BusyLoops(int count)
    {
        for (int i = 0; i < count; ++i) {
            loops_.push_back(std::make_unique<QProcess>());
            loops_.back()->start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("while :; do :; done")});
            loops_.back()->waitForStarted();
        }
    }
    ~BusyLoops()
    {
        for (const auto &loop : loops_) {
            loop->kill();
            loop->waitForFinished();
        }
    }

private:
    std::vector<std::unique_ptr<QProcess>> loops_;
};

struct Charge
{
    int exitCode = -1;
    double putIn = 0;    ///< mAh, in truth
    double reported = 0; ///< mAh, by the program
};

/// A charge of a nearly full pack, as a user starts it.
Charge RunCharge(const char *scale, int busyLoops)
{
    const BusyLoops busy(busyLoops);
    QTemporaryDir folder;
    BoardProcess board;
    const QString status = folder.filePath(QStringLiteral("status"));
    if (!board.Start({QStringLiteral("--soc"), QStringLiteral("98"), QStringLiteral("--status"), status,
                      QStringLiteral("--time-scale"), QLatin1String(scale)}))
        return {};
    Program program(folder);
    program.Start({QStringLiteral("--run"), QStringLiteral("charge"), QStringLiteral("--current"), QStringLiteral("2"),
                   QStringLiteral("--port"), board.Port(), QStringLiteral("--time-scale"), QLatin1String(scale)});
    if (!program.WaitForEnd(110000) || !board.Stop())
        return {};
    static const QRegularExpression last(QStringLiteral(R"(Charge Terminée : (\d+) mAh)"));
    static const QRegularExpression charged(QStringLiteral(R"(charged-mah ([\d.]+))"));
    QFile file(status);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString said = QString::fromUtf8(program.process.readAllStandardOutput());
    return {program.process.exitCode(), charged.match(QString::fromUtf8(file.readAll())).captured(1).toDouble(),
            last.match(said).captured(1).toDouble()};
}
} // namespace

/// A charge by real processes over a real pseudo-terminal: TestBoardTime has the rest.
class TestTimeScale : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AChargeIsTheSameOnABusyMachine()
    {
        const Charge usual = RunCharge("60", 0);
        QCOMPARE(usual.exitCode, 0);
        QVERIFY(usual.putIn > 100);
        for (const int busyLoops : {0, 4}) {
            const Charge fast = RunCharge("200", busyLoops);
            QCOMPARE(fast.exitCode, 0);
            const QByteArray what = QStringLiteral("put in %1 and %2 mAh, reported %3 and %4")
                                        .arg(usual.putIn)
                                        .arg(fast.putIn)
                                        .arg(usual.reported)
                                        .arg(fast.reported)
                                        .toUtf8();
            QVERIFY2(qAbs(fast.putIn / usual.putIn - 1) < 0.01, what.constData());
            // 2 % less than the truth, and the interruptions, which are counted on, 4 % more.
            QVERIFY2(qAbs(fast.reported / fast.putIn - 1.022) < 0.01, what.constData());
        }
    }
};

REGISTER_TEST(TestTimeScale)
#include "tst_timescale.moc"
