// SPDX-License-Identifier: GPL-3.0-or-later
#include "house.h"
#include "support/suite.h"
#include "support/tones.h"
#include "ui/main/statelamp.h"

#include <QComboBox>
#include <QFile>
#include <QStatusBar>
#include <QToolButton>

namespace {
/// What a part of a window's strip says to a person who looks at it.
QString Says(const QWidget &window, const char *part)
{
    const auto *label = window.findChild<QLabel *>(QLatin1String(part));
    return label && label->isVisible() && label->width() > 0 ? label->text() : QString();
}

template <class Control>
Control *Of(const QWidget &window, const char *name)
{
    return window.findChild<Control *>(QLatin1String(name));
}

QList<QWidget *> VisibleWindows()
{
    QList<QWidget *> windows;
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (widget->isVisible() && qobject_cast<QMainWindow *>(widget))
            windows.append(widget);
    return windows;
}

/// Which pixels a lamp draws on, whatever their colour.
QList<bool> Shape(BoardState::Doing what, bool past)
{
    StateLamp lamp(nullptr);
    lamp.resize(24, 24);
    lamp.Show(what, past, false);
    const QImage picture = lamp.grab().toImage();
    QList<bool> shape;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            shape.append(picture.pixelColor(x, y) != lamp.palette().color(QPalette::Window));
    return shape;
}

/// The board answers what the dashboard asks, too.
void AnswerDashboard(House &house)
{
    house.board.On(0, 0, [](const QByteArray &) { return Bytes({6}); });
    for (const int port : {26, 28})
        house.board.On(static_cast<quint8>(port), 0, [](const QByteArray &) { return Bytes({27, 0, 0}); });
}

/// Opens windows of every kind beside the main one.
void OpenAll(House &house)
{
    AnswerDashboard(house);
    for (const char *button : {"cb_chargeur", "CbDechargeur", "CbCapa", "Cb_Reglage", "Cb_Debug"})
        house.Press(button);
    House::Press(*House::Named("Micro"), "CBEtat");
    house.main.show();
    Simulated().Run(2s);
}
} // namespace

