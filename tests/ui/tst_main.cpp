// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/messages.h"
#include "logs/ownlogs.h"
#include "simulation/scriptedboard.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/coroutines.h"
#include "support/suite.h"
#include "ui/main/main.h"

#include <QComboBox>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusTipEvent>
#include <QTableView>
#include <QtTest>

#include <optional>

namespace {
const QString connectedText = QStringLiteral("Srl Connecté\nSlave Connecté.");

/// The bytes of one handshake whose first attempt is answered.
QByteArray HandshakeBytes()
{
    QByteArray sent = Bytes({85, 170, 27, 1});
    for (const int command : {37, 38})
        for (int address = 0; address < 16; ++address)
            sent += Bytes({27, command, address});
    return sent;
}

/// Something else that the user may turn to.
struct OtherWindow : QWidget
{
    void Activate()
    {
        show();
        activateWindow();
    }
};

Task<void> Ask(Codebas *link, QByteArray request, Reply reply, QByteArray *answer)
{
    Task<QByteArray> exchange = link->Exchange(request, reply);
    *answer = co_await exchange;
}

Task<void> Send51(Main *window, bool on, bool *done)
{
    Task<void> sent = on ? window->Send51On() : window->Send51Off();
    co_await sent;
    *done = true;
}
} // namespace

class TestMain : public QObject
{
    Q_OBJECT

private:
    template <class T>
    T *Control(const char *name)
    {
        T *control = window_->findChild<T *>(QString::fromLatin1(name));
        if (!control)
            qFatal("no control %s", name);
        return control;
    }
    void Click(const char *button) { Control<QPushButton>(button)->click(); }
    void Choose(const char *item) { Control<QAction>(item)->trigger(); }
    QString Shown() { return Control<QPlainTextEdit>("TXT_Display")->toPlainText(); }
    bool Connected() { return Shown() == connectedText && !Control<QWidget>("FRtemp")->isVisible(); }

    /// Shows the window and lets it connect; what the board received is forgotten.
    void LoadAndConnect()
    {
        board_->Healthy();
        window_->Load();
        SOON(Connected());
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        QCOMPARE(board_->TakeReceived(), HandshakeBytes());
    }
    void ClosePort()
    {
        Runner closing;
        closing.Start(window_->Link().ClosePort());
        SOON(closing.Idle());
    }
    /// The user looks at another window and comes back.
    void TurnAwayAndBack()
    {
        OtherWindow other;
        other.Activate();
        SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
        window_->activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
    }
    /// Lets everything that is under way come to its end.
    static void Settle() { Simulated().Run(3s); }

    QTemporaryDir folder_;
    std::optional<SimulatedClock> clock_;
    std::optional<Main> window_;
    std::optional<ScriptedBoard> board_;
    MemoryPort *port_ = nullptr; ///< the window's

private Q_SLOTS:
    void init()
    {
        QDir::setCurrent(folder_.path());
        clock_.emplace();
        port_ = new MemoryPort;
        window_.emplace(std::unique_ptr<Port>(port_));
        board_.emplace(*port_);
    }
    void cleanup()
    {
        AnswerBoxes();
        board_.reset();
        window_.reset();
        clock_.reset();
        QDir::setCurrent(QStringLiteral("/"));
    }

    // ---- what there is

