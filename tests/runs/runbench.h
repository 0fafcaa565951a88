// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/drive.h"
#include "base/timer.h"
#include "runs/runwindow.h"
#include "support/boxes.h"
#include "support/programlink.h"

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
        drive::SetRoot(folder.path());
        board.Healthy();
        board.channel = {{6, 800}, {7, 900}, {5, 575}, {10, 300}, {11, 500}, {13, 600}, {12, 700}};
        link.InitSerialPort();
        link.OpenPort();
        SetCalibration(link);
        window.Open();
    }
    ~RunBench()
    {
        QDir::setCurrent(QStringLiteral("/"));
        drive::SetRoot(QString());
    }

    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    QPushButton *Button(const char *name) { return Find<QPushButton>(name); }
    QString Text(const char *label) { return Find<QLabel>(label)->text(); }
    QSlider *SliderOf(const char *name) { return Find<QSlider>(name); }
    Timer *TimerOf(const char *name) { return static_cast<QWidget &>(window).findChild<Timer *>(QLatin1String(name)); }
    void SetText(const char *text) { Find<QLineEdit>("Text1")->setText(QLatin1String(text)); }

    /// Presses "Demarrage" and sees the start through.
    void Start(const QByteArray &startBytes)
    {
        QByteArray sent;
        QObject::connect(
            &window, &RunWindow::Started, &window, [&] { sent = board.TakeReceived(); }, Qt::SingleShotConnection);
        Button("CBstart")->click();
        SOON(!sent.isEmpty());
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
    ScriptedBoard board{*port};
    Kept<RunWindowType> window{link};
};
