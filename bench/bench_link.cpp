// SPDX-License-Identifier: GPL-3.0-or-later
// Reads both on-chip EEPROMs and a thousand channel counts from the virtual board: with the program's own link, with a
// plain blocking loop over the same calls, and with a Python serial client where there is one. Once as fast as the
// pseudo-terminal allows and once on a line paced at 9600 baud, against the time that the bytes take on such a wire.

#include "base/handlers.h"
#include "link/measurement.h"
#include "link/systemport.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include <cstdio>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int eepromReads = 512;
constexpr int channelReads = 1000;
constexpr int exchanges = eepromReads + channelReads;
// Three bytes out and three back for an EEPROM byte, two and four for a channel; ten bit times a byte.
constexpr double wireSeconds = exchanges * 6 * 10 / 9600.0;

Task<void> ReadAll(Codebas &link)
{
    for (const int command : {37, 38}) {
        for (int address = 0; address < 256; ++address) {
            Task<QByteArray> exchange = link.Exchange(Request(command, address), Reply::Framed(1));
            co_await exchange;
        }
    }
    for (int i = 0; i < channelReads; ++i)
        co_await measurement::ReadChannel(link, command::BatteryVoltage);
    QCoreApplication::exit(0);
}

double OurLink(const QString &port)
{
    Com com(std::make_unique<SystemPort>());
    com.SetPortName(port);
    Timer timer1(QStringLiteral("Timer1"), 200, nullptr);
    Timer timer2(QStringLiteral("Timer2"), 20, nullptr);
    Codebas link(com, timer1, timer2);
    link.InitSerialPort();
    link.OpenPort();
    Handlers handlers([](std::exception_ptr) { QCoreApplication::exit(1); });
    QElapsedTimer clock;
    clock.start();
    handlers.Start(ReadAll(link));
    if (QCoreApplication::exec() != 0)
        std::puts("  our link failed");
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

double BlockingLoop(const QString &port)
{
    const int line = open(qPrintable(port), O_RDWR | O_NOCTTY);
    termios settings{};
    tcgetattr(line, &settings);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    tcsetattr(line, TCSANOW, &settings);
    const auto exchange = [line](const QByteArray &request, int replyBytes) {
        if (write(line, request.constData(), static_cast<size_t>(request.size())) != request.size())
            return;
        char byte = 0;
        while (byte != 27 && read(line, &byte, 1) == 1) {
        }
        for (int i = 0; i < replyBytes; ++i)
            if (read(line, &byte, 1) != 1)
                return;
    };
    QElapsedTimer clock;
    clock.start();
    for (const int command : {37, 38})
        for (int address = 0; address < 256; ++address)
            exchange(Request(command, address), 2);
    for (int i = 0; i < channelReads; ++i)
        exchange(Request(13), 3);
    const double seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    close(line);
    return seconds;
}

double PythonClient(const QString &port)
{
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral(SERIAL_CLIENT), port});
    python.waitForFinished(120000);
    return python.exitCode() == 0 ? python.readAllStandardOutput().trimmed().toDouble() : 0;
}

void Compare(const char *title, const QStringList &boardOptions, bool paced)
{
    QProcess board;
    board.start(QStringLiteral(VIRTUAL_BOARD), QStringList{QStringLiteral("--until-stdin-closes")} + boardOptions);
    board.waitForReadyRead(10000);
    const QString port = QString::fromLocal8Bit(board.readLine()).trimmed().section(u' ', 1);

    std::printf("%s (%d exchanges)\n", title, exchanges);
    const double blocking = BlockingLoop(port);
    const struct
    {
        const char *name;
        double seconds;
    } clients[] = {{"our link", OurLink(port)}, {"blocking loop", blocking}, {"python client", PythonClient(port)}};
    for (const auto &client : clients) {
        if (client.seconds == 0) {
            std::printf("  %-14s not installed\n", client.name);
            continue;
        }
        std::printf("  %-14s %8.0f exchanges/s  %5.2f times the blocking loop", client.name, exchanges / client.seconds,
                    blocking / client.seconds);
        if (paced)
            std::printf("  %5.1f %% of the wire", 100 * wireSeconds / client.seconds);
        std::puts("");
    }
    board.closeWriteChannel();
    board.waitForFinished();
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    for (int round = 0; round < 3; ++round)
        Compare("free running", {}, false);
    Compare("9600 baud", {QStringLiteral("--pace")}, true);
}