    void Controls_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("font");
        const auto row = [](const char *name, const char *kind, const char *property, const char *text,
                            const char *font = "") {
            QTest::newRow(name) << kind << property << QString::fromUtf8(text) << font;
        };
        row("cb_chargeur", "QPushButton", "text", "Chargeur");
        row("CbDechargeur", "QPushButton", "text", "Dechargeur");
        row("CbCapa", "QPushButton", "text", "Mesure Bat.");
        row("CbMoni", "QPushButton", "text", "Monitor");
        row("Cb_Reglage", "QPushButton", "text", "Réglage");
        row("Cb_Debug", "QPushButton", "text", "Acces Micro");
        row("Cb_Reconnect", "QPushButton", "text", "Reconnection");
        row("CD_DECONNECT", "QPushButton", "text", "Deconnection");
        row("Cb_quitter", "QPushButton", "text", "Quitter");
        row("TXT_Display", "QPlainTextEdit", "plainText", "Pas de connection\n ..Attente..\n", "Arial");
        row("Info2", "QLabel", "text", "Info / Display", "Arial");
        row("Info3", "QLabel", "text", "Séléction d'une action ", "Arial");
        row("FRtemp", "QGroupBox", "title", "INFO", "Arial Black");
        row("Lbinfo", "QLabel", "text", "Info", "Arial Black");
        row("Prbar", "QProgressBar", "value", "0");
        row("Mnufile", "QMenu", "title", "File");
        row("MdCapa", "QAction", "text", "Mode Mesure Capacite");
        row("MDdech", "QAction", "text", "Mode Dechargeur");
        row("MnuChargeur", "QAction", "text", "Mode Chargeur");
        row("MnuReglage", "QAction", "text", "Mode Reglage");
        row("MnuMicro", "QAction", "text", "Debugging Micro");
        row("MenuReset", "QAction", "text", "Reinitialisation serie");
        row("Mnuquitter", "QAction", "text", "Quitter");
    }
    void Controls()
    {
        QFETCH(QString, kind);
        QFETCH(QString, property);
        QFETCH(QString, text);
        QFETCH(QString, font);
        const QObject *control = window_->findChild<QObject *>(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(control);
        QCOMPARE(QString::fromLatin1(control->metaObject()->className()), kind);
        QCOMPARE(control->property(qPrintable(property)).toString(), text);
        if (!font.isEmpty())
            QCOMPARE(control->property("font").value<QFont>().family(), font);
    }

    void TheWindowHasNoOtherControls()
    {
        QCOMPARE(window_->windowTitle(), QStringLiteral("Form1"));
        QCOMPARE(window_->findChildren<QPushButton *>().size(), 9);
        QStringList items;
        for (const QAction *item : Control<QMenu>("Mnufile")->actions())
            items.append(item->objectName());
        QCOMPARE(items, QStringList({QStringLiteral("MdCapa"), QStringLiteral("MDdech"), QStringLiteral("MnuChargeur"),
                                     QStringLiteral("MnuReglage"), QStringLiteral("MnuMicro"),
                                     QStringLiteral("MenuReset"), QStringLiteral("Mnuquitter")}));
        const auto *frame = Control<QWidget>("FRtemp");
        QVERIFY(frame->isAncestorOf(Control<QWidget>("Prbar")));
        QVERIFY(frame->isAncestorOf(Control<QWidget>("Lbinfo")));
    }

    void TheWindowOwnsTheTimersAndThePort()
    {
        QCOMPARE(window_->findChildren<Timer *>(Qt::FindDirectChildrenOnly).size(), 2);
        QCOMPARE(Control<Timer>("Timer1")->Interval(), 200);
        QVERIFY(!Control<Timer>("Timer1")->Enabled());
        QCOMPARE(Control<Timer>("Timer2")->Interval(), 20);
        QVERIFY(Control<Timer>("Timer2")->Enabled());
        QCOMPARE(Control<Com>("Com"), &window_->SerialPort());
        QVERIFY(!window_->SerialPort().PortOpen());
        SOON_EQUAL(window_->Link().Timer2Flg, quint8(1));
    }

    // ---- load and activation

    void LoadingConfiguresThePortAndCentresTheWindow()
    {
        window_->SerialPort().SetSettings(QStringLiteral("19200,e,7,2"));
        window_->SerialPort().SetInputLen(0);
        window_->Link().LinkDropped = true;
        window_->Link().ReconnectOnActivate = 0;
        window_->Load();
        QCOMPARE(window_->SerialPort().Settings(), QStringLiteral("9600,n,8,1"));
        QCOMPARE(window_->SerialPort().InputMode(), 1);
        QCOMPARE(window_->SerialPort().InputLen(), 1);
        QCOMPARE(window_->Link().LinkDropped, false);
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
        QVERIFY(window_->isVisible());
        QVERIFY(!Control<QWidget>("FRtemp")->isVisible());
        QVERIFY(!Control<QWidget>("Prbar")->isVisible());
        const QPoint off = window_->geometry().center() - window_->screen()->availableGeometry().center();
        QVERIFY2(qAbs(off.x()) <= 3 && qAbs(off.y()) <= 3, // but for its frame
                 qPrintable(QStringLiteral("%1, %2 off").arg(off.x()).arg(off.y())));
    }

    void TheFirstShowingConnectsOnce()
    {
        board_->Healthy();
        board_->master[9] = 2;
        board_->slave[15] = 77;
        window_->Load();
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        SOON(Connected());
        Settle();
        QCOMPARE(board_->Received(), HandshakeBytes());
        QCOMPARE(window_->Link().LinkState, 1);
        QCOMPARE(int(window_->Link().MasterEeprom[9]), 2);
        QCOMPARE(int(window_->Link().SlaveEeprom[15]), 77);
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
        QVERIFY(window_->SerialPort().PortOpen());
    }

    void TheAttemptsAreShownAndTheWindowStaysAlive()
    {
        QStringList shown;
        connect(Control<QPlainTextEdit>("TXT_Display"), &QPlainTextEdit::textChanged, &*window_,
                [&] { shown.append(Shown()); });
        window_->Load();
        SOON(shown.size() >= 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(shown[i], QStringLiteral("Essais de Connection\n %1").arg(i));
        Click("cb_chargeur");
        QVERIFY(window_->ChargeWindow().isVisible());
        board_->Healthy();
        SOON(Connected());
    }

    void TheLoadingIsShownWhileItLasts()
    {
        board_->Healthy();
        int asked = 0;
        board_->On(38, 1, [&asked](const QByteArray &) {
            return ++asked <= 15 ? Bytes({27, 1, 0}) : QByteArray(); // the last one has to wait
        });
        window_->Load();
        SOON_EQUAL(asked, 16);
        QVERIFY(Control<QWidget>("FRtemp")->isVisible());
        QVERIFY(Control<QWidget>("Prbar")->isVisible());
        QCOMPARE(Control<QProgressBar>("Prbar")->maximum(), 32);
        QCOMPARE(Control<QProgressBar>("Prbar")->value(), 31);
        QCOMPARE(Control<QLabel>("Lbinfo")->text(),
                 QStringLiteral(" Chargement partiel EEproms   Main.Prbar.Visible = False "));
        QCOMPARE(Shown(), connectedText);
        board_->Send(Bytes({27, 1, 0}));
        SOON(!Control<QWidget>("FRtemp")->isVisible());
        QVERIFY(!Control<QWidget>("Prbar")->isVisible());
        QVERIFY(Control<QWidget>("Prbar")->isHidden());
    }

    void AnActivationConnectsWhileItIsAskedTo()
    {
        LoadAndConnect();
        TurnAwayAndBack();
        SOON_EQUAL(board_->Received(), HandshakeBytes());
        SOON(Connected());
        Settle();
        QCOMPARE(board_->TakeReceived(), HandshakeBytes()); // once
        TurnAwayAndBack();
        SOON_EQUAL(board_->Received(), HandshakeBytes());
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
    }

    void AnActivationOtherwiseReopensThePort()
    {
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        window_->Link().LinkDropped = true;
        window_->SerialPort().SetSettings(QStringLiteral("19200,n,8,1"));
        board_->Send(Bytes({1, 2, 3}));
        SOON_EQUAL(window_->SerialPort().InBufferCount(), 3);
        TurnAwayAndBack();
        SOON_EQUAL(window_->SerialPort().InBufferCount(), 0); // lost, as the port was closed
        QVERIFY(window_->SerialPort().PortOpen());
        QCOMPARE(board_->Speed(), 9600);
        QCOMPARE(window_->Link().LinkDropped, false);
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
        QCOMPARE(window_->Link().ReconnectOnActivate, 0);
    }

    void AMessageBoxThatClosesIsNoActivation()
    {
        LoadAndConnect();
        messages::Show(&*window_, QMessageBox::Information, {}, QStringLiteral("texte"));
        QCOMPARE(OpenBoxes().size(), 1);
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenBoxes().constFirst()->windowHandle());
        AnswerBoxes();
        window_->activateWindow(); // which is what the window system does
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
        QCOMPARE(Shown(), connectedText);

        // From the box to another window and from there to this one is one.
        messages::Show(&*window_, QMessageBox::Information, {}, QStringLiteral("texte"));
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenBoxes().constFirst()->windowHandle());
        TurnAwayAndBack();
        SOON_EQUAL(board_->Received(), HandshakeBytes());
    }

    void AMenuThatClosesIsNoActivation()
    {
        LoadAndConnect();
        auto *menu = Control<QMenu>("Mnufile");
        menu->popup(window_->pos());
        SOON(menu->isVisible());
        Settle();
        menu->close();
        window_->activateWindow();
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
    }

    void AnActivationDoesNotEndTheSupervisionOfARun_data()
    {
        QTest::addColumn<int>("reconnectOnActivate");
        QTest::newRow("port reopened") << 0;
        QTest::newRow("connected anew") << 1;
    }
    void AnActivationDoesNotEndTheSupervisionOfARun()
    {
        QFETCH(int, reconnectOnActivate);
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = reconnectOnActivate;
        board_->SetSilent(true);
        QByteArray answer;
        Runner runner;
        runner.Start(Ask(&window_->Link(), Request(13), Reply::Framed(2), &answer));
        SOON_EQUAL(board_->Received(), Bytes({27, 13}));
        board_->SetSilent(false);
        board_->channel[13] = 522;
        TurnAwayAndBack();
        SOON(runner.Idle());
        QVERIFY(runner.ThrewNothing());
        QCOMPARE(answer, Bytes({2, 10, 0}));
        const QByteArray sent = board_->Received().mid(2); // after the one that was cut
        QVERIFY(sent.endsWith(Bytes({27, 13})));
        // Without a handshake its first answer is only a sign of life: the one that was cut was late already.
        QCOMPARE(sent.chopped(2), reconnectOnActivate == 1 ? HandshakeBytes() : Bytes({27, 13}));
    }

    void AnActivationInTheMiddleOfAReconnectionDoesNotLoseIt()
    {
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        board_->greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : QByteArray(); };
        Click("Cb_Reconnect");
        SOON(board_->Received().endsWith(char(170)));
        TurnAwayAndBack();
        board_->Healthy();
        SOON(Connected());
        QVERIFY(OpenBoxes().isEmpty());
    }

    // ---- connecting and disconnecting

    void ReconnectionConnects_data()
    {
        QTest::addColumn<bool>("open");
        QTest::newRow("port open") << true;
        QTest::newRow("port closed") << false;
    }
    void ReconnectionConnects()
    {
        QFETCH(bool, open);
        LoadAndConnect();
        if (!open)
            ClosePort();
        window_->Link().LinkDropped = true;
        Click("Cb_Reconnect");
        QVERIFY(window_->SerialPort().PortOpen());
        SOON_EQUAL(window_->Link().ReconnectOnActivate, 0);
        QCOMPARE(board_->TakeReceived(), HandshakeBytes());
        QCOMPARE(window_->Link().LinkDropped, false);
        QVERIFY(Connected());
        TurnAwayAndBack(); // and no handshake from now on
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
    }

    void ReconnectionReplacesTheConnectionUnderWay()
    {
        QSignalSpy shown(&window_->Link().handshake, &Handshake::Display);
        window_->Load();
        SOON(shown.count() >= 4);
        shown.clear();
        Click("Cb_Reconnect");
        SOON(!shown.isEmpty());
        QCOMPARE(shown.constFirst().constFirst().toString(), QStringLiteral("Essais de Connection\r\n 0"));
        board_->Healthy();
        SOON(Connected());
        SOON_EQUAL(window_->Link().ReconnectOnActivate, 0);
        board_->TakeReceived();
        Settle();
        QCOMPARE(board_->Received(), QByteArray()); // there is no second one behind it
    }

    void DisconnectionTellsTheBoard_data()
    {
        QTest::addColumn<bool>("open");
        QTest::newRow("port open") << true;
        QTest::newRow("port closed") << false;
    }
    void DisconnectionTellsTheBoard()
    {
        QFETCH(bool, open);
        LoadAndConnect();
        if (!open)
            ClosePort();
        window_->Link().ReconnectOnActivate = 0;
        Click("CD_DECONNECT");
        QCOMPARE(Shown(), QStringLiteral("Déconnecté"));
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
        QCOMPARE(window_->Link().LinkDropped, true);
        QCOMPARE(board_->Received(), Bytes({27, 3}));
        SOON(!window_->SerialPort().PortOpen()); // once these have left
        Settle();
        QCOMPARE(board_->Received(), Bytes({27, 3}));
    }

    void AfterADisconnectionAnActivationConnects()
    {
        LoadAndConnect();
        Click("Cb_Reconnect");
        SOON_EQUAL(window_->Link().ReconnectOnActivate, 0);
        Click("CD_DECONNECT");
        SOON(board_->Received().endsWith(Bytes({27, 3})));
        board_->TakeReceived();
        TurnAwayAndBack();
        SOON_EQUAL(board_->Received(), HandshakeBytes());
        SOON(Connected());
    }

    void DisconnectionEndsTheConnectionUnderWay_data()
    {
        QTest::addColumn<int>("answered"); // which of the greeting's steps the board answers
        QTest::newRow("nothing answered") << 0;
        QTest::newRow("in the wait for the second answer") << 1;
    }
    void DisconnectionEndsTheConnectionUnderWay()
    {
        QFETCH(int, answered);
        board_->greet = [&](quint8 greeting) { return greeting == 85 && answered == 1 ? Bytes({27}) : QByteArray(); };
        window_->Load();
        SOON(board_->Received().contains(char(answered == 1 ? 170 : 85)));
        Click("CD_DECONNECT");
        QVERIFY(!Control<Timer>("Timer1")->Enabled());
        SOON(board_->Received().endsWith(Bytes({27, 3})));
        board_->Healthy();
        Settle();
        QVERIFY(board_->Received().endsWith(Bytes({27, 3})));
        QCOMPARE(Shown(), QStringLiteral("Déconnecté"));
        QVERIFY(!window_->SerialPort().PortOpen());
        QCOMPARE(window_->Link().AbortWait, quint8(0));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void DisconnectionWorksWithoutAPort()
    {
        LoadAndConnect();
        ClosePort();
        board_->Unplug();
        window_->SerialPort().SetPortName(QStringLiteral("/dev/ttyNotThere"));
        Click("CD_DECONNECT");
        QCOMPARE(Shown(), QStringLiteral("Déconnecté"));
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().contains(QStringLiteral("/dev/ttyNotThere")));
    }

    void DisconnectionEndsTheSearchForALostPort()
    {
        LoadAndConnect();
        board_->Unplug();
        SOON(window_->SerialPort().Lost());
        AnswerBoxes();
        Click("CD_DECONNECT");
        QCOMPARE(Shown(), QStringLiteral("Déconnecté"));
        QVERIFY(!window_->SerialPort().Lost());
        QCOMPARE(OpenBoxes().size(), 1); // it could not be told
        board_->Plug();
        Settle();
        QVERIFY(!window_->SerialPort().PortOpen());
        QCOMPARE(board_->Received(), QByteArray());
    }

    void SendingAfterADisconnectionIsRefused()
    {
        LoadAndConnect();
        Click("CD_DECONNECT");
        SOON(!window_->SerialPort().PortOpen());
        Runner runner;
        bool done = false;
        runner.Start(Send51(&*window_, true, &done));
        QVERIFY(runner.Threw<PortClosed>());
        QVERIFY(!done);
    }

    void APortThatCannotBeOpenedIsSaidOnce()
    {
        QSignalSpy failed(&*window_, &Main::ConnectionFailed);
        board_->Unplug();
        window_->SerialPort().SetPortName(QStringLiteral("/dev/ttyNotThere"));
        window_->Load();
        SOON_EQUAL(OpenBoxes().size(), 1);
        const QString text = OpenBoxes().constFirst()->text();
        QVERIFY2(text.contains(QStringLiteral("/dev/ttyNotThere")), qPrintable(text));
        QCOMPARE(failed.count(), 1);
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenBoxes().constFirst()->windowHandle());
        AnswerBoxes();
        window_->activateWindow(); // which is what the window system does
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        Settle();
        QVERIFY(OpenBoxes().isEmpty()); // seeing it was no activation

        Click("Cb_Reconnect"); // still not there
        SOON_EQUAL(OpenBoxes().size(), 1);
        AnswerBoxes();
        QCOMPARE(failed.count(), 2);
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);

        board_->Healthy();
        board_->Plug(); // there at last
        Click("Cb_Reconnect");
        SOON(Connected());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void APortThatCannotBeReopenedIsSaid()
    {
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        port_->SetTaken(true);
        OtherWindow other;
        other.Activate();
        SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
        window_->activateWindow();
        SOON_EQUAL(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(),
                 QStringLiteral("Le port série ttyS0 ne peut pas être ouvert : un autre programme s'en sert"));
        QVERIFY(!window_->SerialPort().PortOpen());
    }

    void AnUnpluggedLineIsSaidOnceAndComesBack()
    {
        LoadAndConnect();
        board_->SetSilent(true);
        QByteArray answer;
        Runner runner;
        runner.Start(Ask(&window_->Link(), Request(13), Reply::Framed(2), &answer));
        SOON_EQUAL(board_->Received(), Bytes({27, 13}));
        board_->Unplug();
        SOON_EQUAL(OpenBoxes().size(), 1);
        const QString text = OpenBoxes().constFirst()->text();
        QVERIFY2(text.startsWith(QStringLiteral("La liaison avec ttyS0 est coupée : ")), qPrintable(text));
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenBoxes().constFirst()->windowHandle());
        AnswerBoxes();
        Settle();
        QVERIFY(OpenBoxes().isEmpty());
        QVERIFY(runner.ThrewNothing());

        board_->TakeReceived();
        board_->SetSilent(false);
        board_->channel[13] = 522;
        board_->Plug();
        SOON(runner.Idle());
        QVERIFY(runner.ThrewNothing());
        QCOMPARE(answer, Bytes({2, 10, 0}));
        // Behind a loss the first answer is only a sign of life.
        QCOMPARE(board_->Received(), Bytes({27, 13, 27, 13}));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AnActivationLeavesAnUnpluggedLineAlone()
    {
        LoadAndConnect();
        board_->SetSilent(true);
        QByteArray answer;
        Runner runner;
        runner.Start(Ask(&window_->Link(), Request(13), Reply::Framed(2), &answer));
        SOON_EQUAL(board_->Received(), Bytes({27, 13}));
        board_->Unplug();
        SOON_EQUAL(OpenBoxes().size(), 1);
        AnswerBoxes();
        TurnAwayAndBack();
        Settle();
        QVERIFY(OpenBoxes().isEmpty()); // it was said
        QVERIFY(window_->SerialPort().Lost());

        board_->TakeReceived();
        board_->SetSilent(false);
        board_->channel[13] = 522;
        board_->Plug();
        SOON(runner.Idle());
        QVERIFY(runner.ThrewNothing());
        QCOMPARE(answer, Bytes({2, 10, 0}));
    }

    // ---- the other windows

    void ModeButtonsOpenTheirWindows_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("item");
        QTest::addColumn<QString>("mode");
        QTest::newRow("charge") << QByteArray("cb_chargeur") << QByteArray("MnuChargeur") << "Chargeur";
        QTest::newRow("discharge") << QByteArray("CbDechargeur") << QByteArray("MDdech") << "Dechargeur";
        QTest::newRow("capacity") << QByteArray("CbCapa") << QByteArray("MdCapa") << "MesCapa";
        QTest::newRow("calibration") << QByteArray("Cb_Reglage") << QByteArray("MnuReglage") << "Reglage";
        QTest::newRow("tools") << QByteArray("Cb_Debug") << QByteArray("MnuMicro") << "Micro";
    }
    void ModeButtonsOpenTheirWindows()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, item);
        QFETCH(QString, mode);
        const auto open = [&mode]() -> QWidget * {
            for (QWidget *widget : QApplication::topLevelWidgets())
                if (widget->objectName() == mode && widget->isVisible())
                    return widget;
            return nullptr;
        };
        LoadAndConnect();
        window_->move(40, 30);
        QVERIFY(!open());
        Click(button.constData());
        QVERIFY(open());
        QVERIFY(!open()->isModal());
        QCOMPARE(window_->Link().MainLeft, float(window_->x()));
        QCOMPARE(window_->Link().MainTop, float(window_->y()));
        SOON_EQUAL(QGuiApplication::focusWindow(), open()->windowHandle());

        QWidget *former = open();
        if (window_->isVisible()) { // an open one is raised
            TurnAwayAndBack();
            window_->move(50, 20);
            Click(button.constData());
            QCOMPARE(open(), former);
            SOON_EQUAL(QGuiApplication::focusWindow(), former->windowHandle());
            QCOMPARE(window_->Link().MainLeft, float(window_->x()));
            QCOMPARE(window_->Link().MainTop, float(window_->y()));
        }
        former->close();
        SOON(!open());
        SOON(window_->isVisible());

        window_->move(60, 10);
        Choose(item.constData());
        QVERIFY(open());
        QCOMPARE(window_->Link().MainLeft, float(window_->x()));
    }

    void ARunKeepsTheMonitorAway_data()
    {
        QTest::addColumn<bool>("charge");
        QTest::newRow("charge") << true;
        QTest::newRow("discharge") << false;
    }
    void ARunKeepsTheMonitorAway()
    {
        QFETCH(bool, charge);
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        Click(charge ? "cb_chargeur" : "CbDechargeur");
        QWidget &run = charge ? static_cast<QWidget &>(window_->ChargeWindow()) : window_->DischargeWindow();
        const auto isOpen = [](const char *name) {
            return std::ranges::any_of(QApplication::topLevelWidgets(), [name](const QWidget *widget) {
                return widget->objectName() == QLatin1String(name) && widget->isVisible();
            });
        };
        run.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
        Click("CbMoni");
        QVERIFY(!isOpen("Moni"));
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().startsWith(QStringLiteral("Une charge ou une décharge est en cours")));
        AnswerBoxes();
        run.findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
        SOON_EQUAL(run.findChild<QLabel *>(QStringLiteral("Label18"))->text(), QStringLiteral("Arret"));
        Click("CbMoni");
        QVERIFY(isOpen("Moni"));
    }

    void ModeButtonsSendNothing_data()
    {
        QTest::addColumn<QByteArray>("button");
        for (const char *button : {"cb_chargeur", "CbDechargeur", "Cb_Reglage", "Cb_Debug"})
            QTest::newRow(button) << QByteArray(button);
    }
    void ModeButtonsSendNothing()
    {
        QFETCH(QByteArray, button);
        LoadAndConnect();
        Click(button.constData());
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void TheCalibrationMenuReturnsWithoutAConnection()
    {
        LoadAndConnect();
        QCOMPARE(window_->Link().ReconnectOnActivate, 1);
        Click("Cb_Reglage");
        QVERIFY(window_->isVisible()); // it stays in sight
        QWidget *menu = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (widget->objectName() == QLatin1String("Reglage"))
                menu = widget;
        QVERIFY(menu);
        SOON_EQUAL(QGuiApplication::focusWindow(), menu->windowHandle());
        window_->showMinimized();
        menu->activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), menu->windowHandle());
        Settle();
        board_->TakeReceived();
        menu->findChild<QPushButton *>(QStringLiteral("Rquitter"))->click();
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        QVERIFY(!window_->isMinimized());
        QVERIFY(!menu->isVisible());
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
        QVERIFY(window_->SerialPort().PortOpen());
    }

    void ReturningFromACalibrationSwitchesTheChargeOff()
    {
        LoadAndConnect();
        Click("Cb_Reglage");
        const auto named = [](const char *name) {
            const auto widgets = QApplication::topLevelWidgets();
            return *std::ranges::find(widgets, QLatin1String(name), &QWidget::objectName);
        };
        QWidget *menu = named("Reglage");
        menu->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(3);
        SOON_EQUAL(QGuiApplication::focusWindow(), named("Rcourant")->windowHandle());
        SOON(board_->Received().startsWith(Bytes({27, 15, 1, 27, 17, 1})));
        menu->findChild<QPushButton *>(QStringLiteral("Rquitter"))->click();
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        QVERIFY(!named("Rcourant")->isVisible());
        Settle(); // the port was closed and opened again meanwhile, and nothing was cut off
        const QByteArray sent = board_->Received();
        QVERIFY(sent.endsWith(Bytes({27, 15, 0, 27, 17, 0})));
        QCOMPARE(sent.count(Bytes({27, 15, 0})), 1);
        QCOMPARE(sent.count(Bytes({27, 17, 0})), 1);
        QVERIFY(window_->SerialPort().PortOpen());
    }

    void TheViewerOpensWithoutABoard()
    {
        Choose("MnuCourbes");
        const auto windows = QApplication::topLevelWidgets();
        const auto viewer = std::ranges::find(windows, QStringLiteral("Courbes"), &QWidget::objectName);
        QVERIFY(viewer != windows.end() && (*viewer)->isVisible());
        Settle();
        QVERIFY(!window_->SerialPort().PortOpen());
        QVERIFY(board_->TakeReceived().isEmpty());
    }

    void TheLogbookOpensWithoutABoardAndShowsCurves()
    {
        const OwnLogs logs;
        const auto restore = qScopeGuard([] { drive::SetRoot(QString()); });
        RunEntry run;
        run.id = RunEntry::NewId();
        run.began = run.ended = clock_->LocalTime();
        run.end = RunEntry::End::Rule;
        run.log = QFileInfo(OwnLogs::Charge()).absoluteFilePath();
        window_->Book().Enter(run);
        Choose("MnuCarnet");
        const auto named = [](const char *name) -> QWidget * {
            const auto windows = QApplication::topLevelWidgets();
            const auto found = std::ranges::find(windows, QLatin1String(name), &QWidget::objectName);
            return found == windows.end() ? nullptr : *found;
        };
        QWidget *const carnet = named("Carnet");
        QVERIFY(carnet && carnet->isVisible());
        Settle();
        QVERIFY(!window_->SerialPort().PortOpen());
        QVERIFY(board_->TakeReceived().isEmpty());
        auto *table = carnet->findChild<QTableView *>(QStringLiteral("Travaux"));
        QCOMPARE(table->model()->rowCount(), 1);
        table->selectRow(0);
        carnet->findChild<QPushButton *>(QStringLiteral("CbCourbe"))->click();
        QWidget *const viewer = named("Courbes");
        QVERIFY(viewer && viewer->isVisible());
        QCOMPARE(viewer->findChild<QListWidget *>(QStringLiteral("Journaux"))->count(), 1);
    }

    void MenuResetDoesNothing()
    {
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        Choose("MenuReset");
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
        QCOMPARE(Shown(), connectedText);
        QVERIFY(window_->SerialPort().PortOpen());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AWindowThatReturnsShowsThisOneAgain()
    {
        LoadAndConnect();
        window_->Link().ReconnectOnActivate = 0;
        Click("cb_chargeur");
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->ChargeWindow().windowHandle());
        window_->showMinimized();
        window_->ChargeWindow().activateWindow();
        window_->ChargeWindow().close();
        SOON_EQUAL(QGuiApplication::focusWindow(), window_->windowHandle());
        QVERIFY(window_->isVisible());
        QVERIFY(!window_->isMinimized());
    }

    void Switch51IsSentAndAnswered_data()
    {
        QTest::addColumn<bool>("on");
        QTest::newRow("on") << true;
        QTest::newRow("off") << false;
    }
    void Switch51IsSentAndAnswered()
    {
        QFETCH(bool, on);
        LoadAndConnect();
        board_->SetSilent(true);
        bool done = false;
        Runner runner;
        runner.Start(Send51(&*window_, on, &done));
        SOON_EQUAL(board_->Received(), Bytes({27, 51, on ? 1 : 0}));
        QVERIFY(!done);
        board_->Send(Bytes({200})); // whatever it says
        SOON(done);
    }

    // ---- the warning

    void AnUnconfirmedStopIsInTheStatusBar()
    {
        LoadAndConnect();
        const auto *bar = Control<QStatusBar>("statusbar");
        const auto *warning = Control<QLabel>("unconfirmed");
        QCOMPARE(warning->text(), QStringLiteral("Arrêt non confirmé"));
        QVERIFY(bar->isAncestorOf(warning));
        QVERIFY(!warning->isVisible());
        const QSize size = window_->size();
        Q_EMIT window_->Link().outputs.UnconfirmedChanged(true);
        QVERIFY(warning->isVisible());
        QStatusTipEvent nothing{QString()};
        QCoreApplication::sendEvent(&*window_, &nothing);
        QVERIFY(warning->isVisible());
        QCOMPARE(window_->size(), size);
        Q_EMIT window_->Link().outputs.UnconfirmedChanged(false);
        QVERIFY(!warning->isVisible());
    }

    // ---- the end

    void WaysOut_data()
    {
        QTest::addColumn<QByteArray>("way");
        for (const char *way : {"button", "menu", "close box"})
            QTest::newRow(way) << QByteArray(way);
    }
    void WaysOut()
    {
        QFETCH(QByteArray, way);
        LoadAndConnect();
        QTimer::singleShot(0ms, &*window_, [&] {
            if (way == "button")
                Click("Cb_quitter");
            else if (way == "menu")
                Choose("Mnuquitter");
            else
                window_->close();
            Settle();
        });
        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(board_->Received(), QByteArray());
        window_.reset(); // as the program does at its end
        Settle();
        QCOMPARE(board_->Received(), QByteArray());
    }

    void QuittingIsPossibleAtAnyMoment_data()
    {
        QTest::addColumn<QByteArray>("moment");
        for (const char *moment : {"greeting", "second greeting", "loading", "lost port", "refused port"})
            QTest::newRow(moment) << QByteArray(moment);
    }
    void QuittingIsPossibleAtAnyMoment()
    {
        QFETCH(QByteArray, moment);
        if (moment == "loading") {
            board_->Healthy();
            board_->On(38, 1, [](const QByteArray &) { return QByteArray(); });
        }
        if (moment == "second greeting")
            board_->greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : QByteArray(); };
        port_->SetTaken(moment == "refused port");
        window_->Load();
        Settle();
        if (moment == "lost port") {
            board_->Unplug();
            SOON(window_->SerialPort().Lost());
        }
        QTimer::singleShot(0ms, &*window_, [&] {
            Click("Cb_quitter");
            Settle();
        });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void QuittingInTheMiddleOfEverythingIsClean()
    {
        window_->Load();
        SOON(board_->Received().contains(char(85)));
        Click("cb_chargeur");
        window_.reset(); // a sanitizer sees what is left over
        QVERIFY(OpenBoxes().isEmpty());
    }
};

REGISTER_TEST(TestMain)
#include "tst_main.moc"
