// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/scriptedboard.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/programlink.h"
#include "ui/main/main.h"

#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>

/// The whole program on a board of memory: all its windows, as a user works them.
struct House
{
    House()
    {
        QDir::setCurrent(folder.path());
        board.Healthy();
        board.channel = {{6, 800}, {7, 900}, {5, 575}, {10, 300}, {11, 500}, {13, 600}, {12, 700}};
        Session words;
        SetCalibration(words);
        std::copy_n(words.MasterEeprom.begin(), 256, board.master);
        std::copy_n(words.SlaveEeprom.begin(), 256, board.slave);
        for (const int line : {15, 16, 17, 18})
            board.On(static_cast<quint8>(line), 1, [this, line](const QByteArray &value) {
                board.lines[line] = value[0];
                return losing-- == 0 ? QByteArray() : Bytes({6});
            });
    }
    ~House()
    {
        AnswerBoxes();
        QDir::setCurrent(QStringLiteral("/"));
    }

    /// Shows the main window and sees the connection through.
    void Load()
    {
        main.Load();
        SOON(Connected());
        SOON_EQUAL(QGuiApplication::focusWindow(), main.windowHandle());
        Simulated().Run(1s); // the board answers sooner than bytes leave; let them
        board.TakeReceived();
    }
    bool Connected()
    {
        return Display() == QStringLiteral("Srl Connecté\nSlave Connecté.") &&
               !main.findChild<QWidget *>(QStringLiteral("FRtemp"))->isVisible();
    }
    QString Display() { return main.findChild<QPlainTextEdit *>(QStringLiteral("TXT_Display"))->toPlainText(); }

    /// The user looks at another window and comes back.
    void TurnAwayAndBack()
    {
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
        main.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), main.windowHandle());
    }

    static QWidget *Named(const char *window)
    {
        const auto widgets = QApplication::topLevelWidgets();
        return *std::ranges::find(widgets, QLatin1String(window), &QWidget::objectName);
    }
    static void Press(const QWidget &window, const char *button)
    {
        window.findChild<QPushButton *>(QLatin1String(button))->click();
    }
    void Press(const char *button) { Press(main, button); }
    static QString State(const QWidget &run) { return run.findChild<QLabel *>(QStringLiteral("Label18"))->text(); }

    /// Opens a run window and starts; the run is on and has made a step.
    void Run(RunWindow &window, const char *text)
    {
        QSignalSpy recorded(&window, &RunWindow::Recorded);
        if (!window.isVisible())
            Press(&window == &main.ChargeWindow() ? "cb_chargeur" : "CbDechargeur");
        window.findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(QLatin1String(text));
        Press(window, "CBstart");
        SOON(!recorded.isEmpty());
        SOON(BetweenSteps(window));
    }
    /// In mode 0, which interrupts the charge to measure the battery.
    void Charge() { Run(main.ChargeWindow(), "0"); }
    void Discharge() { Run(main.DischargeWindow(), "6"); }
    static bool BetweenSteps(const QWidget &run)
    {
        return run.findChild<Timer *>(QStringLiteral("Timerchargeur"))->Enabled();
    }

    /// Whether the warning is in sight in a window.
    static bool WarnsIn(const QWidget &window)
    {
        const auto *warning = window.findChild<QLabel *>(QStringLiteral("unconfirmed"));
        return warning->isVisible() && warning->text() == QStringLiteral("Arrêt non confirmé");
    }

    bool ChargeOn() { return board.ChargeOn() || board.DischargeOn(); }

    /// A charge that says that it is on makes a step a second.
    void CheckSupervision()
    {
        Chargeur &charge = main.ChargeWindow();
        QSignalSpy recorded(&charge, &RunWindow::Recorded);
        Simulated().Run(5s);
        QCOMPARE(charge.Running(), State(charge) == QStringLiteral("CHARGE"));
        if (charge.Running())
            QVERIFY(recorded.size() >= 4);
        else
            QVERIFY(!ChargeOn());
    }

    SimulatedClock clock;
    QTemporaryDir folder;
    MemoryPort *port = new MemoryPort;
    int losing = -1; ///< so many writes of the lines are acknowledged before an acknowledgement is lost
    Main main{std::unique_ptr<Port>(port)};
    ScriptedBoard board{*port};
};
