// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "memorybench.h"
#include "support/controls.h"
#include "support/suite.h"

#include <QFile>
#include <QGroupBox>
#include <QScreen>
#include <QSlider>
#include <QTableWidget>

namespace {
constexpr int masterSide = 1;
constexpr int slaveSide = 2;

QByteArray ReadRequests(int command, int count = 256)
{
    return Repeat(count, [command](int address) { return Bytes({27, command, address}); });
}

const QByteArray wholeRead = ReadRequests(37) + ReadRequests(38);

QByteArray WriteRequests(int command, const std::function<int(int)> &value)
{
    return Repeat(256, [&](int address) { return Bytes({27, command, address, value(address)}); });
}

struct Bench : MemoryBench
{
    explicit Bench(int side = masterSide)
    {
        for (int address = 0; address < 256; ++address) {
            board.master[address] = static_cast<quint8>(address);
            board.slave[address] = static_cast<quint8>(255 - address);
        }
        link.EepromSel = side;
        window.setUpdatesEnabled(false); // nobody looks: painting would take longer than all else
    }

    /// Opens the window and sees its reading of the board through.
    void Open()
    {
        window.Edit();
        ReadsOnce();
    }
    void ReadsOnce()
    {
        QVERIFY(Simulated().RunUntil([this] { return board.Received().size() >= wholeRead.size() && !window.Busy(); }));
        QCOMPARE(board.TakeReceived(), wholeRead);
    }
    void Enter(const char *name, const QString &text)
    {
        Box(name)->setText(text);
        QTest::keyClick(Box(name), Qt::Key_Return);
    }
    void Edit(int address, int value)
    {
        Enter("Text2", QString::number(address));
        Enter("Text3", QString::number(value));
    }
    /// Presses a button and chooses a file in the dialog that opens.
    void Choose(const char *button, const QString &path)
    {
        Button(button)->click();
        QVERIFY(OpenDialog(window));
        ChooseIn(OpenDialog(window), path);
        Simulated().Run(0ms);
    }
    void Load(const QByteArray &content)
    {
        const QString path = folder.filePath(QStringLiteral("image.ESV"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        Choose("CBLoadeprom", path);
    }

    /// Does something after all that is to be done at this moment, while the board prepares its answer.
    void Soon(const std::function<void()> &what) { QMetaObject::invokeMethod(&window, what, Qt::QueuedConnection); }

    QPushButton *Button(const char *name) { return window.findChild<QPushButton *>(QLatin1String(name)); }
    QLineEdit *Box(const char *name) { return window.findChild<QLineEdit *>(QLatin1String(name)); }
    QString Text(const char *name) { return window.findChild<QLabel *>(QLatin1String(name))->text(); }
    QString Status() { return window.statusBar()->currentMessage(); }
    QProgressBar *Bar() { return window.findChild<QProgressBar *>(QStringLiteral("Bar")); }
    QSlider *Slider() { return window.findChild<QSlider *>(QStringLiteral("Vscroll1")); }
    QTableWidget *Table() { return window.findChild<QTableWidget *>(); }
    bool Marked(const char *name)
    {
        return Box(name)->palette().color(QPalette::Base) != QPalette().color(QPalette::Base);
    }

    QTemporaryDir folder;
    Kept<EEprom> window{link};
    QSignalSpy returning{&window, &Window::Returning};
};

const QString rowOf0 = QStringLiteral("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ");
} // namespace

class TestEEprom : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { drive::SetRoot(folder_.path()); }
    void cleanup()
    {
        AnswerBoxes();
        QVERIFY(OpenBoxes().isEmpty());
    }

    void Controls_data()
    {
        AddControls({
            {"Vscroll1", "QSlider", nullptr},
            {"Bar", "QProgressBar", nullptr},
            {"CBLoadeprom", "QPushButton", "Restaure EEPROM"},
            {"CBSaveeprom", "QPushButton", "Sauvegarde EEPROM"},
            {"CBUpdate", "QPushButton", "Mise à jour PIC"},
            {"CBeepend", "QPushButton", "Retour"},
            {"Text4", "QLineEdit", ""},
            {"Lbdat2", "QLineEdit", "12345678"},
            {"LBadr2", "QLabel", "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"},
            {"Label2", "QLabel", ""},
            {"Frame1", "QGroupBox", "Paramètres généraux"},
            {"Label1", "QLabel", "00  01  02  03  04  05  06  07  08  09  0A  0B  0C  0D  0E  0F"},
            {"Label3", "QLabel", ""},
            {"Label4", "QLabel", "Adresse : "},
            {"Text2", "QLineEdit", ""},
            {"Label8", "QLabel", ""},
            {"Label5", "QLabel", "Donnée :"},
            {"Text3", "QLineEdit", ""},
        });
    }
    void Controls()
    {
        Bench bench;
        CheckControl(bench.window);
    }