/// The line at the foot of every window, and what it says when.
class TestStrip : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ALastingWordStandsBesideThePort()
    {
        House house;
        house.Load();
        house.main.SetNote(QStringLiteral("Démo × 60"));
        house.Press("cb_chargeur");
        for (const QWidget *window : std::initializer_list<QWidget *>{&house.main, &house.main.ChargeWindow()}) {
            const auto *note = Of<QLabel>(*window, "note");
            QCOMPARE(note->text(), QStringLiteral("Démo × 60"));
            QVERIFY(note->width() >= note->sizeHint().width());
            QVERIFY(note->mapTo(window, QPoint(note->width(), 0)).x() <= window->width());
            QVERIFY(note->geometry().left() >= Of<QLabel>(*window, "link")->geometry().right());
        }
        house.main.SetNote({});
        QCOMPARE(Says(house.main.ChargeWindow(), "note"), QString());
    }

    void EveryWindowHasOneAndNoneIsWidenedByIt()
    {
        House house;
        int windows = 0;
        for (const QWidget *widget : QApplication::topLevelWidgets())
            if (const auto *window = qobject_cast<const QMainWindow *>(widget)) {
                ++windows;
                const auto strips = window->findChildren<QWidget *>(QStringLiteral("strip"));
                QVERIFY2(strips.size() == 1, qPrintable(window->objectName()));
                QVERIFY(strips.constFirst()->minimumSizeHint().width() < 500);
            }
        QCOMPARE(windows, 18);
    }

    void EachStateHasAShapeOfItsOwn()
    {
        using Doing = BoardState::Doing;
        const Doing states[] = {Doing::Unknown,   Doing::Rest, Doing::Charge,
                                Doing::Discharge, Doing::Both, Doing::Stream};
        QList<QList<bool>> shapes;
        for (const bool past : {false, true})
            for (const Doing what : states) {
                const QList<bool> shape = Shape(what, past);
                QVERIFY(shape.count(true) > 20);
                // A ring has nothing in it that could be lost.
                if (!past || (what != Doing::Unknown))
                    QVERIFY2(!shapes.contains(shape), qPrintable(QString::number(int(what))));
                shapes.append(shape);
            }
    }

    void ARunIsToldInEveryWindow()
    {
        House house;
        house.Load();
        QCOMPARE(Says(house.main, "boardDoes"), QStringLiteral("inconnu"));
        QVERIFY(HasTone(Of<QLabel>(house.main, "boardDoes"), Tone::Quiet));
        QCOMPARE(Says(house.main, "watched"), QString());
        OpenAll(house);
        house.Charge();
        Simulated().Run(3s);
        for (const QWidget *window : VisibleWindows()) {
            QCOMPARE(Says(*window, "boardDoes"), QStringLiteral("charge 1,50 A"));
            QVERIFY(HasTone(Of<QLabel>(*window, "boardDoes"), Tone::Plain));
            QCOMPARE(Of<StateLamp>(*window, "boardLamp")->accessibleName(),
                     QStringLiteral("État de la carte : charge 1,50 A"));
            const bool own = window == &house.main.ChargeWindow();
            QCOMPARE(Says(*window, "otherRun"),
                     own ? QString() : QStringLiteral("Une charge est en cours dans « Mode chargeur rapide »"));
            QCOMPARE(Of<QToolButton>(*window, "stopRun")->isVisible(), !own);
        }
        QCOMPARE(Says(house.main.ChargeWindow(), "watched"), QStringLiteral("surveillé : charge"));

        House::Press(house.main.ChargeWindow(), "CBStop");
        Simulated().Run(3s);
        for (const QWidget *window : VisibleWindows()) {
            QCOMPARE(Says(*window, "boardDoes"), QStringLiteral("repos"));
            QCOMPARE(Says(*window, "watched"), QString());
            QCOMPARE(Says(*window, "otherRun"), QString());
            QVERIFY(!Of<QToolButton>(*window, "stopRun")->isVisible());
        }
    }

    void AMeasurementChargesAndDischarges()
    {
        House house;
        house.board.On(42, 3, [](const QByteArray &) { return Bytes({6}); });
        house.Load();
        house.Press("CbCapa");
        const QWidget &capacity = house.main.CapacityWindow();
        Of<QLineEdit>(capacity, "TxNbElem")->setText(QStringLiteral("6"));
        Of<QLineEdit>(capacity, "TxNbrCycles")->setText(QStringLiteral("1"));
        House::Press(capacity, "CBstart");
        Simulated().Run(10s); // the charge that prepares it
        QCOMPARE(Says(capacity, "boardDoes"), QStringLiteral("charge 1,50 A"));
        QCOMPARE(Says(capacity, "watched"), QStringLiteral("surveillé"));
        house.Press("Cb_Reglage");
        QCOMPARE(Of<QLabel>(*House::Named("Reglage"), "otherRun")->text(),
                 QStringLiteral("Une mesure de capacité est en cours dans « MESURE CAPACITE BATTERIE »"));
        Of<QToolButton>(*House::Named("Reglage"), "stopRun")->click();
        SOON(!house.main.CapacityWindow().Running());
        Simulated().Run(1s);
        QCOMPARE(Says(capacity, "boardDoes"), QStringLiteral("repos"));
    }

    void ArretInAnotherWindowIsTheRunsOwn()
    {
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        house.Charge();
        house.board.TakeReceived();
        Of<QToolButton>(*House::Named("Reglage"), "stopRun")->click();
        SOON_EQUAL(House::State(house.main.ChargeWindow()), QStringLiteral("Arret"));
        QVERIFY(house.board.Received().startsWith(Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1})));
        QVERIFY(!house.ChargeOn());
        QVERIFY(!QFile::exists(house.main.ChargeWindow().LogPath() + QStringLiteral(".note"))); // no cause
        QVERIFY(!Of<QToolButton>(*House::Named("Reglage"), "stopRun")->isVisible());
        Of<QToolButton>(*House::Named("Reglage"), "stopRun")->click(); // as a screen reader might
        Simulated().Run(5s);
        QVERIFY(BoxTexts().isEmpty());
    }

    void EscapeStopsTheRunOfItsWindow_data()
    {
        QTest::addColumn<QString>("window");
        for (const char *window : {"Chargeur", "Dechargeur", "MesCapa"})
            QTest::newRow(window) << window;
    }
    void EscapeStopsTheRunOfItsWindow()
    {
        QFETCH(QString, window);
        House house;
        house.board.On(42, 3, [](const QByteArray &) { return Bytes({6}); });
        house.Load();
        for (const char *button : {"cb_chargeur", "CbDechargeur", "CbCapa"})
            house.Press(button);
        QWidget *const run = House::Named(qPrintable(window));
        auto *const stop = Of<QPushButton>(*run, "CBStop");
        const QString plain = stop->styleSheet();
        QSignalSpy clicked(stop, &QPushButton::clicked);
        if (window == QLatin1String("Dechargeur"))
            Of<QLineEdit>(*run, "Text1")->setText(QStringLiteral("6"));
        if (window == QLatin1String("MesCapa"))
            Of<QLineEdit>(*run, "TxNbElem")->setText(QStringLiteral("6"));
        House::Press(*run, "CBstart");
        Simulated().Run(3s);
        QVERIFY(house.ChargeOn());
        QVERIFY(stop->styleSheet() != plain);
        QVERIFY(stop->isVisible());
        const QImage picture = stop->grab().toImage();
        QCOMPARE(picture.pixelColor(picture.width() / 2, 6).name(), QStringLiteral("#c00000"));
        run->activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), run->windowHandle());
        QTest::keyClick(run, Qt::Key_Escape);
        QCOMPARE(clicked.size(), 1);
        QVERIFY(run->isVisible());
        SOON(!house.ChargeOn());
        Simulated().Run(2s);
        QCOMPARE(stop->styleSheet(), plain);
        QTest::keyClick(run, Qt::Key_Escape); // no run is on
        QCOMPARE(clicked.size(), 1);
    }

    void ALostBoardIsGreyWithWhatWasLastKnown()
    {
        House house;
        house.Load();
        house.Charge();
        Simulated().Run(3s);
        house.port->Unplug();
        Simulated().Run(1s);
        const QWidget &charge = house.main.ChargeWindow();
        QCOMPARE(Says(charge, "boardDoes"), QStringLiteral("charge 1,50 A"));
        QVERIFY(HasTone(Of<QLabel>(charge, "boardDoes"), Tone::Quiet));
        QVERIFY(Of<StateLamp>(charge, "boardLamp")->accessibleName().endsWith(QStringLiteral("(dernier état connu)")));
        QVERIFY(Says(charge, "link").endsWith(QStringLiteral("débranché")));
        QVERIFY(Says(house.main, "link").endsWith(QStringLiteral("débranché")));
        AnswerBoxes();
        house.port->Plug();
        Simulated().Run(5s);
        QVERIFY(HasTone(Of<QLabel>(charge, "boardDoes"), Tone::Plain)); // the run goes on
        QCOMPARE(Says(charge, "boardDoes"), QStringLiteral("charge 1,50 A"));
    }

    void TheMonitorsStreamIsTold()
    {
        House house;
        house.Load();
        house.Press("CbMoni");
        Simulated().Run(2s);
        QCOMPARE(Says(*House::Named("Moni"), "boardDoes"), QStringLiteral("émission"));
    }

    /// A window keeps its size whatever there is to say, and nothing in it moves.
    void NoWindowJumps()
    {
        House house;
        house.Load();
        OpenAll(house);
        QMap<QWidget *, QRect> before;
        for (QWidget *window : VisibleWindows())
            before[window] = static_cast<QMainWindow *>(window)->centralWidget()->geometry();
        QCOMPARE(before.size(), 7);
        const auto unmoved = [&before] {
            QCoreApplication::sendPostedEvents();
            for (auto window = before.cbegin(); window != before.cend(); ++window)
                QCOMPARE(static_cast<QMainWindow *>(window.key())->centralWidget()->geometry(), window.value());
        };
        house.Charge();
        unmoved();
        house.main.SetGuardMissing(true);
        Simulated().Run(1s);
        unmoved();
        house.main.SetGuardMissing(false);
        house.port->Unplug();
        Simulated().Run(1s);
        unmoved();
        AnswerBoxes();
        house.port->Plug();
        Simulated().Run(3s);
        before.remove(&house.main.ChargeWindow());
        House::Press(house.main.ChargeWindow(), "CQuitter"); // it flows unwatched
        Simulated().Run(2s);
        unmoved();
        house.board.SetSilent(true);
        house.Press("Cb_Reconnect");
        Simulated().Run(12s);
        unmoved();
    }

    void ATextThatIsCutShowsAnEllipsisAndSaysAllInItsTip()
    {
        ElidedLabel label(nullptr);
        label.setText(QStringLiteral("Une charge est en cours"));
        label.resize(label.sizeHint());
        const QImage whole = label.grab().toImage();
        label.resize(label.sizeHint().width() / 2, label.height());
        const QImage cut = label.grab().toImage();
        QVERIFY(cut != whole.copy(cut.rect())); // the end looks otherwise
        QCOMPARE(label.minimumSizeHint().width(), 0);
        QCOMPARE(label.text(), QStringLiteral("Une charge est en cours"));
    }

    void APassingWordHasRoomBesideIt()
    {
        House house;
        house.Load();
        house.Press("Cb_Debug");
        auto *tools = static_cast<QMainWindow *>(House::Named("Micro"));
        Simulated().Run(1s);
        auto *strip = Of<QWidget>(*tools, "strip");
        const int before = strip->x();
        tools->statusBar()->showMessage(QStringLiteral("Fichier écrit"));
        Simulated().Run(1ms);
        QVERIFY(strip->x() > before + tools->fontMetrics().horizontalAdvance(QStringLiteral("Fichier écrit")));
        QVERIFY(Of<QWidget>(*tools, "boardLamp")->isVisible());
        tools->statusBar()->clearMessage();
        Simulated().Run(1ms);
        QCOMPARE(strip->x(), before);
    }

    // ---- readings that are no longer true

    void ReadingsTurnQuietWithTheRun_data()
    {
        QTest::addColumn<QString>("end");
        for (const char *end : {"stop", "loss", "disconnection"})
            QTest::newRow(end) << end;
    }
    void ReadingsTurnQuietWithTheRun()
    {
        QFETCH(QString, end);
        House house;
        house.clock.SetLocalTime(QDateTime(QDate(2024, 5, 17), QTime(14, 3, 20)));
        house.Load();
        house.Charge();
        const QWidget &charge = house.main.ChargeWindow();
        const auto *amperes = Of<QLabel>(charge, "Label11");
        Simulated().Run(3s);
        QVERIFY(HasTone(amperes, Tone::Plain));
        QCOMPARE(Says(charge, "lastReading"), QString());
        const QString text = amperes->text();
        QVERIFY(!text.isEmpty());

        if (end == QLatin1String("stop"))
            House::Press(charge, "CBStop");
        else if (end == QLatin1String("loss"))
            house.port->Unplug();
        else
            house.Press("CD_DECONNECT");
        for (const QMessageBox *box : OpenBoxes())
            for (QAbstractButton *button : box->buttons())
                if (button->text() == QStringLiteral("Arrêter la charge"))
                    button->click();
        Simulated().Run(500ms);
        const QTime ended = Simulated().LocalTime().time();
        Simulated().Run(2min); // the time is that of the reading
        QCOMPARE(amperes->text(), text);
        for (const char *label : {"Label4", "Label6", "Label9", "Label10", "Label11", "Label16"})
            QVERIFY2(HasTone(Of<QLabel>(charge, label), Tone::Quiet), label);
        const QString says = Says(charge, "lastReading");
        QVERIFY(says.startsWith(QStringLiteral("dernière mesure à ")));
        const QTime last = QTime::fromString(says.right(8), QStringLiteral("HH:mm:ss"));
        QVERIFY(last.isValid() && last <= ended && last.secsTo(ended) <= 2);
        AnswerBoxes();

        if (end == QLatin1String("loss")) {
            house.port->Plug();
            Simulated().Run(3s);
        }
        if (end == QLatin1String("disconnection")) {
            house.Press("Cb_Reconnect");
            Simulated().Run(5s);
        }
        house.Charge();
        Simulated().Run(3s);
        QVERIFY(HasTone(amperes, Tone::Plain));
        QCOMPARE(Says(charge, "lastReading"), QString());
    }

    void ASilentBoardsReadingsTurnQuietToo()
    {
        House house;
        AnswerDashboard(house);
        house.Load();
        house.Press("Cb_Debug");
        House::Press(*House::Named("Micro"), "CBEtat");
        const QWidget &dashboard = *House::Named("FEtat");
        House::Press(dashboard, "CBmanuel");
        SOON(!Of<QLabel>(dashboard, "LbVbatin")->text().isEmpty());
        Simulated().Run(5s);
        QVERIFY(HasTone(Of<QLabel>(dashboard, "LbVbatin"), Tone::Plain));
        house.board.SetSilent(true);
        House::Press(dashboard, "CBmanuel");
        Simulated().Run(11s);
        QVERIFY(HasTone(Of<QLabel>(dashboard, "LbVbatin"), Tone::Quiet));
        QCOMPARE(Of<QLabel>(dashboard, "silence")->text(), Silence::advice);
        house.board.SetSilent(false);
        house.Press("Cb_Reconnect");
        SOON(house.Connected());
        House::Press(dashboard, "CBmanuel");
        Simulated().Run(5s);
        QVERIFY(HasTone(Of<QLabel>(dashboard, "LbVbatin"), Tone::Plain));
        QCOMPARE(Says(dashboard, "silence"), QString());
    }

    void ACalibrationsReadingTurnsQuiet()
    {
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        Of<QComboBox>(*House::Named("Reglage"), "SelRegl")->setCurrentIndex(2);
        const QWidget &supplies = *House::Named("Vfiltrage");
        const auto *reading = Of<QLineEdit>(supplies, "TxCad");
        SOON(!reading->text().isEmpty());
        QVERIFY(HasTone(reading, Tone::Plain));
        house.port->Unplug();
        Simulated().Run(1s);
        QVERIFY(HasTone(reading, Tone::Quiet));
        QVERIFY(Says(supplies, "lastReading").startsWith(QStringLiteral("dernière mesure à ")));
        AnswerBoxes();
        house.port->Plug();
        SOON(HasTone(reading, Tone::Plain));
        QCOMPARE(Says(supplies, "lastReading"), QString());
        house.Press("CbMoni"); // the board goes on by itself
        SOON(house.main.Link().Streaming);
        Simulated().Run(5s);
        QVERIFY(HasTone(reading, Tone::Quiet));
    }

    // ---- a board that says nothing

    void AfterTenSecondsTheMainWindowSaysWhatToLookAt()
    {
        House house;
        house.Load();
        const auto *advice = Of<QLabel>(house.main, "silenceAdvice");
        QVERIFY(!advice->isVisible());
        house.board.SetSilent(true);
        house.Press("Cb_Reconnect");
        Simulated().Run(9s);
        QVERIFY(!advice->isVisible());
        const QSize size = house.main.size();
        Simulated().Run(2s);
        QVERIFY(advice->isVisible());
        QCOMPARE(advice->text(),
                 QStringLiteral("La carte ne répond pas : vérifiez le câble, l'alimentation de la carte, le port "
                                "choisi et la vitesse (9600 bauds)."));
        QVERIFY(house.Display().startsWith(QStringLiteral("Essais de Connection")));
        QCOMPARE(house.main.size(), size);
        QCOMPARE(Says(house.main, "silence"), QString()); // once is enough
        house.board.SetSilent(false);
        SOON(house.Connected());
        QVERIFY(!advice->isVisible());
    }
};

REGISTER_TEST(TestStrip)
#include "tst_strip.moc"
