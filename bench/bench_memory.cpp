// SPDX-License-Identifier: GPL-3.0-or-later
// The board's memories: the editor's reading of both on-chip EEPROMs, reading and writing the battery types, and the
// programming of the whole master flash, on a line paced at 9600 baud, against the time that their bytes take on such a
// wire; and how fast HEX files are read.

#include "link/systemport.h"
#include "memory/micro.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

namespace {
constexpr double secondsPerByte = 10 / 9600.0;

/// Runs events until the condition holds; the seconds that this took.
double TimeUntil(const std::function<bool()> &condition)
{
    QElapsedTimer clock;
    clock.start();
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, qApp, [&condition] {
        if (condition())
            QApplication::exit(0);
    });
    look.start(1);
    QApplication::exec();
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

template <class Kind>
Kind *Shown(const char *name)
{
    for (QWidget *window : QApplication::topLevelWidgets())
        if (auto *found = qobject_cast<Kind *>(window);
            found && found->isVisible() && (!name || found->objectName() == QLatin1String(name)))
            return found;
    return nullptr;
}

void Report(const char *what, double seconds, int bytes)
{
    const double wire = bytes * secondsPerByte;
    std::printf("%-28s %6.2f s  %6.2f s on the wire (%d bytes)  %5.1f %% longer\n", what, seconds, wire, bytes,
                100 * (seconds / wire - 1));
    std::fflush(stdout);
}

QByteArray MasterFile(int address, int length, int recordLength)
{
    QByteArray file = ":020000040000FA\r\n";
    for (int i = 0; i < length; i += recordLength) {
        QByteArray fields;
        for (const int byte : {recordLength, (address + i) / 256 % 256, i % 256, 0})
            fields.append(static_cast<char>(byte));
        for (int k = 0; k < recordLength; ++k)
            fields.append(static_cast<char>((i + k) * 7));
        quint8 sum = 0;
        for (const char byte : fields)
            sum = static_cast<quint8>(sum - static_cast<quint8>(byte));
        file += ':' + (fields + static_cast<char>(sum)).toHex().toUpper() + "\r\n";
    }
    return file + ":00000001FF\r\n";
}

void Reader()
{
    const QByteArray once = MasterFile(0, 32768, 16);
    QByteArray file;
    while (file.size() < (16 << 20) - once.size())
        file += once.chopped(13); // up to its end record
    double best = 1e9;
    for (int round = 0; round < 5; ++round) {
        QElapsedTimer clock;
        clock.start();
        const hexfile::MasterFile read = hexfile::ReadHexMaster(file);
        best = std::min(best, static_cast<double>(clock.nsecsElapsed()) / 1e9);
        if (read.remarks.wrongChecksums > 0)
            std::puts("  the file is wrong");
    }
    std::printf("%-28s %6.0f MB/s\n", "reading a HEX file", static_cast<double>(file.size()) / 1e6 / best);
}
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    Reader();

    QProcess board;
    board.start(QStringLiteral(VIRTUAL_BOARD), {QStringLiteral("--until-stdin-closes"), QStringLiteral("--pace")});
    board.waitForReadyRead(10000);
    Com com(std::make_unique<SystemPort>());
    com.SetPortName(QString::fromLocal8Bit(board.readLine()).trimmed().section(u' ', 1));
    Timer timer1(QStringLiteral("Timer1"), 200, nullptr);
    Timer timer2(QStringLiteral("Timer2"), 20, nullptr);
    Codebas link(com, timer1, timer2);
    link.InitSerialPort();
    link.OpenPort();
    Micro tools(link);
    tools.Open();

    tools.findChild<QPushButton *>(QStringLiteral("CBepr"))->click();
    auto *editor = Shown<EEprom>("EEprom");
    TimeUntil([editor] { return editor->Busy(); });
    const double reading = TimeUntil([editor] { return !editor->Busy(); });
    Report("reading both EEPROMs", reading, 2 * 256 * (3 + 3));
    editor->close();

    tools.findChild<QPushButton *>(QStringLiteral("CbextEEPROM"))->click();
    auto *types = Shown<Exteepr>("Exteepr");
    static_cast<QWidget *>(types)->findChild<QRadioButton *>(QStringLiteral("Option2"))->click();
    const double readingTypes = TimeUntil([types] { return !types->Busy(); });
    Report("reading the battery types", readingTypes, EepromSize * (5 + 3));
    static_cast<QWidget *>(types)->findChild<QPushButton *>(QStringLiteral("CbSave"))->click();
    const double writingTypes = TimeUntil([types] { return !types->Busy(); });
    Report("writing the battery types", writingTypes, (3 + Profiles::count * profile::recordLength) * (6 + 1));
    types->close();

    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("master.HEX")));
    if (!file.open(QIODevice::WriteOnly) || file.write(MasterFile(0, 32768, 16)) < 0)
        return 1;
    file.close();
    tools.findChild<QPushButton *>(QStringLiteral("CBMIC1"))->click();
    auto *dialog = tools.findChild<QFileDialog *>(QStringLiteral("CommonDialog1"));
    dialog->selectFile(file.fileName());
    static_cast<QDialog *>(dialog)->accept();
    TimeUntil([] { return Shown<QMessageBox>(nullptr) != nullptr; });
    Shown<QMessageBox>(nullptr)->button(QMessageBox::Yes)->click();
    const auto *bar = tools.findChild<QProgressBar *>(QStringLiteral("ProgBar1"));
    TimeUntil([bar] { return bar->isVisible(); });
    const double writing = TimeUntil([bar] { return !bar->isVisible(); });
    Report("programming the master", writing, 448 * (68 + 1));
    board.closeWriteChannel();
    board.waitForFinished();
}
