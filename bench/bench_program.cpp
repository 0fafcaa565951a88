// SPDX-License-Identifier: GPL-3.0-or-later
// What the program costs: processor time while it waits for a silent board and while it charges at one step a second,
// and the time from its start to a painted main window.

#include "ui/main/main.h"

#include "link/systemport.h"
#include "process.h"

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>

namespace {
void Waiting(const char *what, const QStringList &boardOptions, const QStringList &options, int settleSeconds,
             int seconds)
{
    QTemporaryDir folder;
    QProcess board;
    board.start(QStringLiteral(VIRTUAL_BOARD), QStringList{QStringLiteral("--until-stdin-closes")} + boardOptions);
    board.waitForReadyRead(10000);
    const QString port = QString::fromLocal8Bit(board.readLine()).trimmed().section(u' ', 1);
    QProcess program;
    program.setWorkingDirectory(folder.path());
    program.setStandardOutputFile(QProcess::nullDevice());
    program.start(QStringLiteral(VOLTAIRE),
                  QStringList{QStringLiteral("--port"), port, QStringLiteral("--drive-c"), folder.path()} + options);
    program.waitForStarted();
    QThread::sleep(static_cast<unsigned long>(settleSeconds));
    const double before = ProcessorTime(program.processId());
    QThread::sleep(static_cast<unsigned long>(seconds));
    const double used = ProcessorTime(program.processId()) - before;
    std::printf("%-36s %.2f s of processor in %d s: %.2f %% of a core\n", what, used, seconds, 100 * used / seconds);
    std::fflush(stdout);
    program.kill();
    program.waitForFinished();
    board.closeWriteChannel();
    board.waitForFinished();
}

/// Tells when the main window was first painted, and ends the program then.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(double started) : started_(started) {}

private:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        const bool paint = event->type() == QEvent::Paint;
        if (paint)
            QMetaObject::invokeMethod(qApp, [this] {
                std::printf("%.0f\n", 1000 * (Now() - started_));
                std::fflush(stdout);
                std::_Exit(0);
            });
        return QObject::eventFilter(object, event);
    }
    double started_;
};

int Child(int argc, char *argv[], double started)
{
    QApplication app(argc, argv);
    Main window(std::make_unique<SystemPort>());
    window.SerialPort().SetPortName(QStringLiteral("/dev/ptmx"));
    FirstPaint paint(started);
    window.installEventFilter(&paint);
    window.Load();
    return QApplication::exec();
}
} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc == 2)
        return Child(argc, argv, QByteArray(argv[1]).toDouble());

    const QCoreApplication app(argc, argv);
    for (int round = 0; round < 5; ++round) {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {QString::number(Now(), 'f', 9)});
        child.waitForFinished();
        std::printf("start to a painted main window: %s ms\n", child.readAllStandardOutput().trimmed().constData());
    }
    Waiting("waiting for a silent board", {QStringLiteral("--fault"), QStringLiteral("silence:at=1")}, {}, 2, 10);
    Waiting("connected, nothing to do", {}, {}, 2, 10);
    Waiting("charging at one step a second", {QStringLiteral("--pace")},
            {QStringLiteral("--run"), QStringLiteral("charge")}, 3, 60);
}
