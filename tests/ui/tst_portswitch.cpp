// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "guard/runmark.h"
#include "house.h"
#include "link/ports.h"
#include "support/ptyboard.h"
#include "support/rununtil.h"
#include "support/script.h"
#include "support/suite.h"
#include "ui/main/portswitch.h"

#include <QSettings>

namespace {
/// A house whose port is chosen, with a folder of devices of its own. Each device is a name for a pseudo-terminal; the
/// line itself is of memory, whatever its name.
struct Switched : House
{
    explicit Switched(const QByteArray &virtualBoard = "exit 1")
    {
        drive::SetRoot(folder.path());
        ports::SetFolder(devices.path());
        WriteScript(script, virtualBoard);
    }
    ~Switched()
    {
        ports::SetFolder(QStringLiteral("/dev"));
        Timer::SetScale(1);
    }

    void Plug(const char *name) { QFile::link(terminal.Port(), devices.filePath(QLatin1String(name))); }
    void Pull(const char *name) { QFile::remove(devices.filePath(QLatin1String(name))); }

    /// Loads the window at ttyA and sees the connection through.
    void Begin()
    {
        Plug("ttyA");
        Plug("ttyB");
        ports.Begin(QStringLiteral("ttyA"));
        SOON(Connected());
        Simulated().Run(1s);
        board.TakeReceived();
    }

    QMenu *Menu() { return main.findChild<QMenu *>(QStringLiteral("MnuPort")); }
    /// The menu as the user finds it; the one that is ticked has a star.
    QStringList Shown()
    {
        Q_EMIT Menu()->aboutToShow();
        QStringList shown;
        for (const QAction *action : Menu()->actions())
            if (!action->isSeparator())
                shown.append((action->isChecked() ? QStringLiteral("*") : QString()) + action->text());
        return shown;
    }
    void Choose(const char *item)
    {
        Q_EMIT Menu()->aboutToShow();
        Menu()->findChild<QAction *>(QLatin1String(item))->trigger();
    }
    QString Status() { return main.findChild<QLabel *>(QStringLiteral("link"))->text(); }
    QString Port() { return main.SerialPort().PortName(); }
    static QStringList Remembered()
    {
        const QSettings settings(drive::SettingsFile(), QSettings::IniFormat);
        return {settings.value(QStringLiteral("Port/nom")).toString(),
                settings.value(QStringLiteral("Port/carteVirtuelle")).toString()};
    }
    /// Lets the system tell what it has to, and time pass.
    template <class Condition>
    static bool Eventually(Condition holds)
    {
        return RunUntil([&holds] {
            Simulated().Run(100ms);
            return holds();
        });
    }
    QTemporaryDir devices;
    PtyBoard terminal;
    QString script = folder.filePath(QStringLiteral("virtual-board"));
    PortSwitch ports{main, {1, 60}, script};
};
} // namespace