    void Typefaces()
    {
        Bench bench;
        const auto family = [&bench](const char *name) {
            return bench.window.findChild<QWidget *>(QLatin1String(name))->font().family();
        };
        QCOMPARE(family("Lbdat2"), QStringLiteral("Courier New"));
        QCOMPARE(family("LBadr2"), QStringLiteral("Courier"));
        QCOMPARE(family("Label1"), QStringLiteral("Times New Roman"));
        QCOMPARE(family("Label3"), QStringLiteral("Times New Roman"));
    }

    void Opening()
    {
        Bench bench;
        bench.board.SetSilent(true);
        bench.window.CurRow = 7;
        bench.window.Edit();
        QVERIFY(bench.window.isVisible());
        QCOMPARE(bench.window.windowTitle(), QStringLiteral(" Mise a jour EEprom"));
        QCOMPARE(bench.window.objectName(), QStringLiteral("EEprom"));
        QCOMPARE(bench.window.CurRow, quint8(0));
        QCOMPARE(bench.Slider()->minimum(), 0);
        QCOMPARE(bench.Slider()->maximum(), 15);
        const QPoint off = bench.window.geometry().center() - bench.window.screen()->availableGeometry().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
    }

    // ---- reading

    void ReadingBothImages()
    {
        for (const int side : {masterSide, slaveSide}) {
            Bench bench(side);
            bench.Open();
            for (size_t address = 0; address < 256; ++address) {
                QCOMPARE(bench.link.MasterEeprom[address], quint8(address));
                QCOMPARE(bench.link.SlaveEeprom[address], quint8(255 - address));
            }
            QCOMPARE(bench.Text("Label2"), QStringLiteral("0"));
            QCOMPARE(bench.window.CurAddr, quint8(20));
            QCOMPARE(bench.Box("Lbdat2")->text(),
                     side == masterSide ? rowOf0 : QStringLiteral("FF FE FD FC FB FA F9 F8 F7 F6 F5 F4 F3 F2 F1 F0 "));
            QVERIFY(bench.Text("Label3").isEmpty());
            QVERIFY(!bench.Bar()->isVisible());
        }
    }

    void ReadingShowsItsProgress()
    {
        Bench bench;
        QList<int> values;
        bool shown = true;
        for (const int command : {37, 38})
            bench.board.On(static_cast<quint8>(command), 1, [&](const QByteArray &) {
                bench.Soon([&] { values.append(bench.Bar()->value()); });
                shown = shown && bench.Bar()->isVisible();
                return Bytes({27, 27, 0}); // a value that looks like the beginning of a reply
            });
        bench.window.Edit();
        QVERIFY(Simulated().RunUntil([&values] { return values.size() == 512; }));
        SOON(!bench.window.Busy());
        QVERIFY(shown);
        for (int i = 1; i < 256; ++i) { // after each byte
            QCOMPARE(values[i], i - 1);
            QCOMPARE(values[256 + i], i - 1);
        }
        QCOMPARE(bench.link.MasterEeprom[255], quint8(27));
        SOON_EQUAL(bench.Bar()->value(), 255); // painted while the line is busy
    }

