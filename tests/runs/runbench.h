#pragma once

#include "base/timer.h"
#include "runs/runwindow.h"
#include "support/boxes.h"
#include "support/programlink.h"
#include "support/scriptedboard.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>

/// A run window on a connected scripted board, in a folder of its own.
template <class RunWindowType>
struct RunBench : ProgramLink
{
    RunBench()
    {
        QDir::setCurrent(folder.path());
        board.Healthy();
        board.channel = {{6, 800}, {7, 900}, {5, 575}, {10, 300}, {11, 500}, {13, 600}, {12, 700}};
        com.SetPortName(board.Port());
        link.InitSerialPort();
        link.OpenPort();
        link.line.SetPatience(2000); // however long the test takes between two of its steps
        const auto word = [](std::array<quint8, 257> &image, size_t i, int value) {
            image[i] = static_cast<quint8>(value / 256);
            image[i + 1] = static_cast<quint8>(value % 256);
        };
        word(link.MasterEeprom, 0, 1024);
        word(link.MasterEeprom, 2, 600);
        word(link.MasterEeprom, 9, 600);
        word(link.MasterEeprom, 11, 400);
        word(link.SlaveEeprom, 0, 2048);
        word(link.SlaveEeprom, 2, 2560);
        word(link.SlaveEeprom, 6, 1200);
        link.SlaveEeprom[4] = 80;
        link.SlaveEeprom[5] = 60;
        window.Open();
    }
    ~RunBench() { QDir::setCurrent(QStringLiteral("/")); }

    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    QPushButton *Button(const char *name) { return Find<QPushButton>(name); }
    QString Text(const char *label) { return Find<QLabel>(label)->text(); }
    QSlider *SliderOf(const char *name) { return Find<QSlider>(name); }
    QTimer *TimerOf(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<QTimer *>(QLatin1String(name));
    }
    void SetText(const char *text) { Find<QLineEdit>("Text1")->setText(QLatin1String(text)); }

    /// Presses "Demarrage" and sees the start through.
    void Start(const QByteArray &startBytes)
    {
        QByteArray sent;
        QObject::connect(
            &window, &RunWindow::Started, &window, [&] { sent = board.TakeReceived(); }, Qt::SingleShotConnection);
        Button("CBstart")->click();
        QTRY_VERIFY(!sent.isEmpty());
        QCOMPARE(sent, startBytes);
    }

    QByteArray Log()
    {
        QFile file(window.LogPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no log");
    }
    qsizetype Records() { return Log().count("\r\n") - 2; }

    /// Keeps the reply to a channel back; Send() it when it is due.
    void HoldBack(int channel)
    {
        board.On(static_cast<quint8>(channel), 0, [](const QByteArray &) { return QByteArray(); });
    }

    QTemporaryDir folder;
    ScriptedBoard board;
    RunWindowType window{link};
};