class TestPortSwitch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- what is shown

    void TheMenuHasThePortsAndTheVirtualBoard()
    {
        Switched house;
        house.Begin();
        QCOMPARE(house.Shown(),
                 QStringList({QStringLiteral("*ttyA – pseudo-terminal"), QStringLiteral("ttyB – pseudo-terminal"),
                              QStringLiteral("Carte virtuelle")}));
        house.Pull("ttyA");
        house.Plug("ttyC");
        QCOMPARE(house.Shown(),
                 QStringList({QStringLiteral("ttyB – pseudo-terminal"), QStringLiteral("ttyC – pseudo-terminal"),
                              QStringLiteral("*ttyA"), QStringLiteral("Carte virtuelle")}));
    }

    void TheStatusBarSaysHowTheConnectionStands()
    {
        Switched house;
        QCOMPARE(house.Status(), QStringLiteral("ttyS0 · 9600 bauds · port fermé"));
        house.board.SetSilent(true);
        house.ports.Begin(QStringLiteral("/a/path/to/ttyA"));
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · appel de la carte"));
        house.board.SetSilent(false);
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · connecté"));
        house.port->Unplug();
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · débranché"));
        house.port->Plug();
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · connecté"));
        house.Press("CD_DECONNECT");
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · déconnecté"));
        house.port->SetTaken(true);
        house.Press("Cb_Reconnect");
        SOON(!BoxTexts().isEmpty());
        QVERIFY(house.Status().startsWith(QStringLiteral("ttyA · 9600 bauds · ")) &&
                !house.Status().endsWith(QStringLiteral(" connecté")));
    }

    void TheStatusMakesRoomForTheWarning()
    {
        Switched house;
        house.ports.Begin(QStringLiteral("a-port-with-a-name-that-needs-a-lot-of-room"));
        SOON(house.Connected());
        house.Charge();
        House::Press(house.main.ChargeWindow(), "CQuitter");
        Simulated().Run(2s);
        const auto *strip = house.main.statusBar()->findChild<QWidget *>(QStringLiteral("warnings"));
        QVERIFY(strip->isVisible());
        QVERIFY(strip->geometry().right() < house.main.statusBar()->width());
        QVERIFY(strip->width() >= strip->minimumSizeHint().width());
    }

    void TheMonitorsSpeedIsShown()
    {
        Switched house;
        house.Begin();
        house.Press("CbMoni");
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 19200 bauds · la carte émet"));
    }

    // ---- a change

    void AnotherPortIsConnectedBehindAProperEnd()
    {
        Switched house;
        house.Begin();
        house.Choose("ttyB");
        QCOMPARE(house.Port(), QStringLiteral("ttyA")); // until it is left
        SOON_EQUAL(house.Port(), QStringLiteral("ttyB"));
        SOON_EQUAL(house.Status(), QStringLiteral("ttyB · 9600 bauds · connecté"));
        QVERIFY(house.board.Received().startsWith(Bytes({27, 3, 85, 170, 27, 1})));
        QVERIFY(BoxTexts().isEmpty());
        QCOMPARE(Switched::Remembered(), QStringList({QStringLiteral("ttyB"), QStringLiteral("false")}));
        QVERIFY(house.Shown().contains(QStringLiteral("*ttyB – pseudo-terminal")));
    }

    void APortThatIsRefusedIsSaidAndAnotherTaken()
    {
        Switched house;
        house.port->SetTaken(true);
        house.Plug("ttyB");
        house.ports.Begin(QStringLiteral("ttyA"));
        SOON(!BoxTexts().isEmpty());
        AnswerBoxes();
        house.port->SetTaken(false);
        house.Choose("ttyB");
        SOON_EQUAL(house.Status(), QStringLiteral("ttyB · 9600 bauds · connecté"));
        QVERIFY(!house.board.Received().contains(Bytes({27, 3}))); // ttyA was never opened for it
    }

    void ALostPortIsNotWaitedForAnyMore()
    {
        Switched house;
        house.Begin();
        house.port->Unplug();
        SOON(house.main.SerialPort().Lost());
        AnswerBoxes();
        house.Choose("ttyB");
        SOON(!house.main.SerialPort().Lost());
        SOON(!BoxTexts().isEmpty()); // the other one is not there either
        QVERIFY(BoxTexts().constFirst().startsWith(QStringLiteral("Le port série ttyB")));
    }

    void ARunIsEndedBeforeItsPortIsLeft()
    {
        Switched house;
        house.Begin();
        house.Charge();
        house.board.TakeReceived();
        house.Choose("ttyB");
        QCOMPARE(BoxTexts(), QStringList({QStringLiteral("Une charge est en cours.\n"
                                                         "Changer de port arrête ce qui est en marche.")}));
        house.Choose("ttyB"); // asked anew, once
        QCOMPARE(BoxTexts().size(), 1);
        AnswerBox(QStringLiteral("Annuler"));
        Simulated().Run(5s);
        QVERIFY(house.main.ChargeWindow().Running());
        QCOMPARE(house.Port(), QStringLiteral("ttyA"));
        SOON(House::BetweenSteps(house.main.ChargeWindow()));
        house.board.TakeReceived();
        house.Choose("ttyB");
        AnswerBox(QStringLiteral("Arrêter et changer de port"));
        SOON_EQUAL(house.Port(), QStringLiteral("ttyB"));
        QVERIFY(!house.ChargeOn());
        QVERIFY(!house.main.ChargeWindow().Running());
        QVERIFY(house.board.Received().startsWith(Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1, 27, 3})));
        QVERIFY(house.main.Link().outputs.WhatIsWatched().off.empty());
    }

    void WhatWasLeftOnIsCutBeforeItsPortIsLeft()
    {
        Switched house;
        house.Begin();
        house.Charge();
        House::Press(house.main.ChargeWindow(), "CQuitter");
        Simulated().Run(2s);
        QVERIFY(house.ChargeOn());
        house.Choose("ttyB");
        QVERIFY(BoxTexts().constFirst().startsWith(QStringLiteral("Attention : la carte charge sans surveillance")));
        AnswerBox(QStringLiteral("Arrêter et changer de port"));
        SOON_EQUAL(house.Port(), QStringLiteral("ttyB"));
        QVERIFY(!house.ChargeOn());
    }

    void ABoardThatDoesNotConfirmItsEndIsSaidAndToldThroughTheNextPort()
    {
        Switched house;
        house.Begin();
        house.Charge();
        house.board.SetSilent(true);
        house.Choose("ttyB");
        AnswerBox(QStringLiteral("Arrêter et changer de port"));
        SOON_EQUAL(house.Port(), QStringLiteral("ttyB"));
        QVERIFY(BoxTexts().constFirst().startsWith(
            QStringLiteral("La carte de ttyA n'a pas confirmé que tout est coupé.")));
        QVERIFY(house.main.Link().outputs.Unconfirmed());
        house.board.SetSilent(false);
        SOON(!house.main.Link().outputs.Unconfirmed());
        QVERIFY(!house.ChargeOn());
    }

    void TheMarkOfARunNamesThePortThatItIsAt()
    {
        Switched house;
        drive::Prepare();
        house.Begin();
        const RunMark mark(house.main.Link());
        house.Charge();
        const QDir temp(drive::Folder(QStringLiteral("temp")));
        const auto content = [&temp] {
            const QStringList marks = temp.entryList({QStringLiteral("voltaire-en-marche-*")});
            QFile file(marks.isEmpty() ? QString() : temp.filePath(marks.constFirst()));
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        QVERIFY(content().startsWith("ttyA\n"));
        house.board.SetSilent(true); // so that it is still to be switched off through the next port
        house.Choose("ttyB");
        AnswerBox(QStringLiteral("Arrêter et changer de port"));
        SOON_EQUAL(house.Port(), QStringLiteral("ttyB"));
        QVERIFY(content().startsWith("ttyB\n"));
        house.board.SetSilent(false);
        SOON(content().isEmpty());
    }

    // ---- what is remembered

    void TheChoiceIsRemembered()
    {
        {
            Switched house;
            house.Begin();
            QCOMPARE(Switched::Remembered().constFirst(), QString()); // it was not his choice
            house.ports.BeginRemembered();
            QCOMPARE(house.Port(), QStringLiteral("ttyS0")); // the first one of the machine
        }
        Switched house;
        QSettings(drive::SettingsFile(), QSettings::IniFormat)
            .setValue(QStringLiteral("Port/nom"), QStringLiteral("ttyB"));
        house.ports.BeginRemembered();
        QCOMPARE(house.Port(), QStringLiteral("ttyB"));
    }

    // ---- the virtual board

    void TheVirtualBoardIsStartedAndLeftAgain()
    {
        Switched house("echo port ttyV; exec cat >/dev/null");
        house.Begin();
        QSignalSpy changed(&house.ports, &PortSwitch::VirtualChanged);
        house.Choose("MnuCarteVirtuelle");
        QVERIFY(house.Eventually([&] { return house.Status() == QStringLiteral("ttyV · 9600 bauds · connecté"); }));
        QCOMPARE(Timer::Scale(), 60.0);
        QVERIFY(house.Shown().contains(QStringLiteral("*Carte virtuelle")));
        QVERIFY(!house.Shown().contains(QStringLiteral("*ttyV")));
        QCOMPARE(Switched::Remembered().constLast(), QStringLiteral("true"));
        const auto notes = house.main.statusBar()->findChildren<QLabel *>();
        QVERIFY(std::ranges::any_of(notes, [](const QLabel *label) {
            return label->isVisible() && label->text() == QStringLiteral("Démo × 60");
        }));
        house.Choose("ttyB");
        SOON_EQUAL(house.Status(), QStringLiteral("ttyB · 9600 bauds · connecté"));
        QCOMPARE(Timer::Scale(), 1.0);
        QVERIFY(std::ranges::none_of(notes, [](const QLabel *label) {
            return label->isVisible() && label->text().startsWith(QStringLiteral("Démo"));
        }));
        house.Choose("MnuCarteVirtuelle"); // which runs still
        SOON_EQUAL(house.Status(), QStringLiteral("ttyV · 9600 bauds · connecté"));
        QCOMPARE(changed, QList<QVariantList>({{true}, {false}, {true}}));
    }

    void AVirtualBoardThatDoesNotStartIsSaid()
    {
        Switched house("exit 3");
        house.Begin();
        house.Choose("MnuCarteVirtuelle");
        QVERIFY(house.Eventually([&] { return !BoxTexts().isEmpty(); }));
        QCOMPARE(BoxTexts().constFirst(),
                 QStringLiteral("La carte virtuelle ne démarre pas : elle s'est terminée avec le code 3"));
        AnswerBoxes();
        house.Choose("ttyA");
        SOON_EQUAL(house.Status(), QStringLiteral("ttyA · 9600 bauds · connecté"));
    }

    void ARememberedVirtualBoardThatDoesNotStartLeavesThePorts()
    {
        Switched house("exit 3");
        QSettings(drive::SettingsFile(), QSettings::IniFormat).setValue(QStringLiteral("Port/carteVirtuelle"), true);
        house.ports.BeginRemembered();
        QVERIFY(house.Eventually([&] { return !BoxTexts().isEmpty(); }));
        QVERIFY(house.main.isVisible());
        QCOMPARE(house.Port(), QStringLiteral("ttyS0"));
        QVERIFY(!house.ports.IsVirtual());
        QCOMPARE(Timer::Scale(), 1.0);
    }

    // ---- what is plugged in

    void APortThatAppearsWhileNoBoardAnswersIsOffered()
    {
        Switched house;
        house.Plug("ttyA");
        house.board.SetSilent(true);
        house.ports.Begin(QStringLiteral("ttyA"));
        Simulated().Run(1s);
        house.Plug("ttyNew");
        QVERIFY(house.Eventually([&] { return !BoxTexts().isEmpty(); }));
        QCOMPARE(BoxTexts(),
                 QStringList({QStringLiteral("Un port est apparu : ttyNew – pseudo-terminal.\nS'y connecter ?")}));
        house.Pull("ttyNew"); // it is gone again
        QVERIFY(house.Eventually([&] { return BoxTexts().isEmpty(); }));
        house.Plug("ttyNew");
        QVERIFY(house.Eventually([&] { return !BoxTexts().isEmpty(); }));
        house.board.SetSilent(false);
        AnswerBox(QStringLiteral("S'y connecter"));
        SOON_EQUAL(house.Status(), QStringLiteral("ttyNew · 9600 bauds · connecté"));
    }

    void APortThatAppearsBesideAConnectedBoardIsNot()
    {
        Switched house;
        house.Begin();
        FolderWatch watch;
        QSignalSpy changed(&watch, &FolderWatch::Changed);
        watch.Watch(house.devices.path());
        house.Plug("ttyNew");
        QVERIFY(RunUntil([&] { return !changed.isEmpty(); }));
        Simulated().Run(5s);
        QVERIFY(BoxTexts().isEmpty());
        QVERIFY(house.Shown().contains(QStringLiteral("ttyNew – pseudo-terminal")));
    }
};

REGISTER_TEST(TestPortSwitch)
#include "tst_portswitch.moc"