    void TheText_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QByteArray(32, '\0') << QString();
        QTest::newRow("32 characters") << QByteArray("12345678901234567890123456789012")
                                       << QStringLiteral("12345678901234567890123456789012");
        QTest::newRow("zeros are skipped")
            << QByteArray("Vol\0taire\0\0 2", 13) + QByteArray(19, '\0') << QStringLiteral("Voltaire 2");
        QTest::newRow("accents") << QByteArray("r\xE9glage").leftJustified(32, '\0') << QStringLiteral("réglage");
        QTest::newRow("not printable") << QByteArray("a\x01\nb").leftJustified(32, '\0') << QStringLiteral("a··b");
    }
    void TheText()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        const int side = text.isEmpty() || text == QStringLiteral("réglage") ? slaveSide : masterSide;
        Bench bench(side);
        std::ranges::copy(bytes, (side == masterSide ? bench.board.master : bench.board.slave) + 80);
        bench.Open();
        QCOMPARE(bench.Box("Text4")->text(), text);
    }

    void EachActivationReads()
    {
        Bench bench;
        bench.Open();
        QWidget other;
        for (int time = 0; time < 2; ++time) {
            other.show();
            other.activateWindow();
            SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
            bench.window.CurAddr = 3;
            bench.board.master[0] = static_cast<quint8>(100 + time);
            bench.window.activateWindow();
            bench.ReadsOnce();
            QCOMPARE(bench.link.MasterEeprom[0], quint8(100 + time));
            QCOMPARE(bench.window.CurAddr, quint8(20));
        }
    }

    void AnActivationDuringAReadIsIgnored()
    {
        Bench bench;
        QWidget other;
        other.show();
        int requests = 0;
        bench.board.On(38, 1, [&](const QByteArray &) {
            if (++requests == 100) {
                other.activateWindow();
                bench.window.activateWindow();
            }
            return Bytes({27, 0, 0});
        });
        bench.Open();
        QCOMPARE(requests, 256);
    }

    void TheFileDialogIsNoActivation()
    {
        Bench bench;
        bench.Open();
        bench.Load(Repeat(256, [](int) { return QByteArray(" 9 \r\n"); }));
        SOON_EQUAL(bench.link.MasterEeprom[0], quint8(9));
        const auto comesBack = [&bench] { // as window managers do
            bench.window.activateWindow();
            return Simulated().RunUntil([&] { return QGuiApplication::focusWindow() == bench.window.windowHandle(); });
        };
        QVERIFY(comesBack());
        bench.Button("CBSaveeprom")->click();
        SOON_EQUAL(QGuiApplication::focusWindow(), OpenDialog(bench.window)->windowHandle());
        OpenDialog(bench.window)->reject();
        QVERIFY(comesBack());
        bench.link.SendByte(7); // comes after all that the window may have sent
        SOON_EQUAL(bench.board.Received(), Bytes({7}));
        QCOMPARE(bench.link.MasterEeprom[0], quint8(9));
    }

    // ---- rows

    void Rows()
    {
        Bench bench(slaveSide);
        bench.board.slave[15 * 16] = 0xAB;
        bench.Open();
        for (int row = 0; row < 16; ++row) {
            bench.Slider()->setValue(row);
            QString line;
            for (int i = row * 16; i < row * 16 + 16; ++i)
                line += QStringLiteral("%1 ").arg(bench.board.slave[i], 2, 16, QLatin1Char('0')).toUpper();
            QCOMPARE(bench.Box("Lbdat2")->text(), line);
            QCOMPARE(bench.Text("Label2"), QString::number(row));
            QCOMPARE(bench.window.CurRow, quint8(row));
        }
        QVERIFY(bench.Box("Lbdat2")->text().startsWith(QStringLiteral("AB 0E 0D ")));
    }

    void TheTable()
    {
        Bench bench;
        bench.Open();
        QTableWidget *table = bench.Table();
        for (int address = 0; address < 256; ++address)
            QCOMPARE(table->item(address / 16, address % 16)->text(),
                     QStringLiteral("%1").arg(address, 2, 16, QLatin1Char('0')).toUpper());
        QCOMPARE(table->editTriggers(), QAbstractItemView::NoEditTriggers);
        bench.Slider()->setValue(4);
        QCOMPARE(table->currentRow(), 4);
        Q_EMIT table->cellClicked(9, 3);
        QCOMPARE(bench.Text("Label2"), QStringLiteral("9"));
    }

    // ---- entries

    void Names()
    {
        const char *const master[] = {"Correction temperature H",
                                      "Correction temperature L",
                                      "Decallage temperature H",
                                      "Decallage Temperature L",
                                      "Temperature ventilo",
                                      "Temperature arret",
                                      "Correction tenperature bat H",
                                      "Correction temperature bat L",
                                      "Temperature bat coupure",
                                      "Correction V alim H",
                                      "Correction V alim L",
                                      "Correction V alim dbl H",
                                      "Correction V alim dbl L",
                                      "NU",
                                      "NU",
                                      "Nombre de choix modes"};
        const char *const slave[] = {"Correction I Charge H",
                                     "Correction I Charge L",
                                     "Correction I Decharge H",
                                     "Correction I Decharge L",
                                     "Correction Pot I Charge",
                                     "Correction Pot I Decharge",
                                     "Correction V Batterie H",
                                     "Correction V Batteriet L",
                                     "NU",
                                     "NU",
                                     "NU",
                                     "NU",
                                     "NU",
                                     "NU",
                                     "NU",
                                     "NU"};
        for (const int side : {masterSide, slaveSide}) {
            Bench bench(side);
            bench.Open();
            for (int address = 0; address < 16; ++address) {
                bench.Enter("Text2", QString::number(address));
                QCOMPARE(bench.Text("Label8"), QString::fromLatin1((side == masterSide ? master : slave)[address]));
                QCOMPARE(bench.window.CurAddr, quint8(address));
            }
        }
    }

    void HighAddressesKeepTheName()
    {
        Bench bench;
        bench.Open();
        bench.Enter("Text2", QStringLiteral("4"));
        for (const int address : {16, 19, 21, 255}) {
            bench.Enter("Text2", QString::number(address));
            QCOMPARE(bench.Text("Label8"), QStringLiteral("Temperature ventilo"));
            QCOMPARE(bench.window.CurAddr, quint8(address));
            bench.Enter("Text3", QStringLiteral("77"));
            QCOMPARE(bench.link.MasterEeprom[static_cast<size_t>(address)], quint8(77));
        }
    }

    void TheParameterLine()
    {
        const quint8 bytes[] = {0x00, 0x07, 0x09, 0x0A, 0x0C, 0x0F, 0x10, 0x1B, 0x99, 0xA5, 0xFF, 0xF0, 1, 2, 3, 4};
        for (const int side : {masterSide, slaveSide}) {
            Bench bench(side);
            std::ranges::copy(bytes, side == masterSide ? bench.board.master : bench.board.slave);
            bench.Open();
            bench.Enter("Text2", QStringLiteral("0"));
            QCOMPARE(bench.Text("Label3"),
                     side == masterSide
                         ? QStringLiteral("00  07  09  0A  0C  0F  10  1B  99  A5  FF  F0  01  02  03  04  ")
                         : QStringLiteral("0  0  0        0  B  9  5  F  0  0  0  0  0  "));
        }
    }

    void EditingAByte()
    {
        Bench bench(slaveSide);
        bench.Open();
        bench.Enter("Text2", QStringLiteral("9"));
        bench.Enter("Text3", QStringLiteral("18"));
        QCOMPARE(bench.link.SlaveEeprom[9], quint8(18));
        QCOMPARE(bench.link.MasterEeprom[9], quint8(9));
        QVERIFY(bench.Text("Label3").startsWith(QStringLiteral("F  E  D  C  B  A  9  8  7  2  5  ")));
        QCOMPARE(bench.Box("Lbdat2")->text().mid(27, 3), QStringLiteral("12 "));
        QCOMPARE(bench.Table()->item(0, 9)->text(), QStringLiteral("12"));
        QVERIFY(bench.board.Received().isEmpty()); // the board knows nothing of it
    }

    void AllValues()
    {
        Bench bench;
        bench.Open();
        bench.Enter("Text2", QStringLiteral("2"));
        for (int value = 0; value < 256; ++value) {
            bench.Enter("Text3", QString::number(value));
            QCOMPARE(bench.link.MasterEeprom[2], quint8(value));
        }
    }

    void Address20IsNone()
    {
        Bench bench;
        bench.Open();
        const auto before = bench.link.MasterEeprom;
        bench.Enter("Text3", QStringLiteral("99")); // nothing selected yet
        bench.Enter("Text2", QStringLiteral("20"));
        QVERIFY(!bench.Text("Label3").isEmpty());
        bench.Enter("Text3", QStringLiteral("99"));
        QCOMPARE(bench.link.MasterEeprom, before);
        QVERIFY(!bench.Marked("Text2") && !bench.Marked("Text3"));
    }

    void RefusedEntries()
    {
        Bench bench;
        bench.Open();
        const auto before = bench.link.MasterEeprom;
        for (const char *text : {"", " ", "256", "-1", "255.6", "1e9", "douze", "12x", "0x10", "nan", "inf", "1,5"}) {
            bench.Enter("Text2", QStringLiteral("3"));
            const QString line = bench.Text("Label3");
            bench.Enter("Text3", QString::fromLatin1(text));
            QVERIFY2(bench.Marked("Text3"), text);
            QCOMPARE(bench.window.CurAddr, quint8(3));
            bench.Enter("Text2", QString::fromLatin1(text));
            QVERIFY2(bench.Marked("Text2"), text);
            QCOMPARE(bench.window.CurAddr, quint8(20)); // nothing is selected any more
            QCOMPARE(bench.Text("Label8"), QStringLiteral("Decallage Temperature L"));
            bench.Enter("Text3", QStringLiteral("5"));
            QCOMPARE(bench.link.MasterEeprom, before);
            QCOMPARE(bench.Text("Label3"), line);
            QTest::keyClick(bench.Box("Text2"), Qt::Key_1);
            QVERIFY(!bench.Marked("Text2")); // as soon as it is typed in again
        }
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AcceptedEntries()
    {
        Bench bench;
        bench.Open();
        const std::pair<const char *, int> entries[] = {{"  7 ", 7}, {"007", 7}, {"255", 255},
                                                        {"2.5", 2},  {"3.5", 4}, {"254.6", 255}};
        for (const auto &[text, address] : entries) {
            bench.Enter("Text2", QString::fromLatin1(text));
            QCOMPARE(bench.window.CurAddr, quint8(address));
            QVERIFY(!bench.Marked("Text2"));
        }
    }

    // ---- writing the board

    void Updating_data()
    {
        QTest::addColumn<int>("side");
        QTest::addColumn<int>("command");
        QTest::newRow("master") << masterSide << 39;
        QTest::newRow("slave") << slaveSide << 40;
    }
    void Updating()
    {
        QFETCH(int, side);
        QFETCH(int, command);
        Bench bench(side);
        bench.Open();
        bench.Enter("Text2", QStringLiteral("200"));
        bench.Enter("Text3", QStringLiteral("1"));
        QList<int> values;
        bool shown = true;
        bench.board.On(static_cast<quint8>(command), 2, [&](const QByteArray &) {
            bench.Soon([&] { values.append(bench.Bar()->value()); });
            shown = shown && bench.Bar()->isVisible();
            return Bytes({27, 5, 6}); // other bytes are skipped
        });
        bench.Button("CBUpdate")->click();
        QCOMPARE(bench.Bar()->maximum(), 256);
        SOON_EQUAL(values.size(), 256);
        SOON(!bench.window.Busy());
        QCOMPARE(bench.board.TakeReceived(), WriteRequests(command, [side](int address) {
                     return address == 200 ? 1 : side == masterSide ? address : 255 - address;
                 }));
        QVERIFY(shown);
        QVERIFY(!bench.Bar()->isVisible());
        QCOMPARE(values[255], 254);
    }

    void AnImageThatWasNotReadWholeIsNotWritten()
    {
        Bench bench;
        bench.board.On(38, 1, [&](const QByteArray &p) { return p[0] == 9 ? QByteArray() : Bytes({27, 0, 0}); });
        bench.window.Edit();
        SOON(bench.board.Received().endsWith(Bytes({27, 38, 9})));
        const QByteArray sent = bench.board.Received();
        for (const char *button : {"CBUpdate", "CBSaveeprom", "CBLoadeprom"}) {
            bench.window.statusBar()->clearMessage();
            bench.Button(button)->click();
            QCOMPARE(bench.Status(), QStringLiteral("Lecture en cours : attendez sa fin."));
            QVERIFY(!OpenDialog(bench.window));
        }
        bench.ClosePort(); // the read ends with an error
        SOON(OpenQuestion());
        QVERIFY(!bench.window.Busy());
        AnswerBoxes();
        bench.link.OpenPort();
        for (const char *button : {"CBUpdate", "CBSaveeprom"}) {
            bench.window.statusBar()->clearMessage();
            bench.Button(button)->click();
            QVERIFY(bench.Status().startsWith(QStringLiteral("L'image n'a pas été lue en entier")));
            QVERIFY(!OpenDialog(bench.window));
        }
        QCOMPARE(bench.board.Received(), sent);

        bench.Load(Repeat(256, [](int i) { return QByteArray::number(i) + '\n'; })); // a whole one from a file
        SOON_EQUAL(bench.link.MasterEeprom[255], quint8(255));
        bench.board.TakeReceived();
        bench.Button("CBUpdate")->click();
        const QByteArray writes = WriteRequests(39, [](int address) { return address; });
        SOON(!bench.window.Busy());
        // The first answer may have been the one that was owed when the port was closed.
        QCOMPARE(bench.board.Received(), writes.first(4) + writes);
    }

    void NothingElseWhileUpdating()
    {
        Bench bench;
        bench.Open();
        bench.board.On(39, 2, [](const QByteArray &p) { return p[0] == 50 ? QByteArray() : Bytes({6}); });
        bench.Button("CBUpdate")->click();
        SOON(bench.board.Received().endsWith(Bytes({27, 39, 50, 50})));
        const QByteArray sent = bench.board.Received();
        for (const char *button : {"CBUpdate", "CBSaveeprom", "CBLoadeprom"}) {
            bench.window.statusBar()->clearMessage();
            bench.Button(button)->click();
            QCOMPARE(bench.Status(), QStringLiteral("Mise à jour en cours : attendez sa fin."));
        }
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
        bench.window.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), bench.window.windowHandle());
        bench.link.EepromSel = slaveSide;
        bench.window.Edit(); // does not turn to the other side now
        QCOMPARE(bench.board.Received(), sent);
        bench.board.Send(Bytes({6}));
        SOON(!bench.window.Busy());
        QCOMPARE(bench.board.Received(), WriteRequests(39, [](int address) { return address; }));
        bench.Enter("Text2", QStringLiteral("8"));
        QCOMPARE(bench.Text("Label8"), QStringLiteral("Temperature bat coupure"));
    }

    // ---- image files

    void TheDialogs_data()
    {
        QTest::addColumn<int>("side");
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("filter");
        const auto row = [](const char *name, int side, const char *button, const char *title, const char *filter) {
            QTest::newRow(name) << side << QByteArray(button) << QString::fromLatin1(title)
                                << QString::fromLatin1(filter);
        };
        row("save master", masterSide, "CBSaveeprom", "Fichier Save EpromPic Master", "EEpromSave (*.ESV)");
        row("save slave", slaveSide, "CBSaveeprom", "Fichier Save EpromPicSlave", "EEpromSave (*.ESV)");
        row("load master", masterSide, "CBLoadeprom", "Fichier Save EpromPic Master", "EEPromSave (*.ESV)");
        row("load slave", slaveSide, "CBLoadeprom", "Fichier Save EpromPicSlave", "EEPromSave (*.ESV)");
    }
    void TheDialogs()
    {
        QFETCH(int, side);
        QFETCH(QByteArray, button);
        QFETCH(QString, title);
        QFETCH(QString, filter);
        Bench bench(side);
        bench.Open();
        bench.link.EepromSel = 3 - side; // the editor keeps the side that it was opened with
        bench.Button(button.constData())->click();
        QFileDialog *dialog = OpenDialog(bench.window);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), title);
        QCOMPARE(dialog->nameFilters(), (QStringList{filter, QStringLiteral("All (*.* *)")}));
        QCOMPARE(dialog->directory(), QDir(folder_.path()));
        QCOMPARE(dialog->acceptMode(), button == "CBSaveeprom" ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
        bench.Button(button.constData())->click(); // once is enough
        QVERIFY(dialog->isVisible());
        const auto before = bench.link.MasterEeprom;
        dialog->reject();
        SOON(!OpenDialog(bench.window));
        QCOMPARE(bench.link.MasterEeprom, before);
        QVERIFY(OpenBoxes().isEmpty());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void SavingAndLoading()
    {
        for (const int side : {masterSide, slaveSide}) {
            Bench bench(side);
            bench.Open();
            const QString path = bench.folder.filePath(QStringLiteral("saved.ESV"));
            bench.Choose("CBSaveeprom", path);
            SOON(QFile::exists(path));
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), Repeat(256, [side](int i) {
                         return ' ' + QByteArray::number(side == masterSide ? i : 255 - i) + " \r\n";
                     }));
            auto &image = side == masterSide ? bench.link.MasterEeprom : bench.link.SlaveEeprom;
            auto &other = side == masterSide ? bench.link.SlaveEeprom : bench.link.MasterEeprom;
            const auto saved = image;
            const auto untouched = other;
            image.fill(99);
            bench.Choose("CBLoadeprom", path);
            SOON_EQUAL(image[255], saved[255]);
            QVERIFY(std::equal(saved.begin(), saved.begin() + 256, image.begin()));
            QCOMPARE(image[256], quint8(99)); // is no byte of the EEPROM
            QCOMPARE(other, untouched);
            QVERIFY(bench.board.Received().isEmpty());
            QCOMPARE(bench.Box("Lbdat2")->text().left(6),
                     side == masterSide ? QStringLiteral("00 01 ") : QStringLiteral("FF FE "));
        }
    }

    void AFileOfTheOtherMicrocontroller()
    {
        Bench bench(slaveSide);
        bench.Open();
        bench.Load(Repeat(256, [](int i) { return ' ' + QByteArray::number(i) + " \r\n"; }));
        SOON_EQUAL(bench.link.SlaveEeprom[255], quint8(255));
        bench.Button("CBUpdate")->click();
        SOON_EQUAL(bench.board.Received(), WriteRequests(40, [](int address) { return address; }));
    }

    void AShortFile()
    {
        Bench bench;
        bench.Open();
        bench.Load(" 9 \r\n 8 \r\n 256 \r\n 7 \r\n");
        SOON_EQUAL(bench.link.MasterEeprom[0], quint8(9));
        QCOMPARE(bench.link.MasterEeprom[1], quint8(8));
        QCOMPARE(bench.link.MasterEeprom[2], quint8(2));
        QCOMPARE(bench.link.MasterEeprom[3], quint8(3));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void FilesThatCannotBeOpened()
    {
        Bench bench;
        bench.Open();
        const auto before = bench.link.MasterEeprom;
        // They go between the choice and what follows it.
        const QString folder = bench.folder.filePath(QStringLiteral("gone"));
        QVERIFY(QDir().mkpath(folder));
        auto *dialog = bench.window.findChild<QFileDialog *>(QStringLiteral("CommonDialog1"));
        connect(dialog, &QFileDialog::fileSelected, this, [&folder](const QString &chosen) {
            QFile::remove(chosen);
            QDir().rmdir(folder);
        });
        bench.Choose("CBSaveeprom", folder + QStringLiteral("/image.ESV"));
        SOON(bench.Status().startsWith(QStringLiteral("Erreur de fichier")));
        bench.window.statusBar()->clearMessage();
        bench.Load(" 1 \r\n");
        SOON(bench.Status().startsWith(QStringLiteral("Erreur de fichier")));
        QCOMPARE(bench.link.MasterEeprom, before);
        QVERIFY(OpenBoxes().isEmpty()); // without a message
    }

    // ---- closing, turning

    void ASilentBoardDoesNotKeepTheWindow()
    {
        Bench bench;
        bench.board.SetSilent(true);
        bench.window.Edit();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 37, 0}));
        bench.board.TakeReceived();
        QVERIFY(bench.Bar()->isVisible());
        bench.Button("CBeepend")->click();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.window.Busy());
        QCOMPARE(bench.returning.size(), 1);
        bench.board.SetSilent(false);
        bench.window.Edit(); // the board is back: reads as ever
        // Its first answer may be the one that was owed: after a second without the other the byte is read again, and
        // once more when the board is known to be there.
        const QByteArray expected = Bytes({27, 37, 0, 27, 37, 0}) + wholeRead;
        SOON(bench.board.Received().size() >= expected.size() && !bench.window.Busy());
        QCOMPARE(bench.board.Received(), expected);
        QCOMPARE(bench.link.MasterEeprom[255], quint8(255));
        QCOMPARE(bench.link.SlaveEeprom[0], quint8(255));
    }

    void ClosingInTheMiddleOfARead()
    {
        Bench bench;
        bench.board.On(37, 1, [&](const QByteArray &p) {
            if (p[0] == 77)
                bench.window.close();
            return Bytes({27, p[0], 0});
        });
        bench.window.Edit();
        SOON(!bench.window.isVisible());
        QCOMPARE(bench.board.Received(), ReadRequests(37, 78));
        SOON(bench.link.line.Idle()); // the last reply is taken off the line
        QCOMPARE(bench.link.MasterEeprom[77], quint8(0));
        QVERIFY(OpenBoxes().isEmpty());
        bench.board.TakeReceived();
        bench.board.On(37, 1, [&](const QByteArray &p) { return Bytes({27, p[0], 0}); });
        bench.Open(); // and no byte is one off
        for (size_t address = 0; address < 256; ++address)
            QCOMPARE(bench.link.MasterEeprom[address], quint8(address));
    }

    void ClosingInTheMiddleOfAnUpdate()
    {
        Bench bench;
        bench.Open();
        bench.board.On(39, 2, [&](const QByteArray &p) {
            if (p[0] == 33)
                bench.window.close();
            return Bytes({6});
        });
        bench.Button("CBUpdate")->click();
        SOON(OpenQuestion()); // says that it is written in part
        QVERIFY(OpenQuestion()->text().startsWith(QStringLiteral("La mise à jour a été interrompue")));
        QVERIFY(!bench.window.isVisible());
        SOON(bench.link.line.Idle());
        QCOMPARE(bench.board.Received().size(), 34 * 4);
    }

    void ReopeningForgets()
    {
        Bench bench;
        bench.Open();
        bench.Enter("Text2", QStringLiteral("3"));
        bench.Slider()->setValue(5);
        bench.window.close();
        bench.board.SetSilent(true);
        bench.window.Edit();
        QCOMPARE(bench.Slider()->value(), 0);
        QCOMPARE(bench.Box("Lbdat2")->text(), QStringLiteral("12345678"));
        QVERIFY(bench.Text("Label8").isEmpty());
        QVERIFY(bench.Text("Label3").isEmpty());
        QVERIFY(bench.Box("Text2")->text().isEmpty());
        QCOMPARE(bench.window.CurAddr, quint8(20));
        QVERIFY(bench.Table()->item(0, 1)->text().isEmpty());
    }

    void TurningToTheOtherSide()
    {
        Bench bench;
        bench.Open();
        bench.Enter("Text2", QStringLiteral("9"));
        bench.link.EepromSel = slaveSide;
        bench.board.slave[0] = 0x5A;
        bench.window.Edit();
        QCOMPARE(bench.window.CurAddr, quint8(20));
        QVERIFY(bench.Text("Label8").isEmpty());
        bench.ReadsOnce();
        QVERIFY(bench.Box("Lbdat2")->text().startsWith(QStringLiteral("5A FE ")));
        bench.Enter("Text2", QStringLiteral("0"));
        QCOMPARE(bench.Text("Label8"), QStringLiteral("Correction I Charge H"));
    }

    // ---- what is entered and nowhere else

    void EditsAreMarked()
    {
        Bench bench;
        bench.Open();
        bench.Edit(33, 7);
        bench.Edit(34, 34); // as it was
        QCOMPARE(bench.Text("edits"), QStringLiteral("1 octet modifié"));
        QVERIFY(bench.Table()->item(2, 1)->font().bold());
        QVERIFY(!bench.Table()->item(2, 2)->font().bold());
        bench.Edit(34, 8);
        QCOMPARE(bench.Text("edits"), QStringLiteral("2 octets modifiés"));
        bench.Edit(33, 33); // taken back
        QCOMPARE(bench.Text("edits"), QStringLiteral("1 octet modifié"));
        QVERIFY(!bench.Table()->item(2, 1)->font().bold());
    }

    void EditsThatAreKeptAreNoEdits_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::newRow("on the board") << QByteArray("CBUpdate");
        QTest::newRow("in a file") << QByteArray("CBSaveeprom");
        QTest::newRow("a file in their place") << QByteArray("CBLoadeprom");
    }
    void EditsThatAreKeptAreNoEdits()
    {
        QFETCH(QByteArray, button);
        Bench bench;
        bench.Open();
        bench.Edit(33, 7);
        if (button == "CBUpdate")
            bench.Button("CBUpdate")->click();
        else if (button == "CBSaveeprom")
            bench.Choose("CBSaveeprom", bench.folder.filePath(QStringLiteral("kept.ESV")));
        else
            bench.Load(Repeat(256, [](int) { return QByteArray(" 9 \r\n"); }));
        SOON_EQUAL(bench.Text("edits"), QString());
        QVERIFY(!bench.Table()->item(2, 1)->font().bold());
        bench.window.close();
        QVERIFY(OpenBoxes().isEmpty());
        QVERIFY(!bench.window.isVisible());
    }

    void ClosingAsksBeforeEditsAreLost_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("closes");
        QTest::newRow("lose") << "Fermer et perdre" << true;
        QTest::newRow("stay") << "Rester" << false;
        QTest::newRow("again") << QString() << true; // the way out once more
    }
    void ClosingAsksBeforeEditsAreLost()
    {
        QFETCH(QString, answer);
        QFETCH(bool, closes);
        Bench bench;
        bench.Open();
        bench.Edit(33, 7);
        bench.Button("CBeepend")->click();
        QVERIFY(bench.window.isVisible());
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("1 octet modifié, ni sur la carte ni dans un fichier.")));
        QCOMPARE(OpenBoxes().constFirst()->defaultButton()->text(), QStringLiteral("Rester"));
        if (answer.isEmpty())
            bench.Button("CBeepend")->click();
        else
            AnswerBox(answer);
        QCOMPARE(!bench.window.isVisible(), closes);
        QCOMPARE(bench.returning.size(), closes ? 1 : 0);
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.link.MasterEeprom[33], quint8(7)); // whoever stays has it still
        QVERIFY(bench.board.Received().isEmpty());
    }

    void AnActivationSaysThatItReplacesEdits()
    {
        Bench bench;
        bench.Open();
        bench.Edit(33, 7);
        bench.Edit(34, 7);
        QWidget other;
        other.show();
        other.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), other.windowHandle());
        bench.window.activateWindow();
        bench.ReadsOnce();
        QCOMPARE(bench.Status(),
                 QStringLiteral("L'image lue sur la carte remplace ce qui n'était pas envoyé : 2 octets modifiés."));
        QCOMPARE(bench.Text("edits"), QString());
        QCOMPARE(bench.link.MasterEeprom[33], quint8(33));
    }

    void TurningToTheOtherSideSaysThatItReplacesEdits()
    {
        Bench bench;
        bench.Open();
        bench.Edit(33, 7);
        bench.link.EepromSel = slaveSide;
        bench.window.Edit();
        bench.ReadsOnce();
        QCOMPARE(bench.Status(),
                 QStringLiteral("L'image lue sur la carte remplace ce qui n'était pas envoyé : 1 octet modifié."));
    }

    // ---- from the tools window

    void FromTheTools()
    {
        MemoryBench bench;
        Kept<Micro> tools(bench.link);
        tools.Open();
        const auto editor = [] {
            for (QWidget *window : QApplication::topLevelWidgets())
                if (window->objectName() == QLatin1String("EEprom") && window->isVisible())
                    return window;
            return static_cast<QWidget *>(nullptr);
        };
        const auto press = [](QWidget *window, const char *button) {
            window->findChild<QPushButton *>(QLatin1String(button))->click();
        };
        press(&tools, "CBepr");
        QCOMPARE(bench.link.EepromSel, 1);
        QVERIFY(editor());
        auto *bar = editor()->findChild<QProgressBar *>();
        SOON(bar->isVisible());
        press(&tools, "CBMIC1"); // not while the editor reads
        QVERIFY(!OpenDialog(tools));
        QCOMPARE(tools.statusBar()->currentMessage(),
                 QStringLiteral("Une EEPROM est lue ou écrite : attendez la fin."));
        SOON(!bar->isVisible());
        QCOMPARE(bench.board.Received(), wholeRead);
        press(&tools, "CbEEprSalave");
        QCOMPARE(bench.link.EepromSel, 2);
        QVERIFY(bar->isVisible());
        SOON(!bar->isVisible());
        QCOMPARE(bench.board.Received(), wholeRead + wholeRead);

        bench.board.TakeReceived();
        press(&tools, "CbPgmSlave"); // the editor waits while a programming is under way
        QVERIFY(OpenDialog(tools));
        QVERIFY(!editor()->isEnabled());
        OpenDialog(tools)->reject();
        SOON(editor()->isEnabled());

        bench.link.ReconnectOnActivate = 1;
        press(editor(), "CBeepend");
        QVERIFY(!editor());
        QVERIFY(tools.isVisible());
        SOON_EQUAL(QGuiApplication::focusWindow(), tools.windowHandle());
        QCOMPARE(bench.link.ReconnectOnActivate, 1); // only the tools' own "Retour" keeps the connection
    }

private:
    QTemporaryDir folder_;
};

REGISTER_TEST(TestEEprom)
#include "tst_eeprom.moc"
