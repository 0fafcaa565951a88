// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "exteeprbench.h"
#include "support/controls.h"
#include "support/suite.h"

#include <QListWidget>
#include <QScreen>

namespace {
/// The requests that read a whole EEPROM.
QByteArray AllReads(int chip)
{
    QByteArray requests;
    for (int address = 0; address < 4096; ++address)
        requests += Bytes({27, 49, chip, address / 256, address % 256});
    return requests;
}

/// The requests that write bytes from an address on.
QByteArray Writes(int chip, int address, const QByteArray &bytes)
{
    QByteArray requests;
    for (const char byte : bytes) {
        requests += Bytes({27, 50, chip, address / 256, address % 256, byte});
        ++address;
    }
    return requests;
}

const QString fresh = QStringLiteral("----------------");
} // namespace

class TestExteepr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { drive::SetRoot({}); }

    void Controls_data()
    {
        AddControls({
            {"Selection", "QGroupBox", "Selection EEprom"},
            {"Option1", "QRadioButton", "EEprom1"},
            {"Option2", "QRadioButton", "EEprom2"},
            {"Frame1", "QGroupBox", "EEProm 1"},
            {"Frame2", "QGroupBox", "EEprom 2"},
            {"Slider1", "QSlider", nullptr},
            {"Label3", "QLabel", "NBr types"},
            {"Label4", "QLabel", ""},
            {"Label5", "QLabel", ""},
            {"Label8", "QLabel", "Ni-Mh"},
            {"Label12", "QLabel", "V Dech"},
            {"Text1", "QLineEdit", ""},
            {"Text4", "QLineEdit", "---"},
            {"Text5", "QLineEdit", ""},
            {"Text6", "QLineEdit", "0"},
            {"TxnbElem", "QLineEdit", "00"},
            {"TNbrCycles", "QLineEdit", "00"},
            {"EdICharg", "QLineEdit", "0,000 A"},
            {"EdIDech", "QLineEdit", "0,000 A"},
            {"EdDuree", "QLineEdit", "00H00"},
            {"EdVDech", "QLineEdit", "0,000 V"},
            {"Mode", "QGroupBox", "Mode"},
            {"Check1", "QCheckBox", "No Topping ch"},
            {"Check2", "QCheckBox", "No Prech > disch"},
            {"Check3", "QCheckBox", "No dV/dT @ch"},
            {"Check4", "QCheckBox", "dV/dT @dech"},
            {"Check5", "QCheckBox", "Semi Fast chrg"},
            {"Check6", "QCheckBox", "Dech Resistive"},
            {"CbSave", "QPushButton", "Dowload EEprom"},
            {"CbEcrit", "QPushButton", "Ecr. Fichier"},
            {"CBLit", "QPushButton", "Lit Fichier"},
            {"CbQuit", "QPushButton", "Quitte"},
            {"Bar1", "QProgressBar", nullptr},
            {"CommonDialog1", "QFileDialog", nullptr},
        });
    }
    void Controls()
    {
        ExteeprBench bench;
        bench.window.Open();
        CheckControl(bench.window);
    }

    void Opening()
    {
        ExteeprBench bench;
        QVERIFY(!bench.Dialog()); // it is made when the window is loaded
        bench.window.Open();
        QCOMPARE(bench.window.objectName(), QStringLiteral("Exteepr"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("EEproms Externes"));
        const QPoint off = bench.window.geometry().center() - bench.window.screen()->availableGeometry().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        QVERIFY(!bench.Option(1)->isChecked());
        QVERIFY(!bench.Option(2)->isChecked());
        QVERIFY(bench.Bar()->isHidden());
        QCOMPARE(bench.Ticked(), 0);
        QCOMPARE(bench.Slider()->minimum(), 1);
        QCOMPARE(bench.Slider()->maximum(), 127);
        QCOMPARE(bench.Box("Text1")->maxLength(), 16);
        QCOMPARE(bench.Box("Text5")->maxLength(), 16);
        QVERIFY(bench.Dialog()->testOption(QFileDialog::DontUseNativeDialog));
        for (const char *label : {"Type", "Nbr Elem", "I Chrg", "I Dechrg", "Duree", "Nbr Cycl", "Modele"}) {
            const auto labels = bench.window.findChildren<QLabel *>();
            QVERIFY2(std::ranges::any_of(labels, [&](QLabel *l) { return l->text() == QLatin1String(label); }), label);
        }
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ReadingTranscript_data()
    {
        QTest::addColumn<int>("eeprom");
        QTest::newRow("EEPROM 1") << 1;
        QTest::newRow("EEPROM 2") << 2;
    }
    void ReadingTranscript()
    {
        QFETCH(int, eeprom);
        ExteeprBench bench;
        bench.OpenAndRead(eeprom);
        QCOMPARE(bench.board.TakeReceived(), AllReads(eeprom - 1));
        QCOMPARE(bench.window.SelectedEeprom, eeprom);
        QCOMPARE(bench.Status(), QStringLiteral("EEPROM %1 lue").arg(eeprom));
        if (eeprom == 1)
            QCOMPARE(bench.window.ImageTable.Memory(), bench.chips[0]);
        else
            QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32));
        // Once is enough, however often it is selected.
        bench.Option(eeprom)->click();
        bench.Option(3 - eeprom)->click();
        QVERIFY(bench.Finished());
        bench.Option(eeprom)->click();
        QVERIFY(bench.Bar()->isHidden());
        QCOMPARE(bench.board.TakeReceived(), AllReads(2 - eeprom));
    }

    void NoiseBeforeAReplyIsSkipped()
    {
        ExteeprBench bench;
        bench.board.On(49, 3, [&](const QByteArray &p) { return Bytes({1, 6, 0, 27, bench.Stored(p), 27}); });
        bench.OpenAndRead(1); // among the data are 27s
        QCOMPARE(bench.window.ImageTable.Memory(), bench.chips[0]);
    }

    void TheBarFollowsTheAddress()
    {
        ExteeprBench bench;
        bench.Silence(49);
        bench.window.Open();
        bench.Option(1)->click();
        QVERIFY(bench.Bar()->isVisible());
        QCOMPARE(bench.Bar()->value(), 0);
        for (int address = 0; address < 3; ++address) {
            SOON_EQUAL(bench.board.Received().size(), 5 * (address + 1));
            bench.board.Send(Bytes({27, 65, 0}));
        }
        SOON_EQUAL(bench.Bar()->value(), 2);
        QVERIFY(bench.Bar()->isTextVisible());
        QVERIFY(bench.Bar()->text().endsWith(u'%'));
        QVERIFY(bench.Bar()->maximum() >= 4095);
    }

    void NothingElseDuringATransfer()
    {
        ExteeprBench bench;
        bench.Silence(49);
        bench.window.Open();
        bench.Option(2)->setFocus();
        bench.Option(2)->click();
        SOON_EQUAL(bench.board.Received().size(), 5);
        for (const char *name : {"CbSave", "CbEcrit", "CBLit"}) {
            QVERIFY(!bench.Button(name)->isEnabled());
            bench.Button(name)->click();
        }
        QVERIFY(!bench.Option(1)->isEnabled());
        bench.Option(1)->click();
        QVERIFY(!bench.Slider()->isEnabled());
        QVERIFY(!bench.Dialog()->isVisible());
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.window.SelectedEeprom, 2);
        QVERIFY(!bench.Button("CbQuit")->hasFocus()); // a space bar must not end it
        QVERIFY(bench.Button("CbQuit")->isEnabled());
        QCOMPARE(bench.board.Received().size(), 5);
    }

    void TheSelectedFrameIsHighlighted()
    {
        ExteeprBench bench;
        bench.link.LinkDropped = true;
        bench.window.Open();
        const auto colour = [&](const char *frame) {
            return bench.Find<QGroupBox>(frame)->palette().color(QPalette::Window);
        };
        const QColor plain = bench.window.palette().color(QPalette::Window);
        QCOMPARE(colour("Frame1"), plain);
        QCOMPARE(colour("Frame2"), plain);
        bench.Option(1)->click();
        QVERIFY(colour("Frame1") != plain);
        QVERIFY(bench.Find<QGroupBox>("Frame1")->autoFillBackground());
        QCOMPARE(colour("Frame2"), plain);
        bench.Option(2)->click();
        QCOMPARE(colour("Frame1"), plain);
        QVERIFY(colour("Frame2") != plain);
    }

    void WithoutAConnectionNothingIsRead()
    {
        ExteeprBench bench;
        bench.link.LinkDropped = true;
        bench.window.Open();
        for (const int eeprom : {1, 2}) {
            bench.Option(eeprom)->click();
            QCOMPARE(bench.window.SelectedEeprom, eeprom);
            QVERIFY(bench.Bar()->isHidden());
        }
        QVERIFY(!bench.window.Eeprom1Loaded);
        QVERIFY(!bench.window.Eeprom2Loaded);
        QCOMPARE(bench.window.ImageTable.Entries()[5], QByteArray("mesg  5"));
        QCOMPARE(bench.window.ProfileTable.Name(1), fresh.toLatin1());
        QVERIFY(bench.board.Received().isEmpty());
        // The next time it is connected.
        bench.link.LinkDropped = false;
        bench.Option(2)->click();
        QVERIFY(bench.Finished());
        QVERIFY(bench.window.Eeprom2Loaded);
    }

    void AnOptionSetByTheProgramReadsToo()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.Option(2)->setChecked(true);
        QVERIFY(bench.Finished());
        QCOMPARE(bench.board.TakeReceived(), AllReads(1));
    }

    void SamplesUntilAProfileIsChosen()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        const auto samples = [&] {
            QCOMPARE(bench.Text("TxnbElem"), QStringLiteral("01"));
            QCOMPARE(bench.Text("EdICharg"), QStringLiteral("1,110 A"));
            QCOMPARE(bench.Text("EdDuree"), QStringLiteral("01H10"));
            QCOMPARE(bench.Text("EdVDech"), QStringLiteral("1,110 V"));
            QCOMPARE(bench.Label("Label4"), QString());
            QVERIFY(!bench.Box("Text1")->isEnabled());
        };
        samples();
        QCOMPARE(bench.Text("Text4"), QString::fromLatin1(bench.chips[1].first(3)));
        QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32));
        bench.Slider()->setValue(2);
        QCOMPARE(bench.Text("TxnbElem"), QStringLiteral("03"));
        bench.Option(2)->click(); // the sample again, and what was on screen is in the table
        samples();
        QCOMPARE(bench.Text("Text1"), QString());
        QCOMPARE(bench.Ticked(), 0);
        QCOMPARE(bench.Label("Label8"), QStringLiteral("Ni-Mh"));
    }

    void SamplesAreNeverStored()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Box("Text1")->setText(QStringLiteral("sample"));
        bench.Box("TxnbElem")->setText(QStringLiteral("77"));
        bench.Slider()->setValue(3);
        QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32));
        bench.Option(2)->click();
        bench.SaveFile();
        bench.board.TakeReceived();
        bench.Button("CbSave")->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.board.TakeReceived(),
                 Writes(1, 0, bench.chips[1].first(3)) + Writes(1, 32, bench.chips[1].mid(32)));
    }

    void EveryPlaceOfTheSliderChooses_data()
    {
        QTest::addColumn<int>("number");
        for (const int number : {1, 2, 3, 127})
            QTest::addRow("%d", number) << number;
    }
    void EveryPlaceOfTheSliderChooses()
    {
        QFETCH(int, number);
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(number); // the first one, too, where it already stands
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" %1").arg(number));
        QCOMPARE(bench.Text("Text1"), number < 65 ? fresh : QString());
        QVERIFY(bench.Box("Text1")->isEnabled());
    }

    void ATransferChoosesNothing()
    {
        ExteeprBench bench;
        bench.OpenAndRead(1);
        QCOMPARE(bench.Label("Label4"), QString());
        QCOMPARE(bench.Text("Text1"), QString());
        QVERIFY(!bench.Box("Text1")->isEnabled());
        bench.Slider()->setValue(1);
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 1"));
        QCOMPARE(bench.Text("Text1"), fresh);
        bench.Button("CbSave")->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 1"));
        QCOMPARE(bench.Slider()->value(), 1);
    }

    void KeysChooseToo()
    {
        ExteeprBench bench;
        bench.window.Open();
        QTest::keyClick(bench.Slider(), Qt::Key_Home);
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 1"));
        QTest::keyClick(bench.Slider(), Qt::Key_End);
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 127"));
        QTest::keyClick(bench.Slider(), Qt::Key_Left);
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 126"));
    }

    void AProfileIsShown()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(1);
        QCOMPARE(bench.Text("Text1"), QStringLiteral("AA NiMh 2000 x4 "));
        QCOMPARE(bench.Text("Text5"), bench.Text("Text1"));
        QCOMPARE(bench.Text("Text6"), QStringLiteral("0"));
        QCOMPARE(bench.Label("Label8"), QStringLiteral("Ni-Mh"));
        QCOMPARE(bench.Text("TxnbElem"), QStringLiteral("04"));
        QCOMPARE(bench.Text("EdICharg"), QStringLiteral("2,000 A"));
        QCOMPARE(bench.Text("EdIDech"), QStringLiteral("1,000 A"));
        QCOMPARE(bench.Text("EdDuree"), QStringLiteral("01H30"));
        QCOMPARE(bench.Text("TNbrCycles"), QStringLiteral("01"));
        QCOMPARE(bench.Text("EdVDech"), QStringLiteral("0,900 V"));
        QCOMPARE(bench.Ticked(), 0);
        bench.Slider()->setValue(2);
        QCOMPARE(bench.Text("Text1"), QStringLiteral("LiPo 2200 3S    "));
        QCOMPARE(bench.Label("Label8"), QStringLiteral("Lith"));
        QCOMPARE(bench.Label("Label12"), QStringLiteral("Ajus. VMAX"));
        QCOMPARE(bench.Text("EdICharg"), QStringLiteral("2,200 A"));
        QCOMPARE(bench.Text("EdVDech"), QStringLiteral("0,000 V"));
        QCOMPARE(bench.Ticked(), 126);
        bench.Slider()->setValue(3);
        QCOMPARE(bench.Label("Label8"), QStringLiteral("Ni-Cd"));
        QCOMPARE(bench.Label("Label12"), QStringLiteral("V Dech"));
        QCOMPARE(bench.Ticked(), 126); // 1 and 128 have no box
    }

    void FlagsAndBoxes_data()
    {
        QTest::addColumn<int>("flags");
        for (const int flags : {0, 2, 4, 8, 16, 32, 64, 42, 84, 126})
            QTest::addRow("%d", flags) << flags;
    }
    void FlagsAndBoxes()
    {
        QFETCH(int, flags);
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(5);
        for (int i = 1; i <= 6; ++i)
            bench.Find<QCheckBox>(QStringLiteral("Check%1").arg(i).toLatin1().constData())
                ->setChecked((flags & 1 << i) != 0);
        bench.Slider()->setValue(6);
        QCOMPARE(bench.Ticked(), 0);
        QCOMPARE(bench.window.ProfileTable.Text(5).first(21),
                 QByteArray::number(flags).rightJustified(3, '0') + QByteArray(18, '0'));
        bench.Slider()->setValue(5);
        QCOMPARE(bench.Ticked(), flags);
    }

    void EveryFieldIsStoredInItsPlace_data()
    {
        QTest::addColumn<QByteArray>("box");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("place"); // in the parameter text, from 0
        QTest::addColumn<QByteArray>("stored");
        const auto row = [](const char *box, const char *typed, int place, const char *stored) {
            QTest::addRow("%s %s", box, typed)
                << QByteArray(box) << QString::fromLatin1(typed) << place << QByteArray(stored);
        };
        row("Text6", "2", 3, "2");
        row("Text6", "7", 3, "7"); // any digit but 0 and 2 is Ni-Cd, and stays what was typed
        row("Text6", "9", 3, "9");
        row("Text6", "", 3, "0");
        row("TxnbElem", "12", 4, "12");
        row("TxnbElem", "8", 4, "08");
        row("TxnbElem", "", 4, "00");
        row("EdICharg", "2,500 A", 6, "250");
        row("EdICharg", "9,990 A", 6, "999");
        row("EdICharg", "375", 6, "375");
        row("EdICharg", "2,5", 6, "250");
        row("EdICharg", "", 6, "000");
        row("EdIDech", "0,070 A", 9, "007");
        row("EdDuree", "12H34", 12, "1234");
        row("EdDuree", "1H5", 12, "0105");
        row("EdDuree", "0175", 12, "0175");
        row("TNbrCycles", "15", 16, "15");
        row("TNbrCycles", "3", 16, "03");
        row("EdVDech", "0,850 V", 18, "085");
        row("EdVDech", "3,210 V", 18, "321");
    }
    void EveryFieldIsStoredInItsPlace()
    {
        QFETCH(QByteArray, box);
        QFETCH(QString, typed);
        QFETCH(int, place);
        QFETCH(QByteArray, stored);
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(9);
        bench.Box(box.constData())->setText(typed);
        bench.Slider()->setValue(10);
        QCOMPARE(bench.window.ProfileTable.Text(9).first(21),
                 QByteArray(21, '0').replace(place, stored.size(), stored));
        QCOMPARE(bench.window.ProfileTable.Name(9), fresh.toLatin1());
        bench.Slider()->setValue(9);
        bench.Slider()->setValue(10);
        QCOMPARE(bench.window.ProfileTable.Text(9).first(21),
                 QByteArray(21, '0').replace(place, stored.size(), stored));
    }

    void EditedTypesAreMarkedAndAskedForOnTheWayOut()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(3); // whose name is full
        const auto *mark = bench.Find<QLabel>("edits");
        QVERIFY(mark->isHidden());
        for (const bool marked : {true, false}) { // and taken back
            bench.Find<QCheckBox>("Check4")->click();
            QCOMPARE(!mark->isHidden(), marked);
        }
        QVERIFY(bench.window.ProfileTable.AsRead(3));
        QTest::keyClick(bench.Box("Text1"), Qt::Key_Backspace);
        QVERIFY(!mark->isHidden());
        QTest::keyClick(bench.Box("Text1"), Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(mark->isHidden());
        bench.Find<QCheckBox>("Check4")->click();
        QVERIFY(!mark->isHidden());
        bench.Slider()->setValue(2);
        bench.Button("CbQuit")->click();
        QVERIFY(bench.window.isVisible());
        QCOMPARE(BoxTexts(),
                 QStringList(QStringLiteral("Les types modifiés ne sont ni sur la carte ni dans un fichier.")));
        AnswerBox(QStringLiteral("Rester"));
        QVERIFY(bench.window.isVisible());
        bench.Button("CbQuit")->click();
        AnswerBox(QStringLiteral("Fermer et perdre"));
        QVERIFY(!bench.window.isVisible());
    }

    void TypesThatAreKeptMayBeLeft_data()
    {
        QTest::addColumn<bool>("board");
        QTest::newRow("on the board") << true;
        QTest::newRow("in a file") << false;
    }
    void TypesThatAreKeptMayBeLeft()
    {
        QFETCH(bool, board);
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(1);
        bench.Find<QCheckBox>("Check4")->click();
        if (board) {
            bench.Button("CbSave")->click();
            QVERIFY(bench.Finished());
        } else {
            bench.SaveFile();
        }
        QVERIFY(bench.Find<QLabel>("edits")->isHidden());
        bench.Button("CbQuit")->click();
        QVERIFY(OpenBoxes().isEmpty());
        QVERIFY(!bench.window.isVisible());
    }

    void AnEditThatIsTakenBackAfterItWasWrittenIsWrittenToo()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(1);
        const QByteArray before = bench.SaveFile();
        for (int time = 0; time < 2; ++time) {
            bench.Find<QCheckBox>("Check4")->click();
            QCOMPARE(bench.SaveFile() == before, time == 1);
        }
    }

    void AReadingSaysThatItReplacesEditedTypes()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(1);
        bench.Find<QCheckBox>("Check4")->click();
        bench.Option(2)->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.Status(), QStringLiteral("EEPROM 2 lue : elle remplace les types modifiés"));
        QVERIFY(bench.Find<QLabel>("edits")->isHidden());
    }

    void TypingFillsTheMasks_data()
    {
        QTest::addColumn<QByteArray>("box");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("shown");
        const auto row = [](const char *box, const char *keys, const char *shown) {
            QTest::addRow("%s %s", box, keys)
                << QByteArray(box) << QString::fromLatin1(keys) << QString::fromLatin1(shown);
        };
        row("EdICharg", "250", "2,500 A");
        row("EdICharg", "2,5", "2,500 A"); // a comma goes to the next place
        row("EdICharg", "a9x9y9z9", "9,990 A");
        row("EdIDech", "012", "0,120 A");
        row("EdVDech", "111", "1,110 V");
        row("EdDuree", "0130", "01H30");
        row("EdDuree", "2H5", "02H05");
        row("TxnbElem", "12", "12");
        row("TxnbElem", "a1b2c3", "12");
        row("TNbrCycles", "7", "07");
        row("Text6", "x2", "2");
        row("Text6", "9", "9");
        row("Text6", "73", "7");
    }
    void TypingFillsTheMasks()
    {
        QFETCH(QByteArray, box);
        QFETCH(QString, keys);
        QFETCH(QString, shown);
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(1);
        QLineEdit *field = bench.Box(box.constData());
        field->setFocus();
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Delete);
        QTest::keyClick(field, Qt::Key_Home);
        QTest::keyClicks(field, keys);
        QTest::keyClick(field, Qt::Key_Return); // the field is done
        QCOMPARE(field->text(), shown);
    }

    void NamesAreLatin1()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.Slider()->setValue(1);
        bench.Box("Text1")->clear();
        for (const QChar key : QStringLiteral("\u00E9t\u00E9 \u20AC!"))
            bench.Box("Text1")->insert(key);
        QCOMPARE(bench.Text("Text1"), QStringLiteral("\u00E9t\u00E9 !"));
        QCOMPARE(bench.Text("Text5"), bench.Text("Text1"));
        QVERIFY(bench.Box("Text5")->isReadOnly());
        bench.Slider()->setValue(2);
        QCOMPARE(bench.window.ProfileTable.Name(1), QByteArray("\xE9t\xE9 !"));
    }

    void ThereIsRoomForANewName()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.window.activateWindow();
        bench.Slider()->setValue(2);
        bench.Box("Text1")->setFocus();
        SOON_EQUAL(bench.Text("Text1"), QStringLiteral("LiPo 2200 3S")); // without the blanks that fill it
        bench.Slider()->setValue(3);
        QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32)); // which is no change
        bench.Slider()->setValue(2);
        bench.Box("Text1")->clearFocus();
        bench.Box("Text1")->setFocus();
        QTest::keyClick(bench.Box("Text1"), Qt::Key_End);
        QTest::keyClicks(bench.Box("Text1"), QStringLiteral(" neuf"));
        QCOMPARE(bench.Text("Text1"), QStringLiteral("LiPo 2200 3S neu"));
        bench.Slider()->setValue(3);
        QCOMPARE(bench.window.ProfileTable.Name(2), QByteArray("LiPo 2200 3S neu"));
    }

    void TheTypeChangesTheCaptions_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QStringList>("captions"); // Label8, Label12, the boxes
        const QStringList rest{QStringLiteral("dV/dT @dech"), QStringLiteral("Semi Fast chrg"),
                               QStringLiteral("Dech Resistive")};
        const QStringList nickel{QStringLiteral("V Dech"), QStringLiteral("No Topping ch"),
                                 QStringLiteral("No Prech > disch"), QStringLiteral("No dV/dT @ch")};
        const QStringList lithium{QStringLiteral("Lith"), QStringLiteral("Ajus. VMAX"), QStringLiteral("Fin rapide"),
                                  QStringLiteral("C \u00E0 V = 4.1v"), QStringLiteral("Prech @chrg")};
        QTest::newRow("0") << QStringLiteral("0") << QStringList{QStringLiteral("Ni-Mh")} + nickel + rest;
        QTest::newRow("1") << QStringLiteral("1") << QStringList{QStringLiteral("Ni-Cd")} + nickel + rest;
        QTest::newRow("2") << QStringLiteral("2") << lithium + rest;
        QTest::newRow("7") << QStringLiteral("7") << QStringList{QStringLiteral("Ni-Cd")} + nickel + rest;
    }
    void TheTypeChangesTheCaptions()
    {
        QFETCH(QString, type);
        QFETCH(QStringList, captions);
        ExteeprBench bench;
        bench.window.Open();
        for (const QString &other : {QStringLiteral("2"), QStringLiteral("1")}) {
            bench.Box("Text6")->setText(other);
            bench.Box("Text6")->setText(type);
            QStringList shown{bench.Label("Label8"), bench.Label("Label12")};
            for (const char *box : {"Check1", "Check2", "Check3", "Check4", "Check5", "Check6"})
                shown << bench.Find<QCheckBox>(box)->text();
            QCOMPARE(shown, captions);
        }
    }

    void LookingChangesNothing()
    {
        ExteeprBench bench;
        bench.window.Open();
        const auto lookAtAll = [&] {
            const QByteArray before = bench.window.ProfileTable.Save();
            for (int number = 1; number <= 127; ++number)
                bench.Slider()->setValue(number);
            QCOMPARE(bench.SaveFile(), before);
        };
        lookAtAll();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types_flags_300.ESV"));
        lookAtAll();
        bench.Option(2)->click();
        QVERIFY(bench.Finished());
        lookAtAll();
        QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32));
    }

    void AnEditedProfileIsWrittenAnew()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        const QByteArray before = bench.chips[1];
        bench.Slider()->setValue(3);
        bench.Box("Text1")->setText(QStringLiteral("abc"));
        bench.Box("EdDuree")->setText(QStringLiteral("12H75"));
        bench.Box("TNbrCycles")->setText(QStringLiteral("34"));
        bench.Box("Text4")->setText(QStringLiteral("12"));
        bench.board.TakeReceived();
        bench.Button("CbSave")->click();
        QVERIFY(bench.Bar()->isVisible());
        QVERIFY(bench.Finished());
        QByteArray records = before.mid(32);
        records.replace(2 * 32, 32, "abc             ~106080040274090"); // flags 126: 1 and 128 have no box
        QCOMPARE(bench.board.TakeReceived(), Writes(1, 0, "12 ") + Writes(1, 32, records));
        QCOMPARE(bench.writes, 3 + 4064);
        QCOMPARE(bench.chips[1].mid(32), records);
        QCOMPARE(bench.chips[1].mid(3, 29), before.mid(3, 29));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void TheImageIsWritten()
    {
        ExteeprBench bench;
        bench.OpenAndRead(1);
        bench.board.TakeReceived();
        bench.Button("CbSave")->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.board.TakeReceived(), Writes(0, 0, bench.chips[0]));
        QCOMPARE(bench.Status(), QStringLiteral("EEPROM 1 \u00E9crite"));
    }

    void EachByteWaitsForItsAcknowledgement()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types.ESV"));
        bench.Silence(50);
        bench.Button("CbSave")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 50, 1, 0, 0, '0'}));
        QCOMPARE(bench.Bar()->value(), 0);
        bench.board.Send(Bytes({0, 27, 5})); // no acknowledgement
        SOON_EQUAL(bench.com.InBufferCount(), 0);
        QCOMPARE(bench.board.Received().size(), 6);
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 50, 1, 0, 0, '0', 27, 50, 1, 0, 1, '0'}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received().mid(12), Bytes({27, 50, 1, 0, 2, '6'}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received().mid(18), Bytes({27, 50, 1, 0, 32, 'A'}));
        QCOMPARE(bench.Bar()->value(), 2);
    }

    void DisconnectedNothingIsWritten()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types.ESV"));
        bench.link.LinkDropped = true;
        bench.Button("CbSave")->click();
        QCOMPARE(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(), QStringLiteral("Impossible D\u00E9connect\u00E9"));
        QCOMPARE(OpenBoxes().constFirst()->icon(), QMessageBox::Warning);
        QVERIFY(bench.Bar()->isHidden());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void WhatIsNotKnownIsNotWritten_data()
    {
        QTest::addColumn<int>("eeprom");
        QTest::newRow("nothing selected") << 0;
        QTest::newRow("EEPROM 1") << 1;
        QTest::newRow("EEPROM 2") << 2;
    }
    void WhatIsNotKnownIsNotWritten()
    {
        QFETCH(int, eeprom);
        ExteeprBench bench;
        bench.window.Open();
        bench.link.LinkDropped = true;
        if (eeprom != 0)
            bench.Option(eeprom)->click();
        bench.link.LinkDropped = false;
        bench.Slider()->setValue(1);
        bench.Box("Text1")->setText(QStringLiteral("neuf"));
        bench.Button("CbSave")->click();
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().contains(QStringLiteral("EEPROM %1").arg(eeprom == 1 ? 1 : 2)));
        QVERIFY(bench.Bar()->isHidden());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void OneEepromSaysNothingOfTheOther()
    {
        ExteeprBench bench;
        bench.OpenAndRead(1);
        bench.Silence(49);
        bench.link.LinkDropped = true;
        bench.Option(2)->click();
        bench.link.LinkDropped = false;
        bench.board.TakeReceived();
        bench.Button("CbSave")->click();
        QCOMPARE(OpenBoxes().size(), 1);
        QVERIFY(bench.board.Received().isEmpty());
    }

    void AnOverflowStopsBeforeTheFirstByte_data()
    {
        QTest::addColumn<int>("chosen"); // the profile itself, another one, none
        for (const int chosen : {1, 2, 0})
            QTest::addRow("%d", chosen) << chosen;
    }
    void AnOverflowStopsBeforeTheFirstByte()
    {
        QFETCH(int, chosen);
        ExteeprBench bench;
        bench.window.Open();
        if (chosen != 0)
            bench.Slider()->setValue(chosen);
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types_flags_300.ESV"));
        bench.Button("CbSave")->click();
        QCOMPARE(OpenBoxes().size(), 1);
        const QString text = OpenBoxes().constFirst()->text();
        QVERIFY2(text.contains(QStringLiteral("D\u00E9passement de capacit\u00E9")), qPrintable(text));
        QVERIFY2(text.contains(QStringLiteral("profil 1 (\u00AB AA NiMh 2000 x4 \u00BB)")), qPrintable(text));
        QVERIFY(bench.Bar()->isHidden());
        QVERIFY(bench.Button("CbSave")->isEnabled());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void TheFileQuestions_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QFileDialog::AcceptMode>("mode");
        QTest::newRow("save") << QByteArray("CbEcrit") << QFileDialog::AcceptSave;
        QTest::newRow("load") << QByteArray("CBLit") << QFileDialog::AcceptOpen;
    }
    void TheFileQuestions()
    {
        QFETCH(QByteArray, button);
        QFETCH(QFileDialog::AcceptMode, mode);
        ExteeprBench bench;
        drive::SetRoot(bench.folder.path());
        bench.window.Open();
        bench.Button(button.constData())->click();
        QVERIFY(bench.Dialog()->isVisible());
        QCOMPARE(bench.Dialog()->acceptMode(), mode);
        QCOMPARE(bench.Dialog()->windowTitle(), QStringLiteral("Fichier Save Eprom"));
        QCOMPARE(bench.Dialog()->nameFilters(),
                 (QStringList{QStringLiteral("EEpromSave (*.ESV)"), QStringLiteral("All (*.* *)")}));
        QCOMPARE(bench.Dialog()->directory(), QDir(bench.folder.path()));
        bench.Dialog()->reject();
        QCOMPARE(bench.Label("Label5"), QString());
        QVERIFY(QDir(bench.folder.path()).isEmpty());
        QVERIFY(bench.Button(button.constData())->isEnabled());
    }

    void ProfilesAreSavedWithWhatIsOnScreen()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(1);
        bench.Box("Text1")->setText(QStringLiteral("\u00E9t\u00E9"));
        bench.Box("EdICharg")->setText(QStringLiteral("1,230 A"));
        bench.Box("Text4")->setText(QStringLiteral("127"));
        const QByteArray saved = bench.SaveFile();
        QCOMPARE(saved.first(saved.indexOf("NiCd")), QByteArray("127\r\n127\r\n"
                                                                "\xE9t\xE9\r\n000004123100013001090\r\n"
                                                                "LiPo 2200 3S    \r\n126203220220020001000\r\n"));
        QVERIFY(saved.contains("NiCd erased flag\r\n255106080040013001090\r\n")); // nobody touched it
        QCOMPARE(saved.size(), 2 * 5 + 127 * (16 + 2 + 21 + 2) - 13);
    }

    void AFreshTableIsSaved()
    {
        ExteeprBench bench;
        bench.window.Open();
        const QByteArray expected = "---\r\n---\r\n" +
                                    QByteArray("----------------\r\n" + QByteArray(24, '0') + "\r\n").repeated(64) +
                                    QByteArray("\r\n").repeated(126);
        QCOMPARE(bench.SaveFile(), expected);
    }

    void ProfilesAreLoaded()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(3);
        bench.Box("Text1")->setText(QStringLiteral("lost"));
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types.ESV"));
        QCOMPARE(bench.Text("Text4"), QStringLiteral("006"));
        QCOMPARE(bench.Label("Label4"), QStringLiteral(" 3"));
        QCOMPARE(bench.Text("Text1"), QStringLiteral("LiPo 2200 3S    "));
        QCOMPARE(bench.Text("EdDuree"), QStringLiteral("02H00"));
        QCOMPARE(bench.Text("TNbrCycles"), QStringLiteral("01"));
        QCOMPARE(bench.Text("EdVDech"), QStringLiteral("3,000 V"));
        bench.Slider()->setValue(4);
        QCOMPARE(bench.Text("Text1"), QStringLiteral("Pack \u00E9t\u00E9 \u00B5A 8   "));
        QCOMPARE(bench.Ticked(), 126);
        // It is written as blocks, whatever the EEPROM held.
        bench.board.TakeReceived();
        bench.Button("CbSave")->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.chips[1].first(3), QByteArray("006"));
        QCOMPARE(bench.chips[1].mid(32, 32), QByteArray("AA NiMh 2000 x4 \0"
                                                        "004200100113090",
                                                        32));
    }

    void ASavedFileComesBack()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(4);
        const QByteArray saved = bench.SaveFile();
        const QString path = bench.saved;
        bench.Box("Text1")->setText(QStringLiteral("autre"));
        bench.LoadFile(path);
        QVERIFY(bench.Text("Text1") != QStringLiteral("autre"));
        QCOMPARE(bench.SaveFile(), saved);
    }

    void TheImageIsSavedAndLoaded()
    {
        ExteeprBench bench;
        bench.OpenAndRead(1);
        const QByteArray saved = bench.SaveFile();
        QCOMPARE(saved.size(), 256 * 18);
        for (int i = 0; i < 256; ++i)
            QCOMPARE(saved.mid(i * 18, 18), bench.chips[0].mid(i * 16, 16) + "\r\n");
        const QString path = bench.saved;
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/image_lines.ESV"));
        QCOMPARE(bench.window.ImageTable.Entries()[0], QByteArray("Pret"));
        QCOMPARE(bench.Find<QListWidget>("ImageLines")->item(1)->text(), QStringLiteral("  1  Charge"));
        bench.LoadFile(path);
        QCOMPARE(bench.window.ImageTable.Memory(), bench.chips[0]);
    }

    void ALoadedImageIsWrittenWithBlanks()
    {
        ExteeprBench bench;
        bench.link.LinkDropped = true;
        bench.window.Open();
        bench.Option(1)->click();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/image_short.ESV"));
        bench.link.LinkDropped = false;
        bench.Button("CbSave")->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.chips[0], QByteArray("Pret").leftJustified(16) + QByteArray("Charge").leftJustified(4080));
        QCOMPARE(bench.reads, 0);
    }

    void FilesThatCannotBeHad()
    {
        ExteeprBench bench;
        bench.window.Open();
        QFile file(bench.folder.filePath(QStringLiteral("t.ESV")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        bench.Button("CBLit")->click();
        bench.Dialog()->selectFile(file.fileName());
        QVERIFY(file.remove());
        static_cast<QDialog *>(bench.Dialog())->done(QDialog::Accepted);
        SOON_EQUAL(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().constFirst()->text().contains(file.fileName()));
        QCOMPARE(bench.Label("Label5"), QString());
        QVERIFY(bench.Button("CBLit")->isEnabled());
        QCOMPARE(bench.window.ProfileTable.Name(1), fresh.toLatin1());
    }

    void AnUnfinishedFileIsNamed()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types_short.ESV"));
        QVERIFY(bench.Status().contains(QStringLiteral("249")));
        QCOMPARE(bench.Text("Text1"), QStringLiteral("AA NiMh 2000 x4 "));
    }

    void ClosingEndsAReading()
    {
        ExteeprBench bench;
        bench.Silence(49);
        bench.window.Open();
        bench.Option(2)->click();
        SOON_EQUAL(bench.board.Received().size(), 5);
        bench.Button("CbQuit")->click();
        QVERIFY(!bench.window.isVisible());
        bench.board.Send(Bytes({27, 65, 0}));
        SOON(bench.link.line.Idle()); // the exchange is over, and none follows
        QCOMPARE(bench.board.Received().size(), 5);
        // The next opening begins afresh.
        bench.window.Open();
        QVERIFY(!bench.window.Eeprom2Loaded);
        QVERIFY(!bench.Option(2)->isChecked());
        QVERIFY(bench.Option(2)->isEnabled());
        QVERIFY(bench.Bar()->isHidden());
        QCOMPARE(bench.window.ProfileTable.Name(1), fresh.toLatin1());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AClosedWindowForgetsASilentBoard()
    {
        ExteeprBench bench;
        bench.Silence(49);
        bench.window.Open();
        bench.Option(1)->click();
        SOON_EQUAL(bench.board.Received().size(), 5);
        bench.window.close();
        bench.Answer();
        bench.window.Open();
        bench.Option(1)->click(); // goes before the one that waits
        QVERIFY(Simulated().RunUntil([&] { return bench.window.Eeprom1Loaded; }));
        QCOMPARE(bench.window.ImageTable.Memory(), bench.chips[0]);
        QVERIFY(bench.Bar()->isHidden());
    }

    void ClosingEndsAWriting()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types.ESV"));
        bench.Silence(50);
        bench.Button("CbSave")->click();
        SOON_EQUAL(bench.board.Received().size(), 6);
        QVERIFY(bench.window.Busy());
        bench.window.close();
        QVERIFY(!bench.window.Busy());
        QCOMPARE(OpenBoxes().size(), 1); // nobody shall think it complete
        QVERIFY(OpenBoxes().constFirst()->text().startsWith(QStringLiteral("L'écriture a été interrompue")));
        AnswerBoxes();
        bench.board.Send(Bytes({6}));
        SOON(bench.link.line.Idle());
        QCOMPARE(bench.board.Received().size(), 6);
        QVERIFY(OpenBoxes().isEmpty());
    }

    void ClosingWithAFileQuestion()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.Button("CBLit")->click();
        bench.window.close();
        QVERIFY(!bench.Dialog()->isVisible());
        bench.window.Open();
        QVERIFY(bench.Button("CBLit")->isEnabled());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void ATransferIsAskedAgainAfterAReconnection_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<QByteArray>("received"); // before the board stops answering
        QTest::newRow("read, no 27") << 49 << QByteArray();
        QTest::newRow("read, no data") << 49 << Bytes({27});
        QTest::newRow("write") << 50 << QByteArray();
    }
    void ATransferIsAskedAgainAfterAReconnection()
    {
        QFETCH(int, command);
        QFETCH(QByteArray, received);
        ExteeprBench bench;
        bench.board.Healthy();
        bench.window.Open();
        bench.Silence(command);
        if (command == 49) {
            bench.Option(2)->click();
        } else {
            bench.LoadFile(QStringLiteral(TEST_DATA "/profiles/types.ESV"));
            bench.Button("CbSave")->click();
        }
        SOON(!bench.board.Received().isEmpty());
        bench.board.Send(received);
        SOON_EQUAL(bench.com.InBufferCount(), 0);
        const QByteArray question = bench.board.TakeReceived();

        // The greeting takes the line from an exchange that is not answered, and its timer ends no wait but its own.
        QSignalSpy ticks(&bench.timer1, &Timer::Tick);
        bench.runner.Start(bench.link.handshake.ConnectBoard());
        SOON_EQUAL(bench.link.LinkState, 1);
        QVERIFY(!ticks.isEmpty());
        QVERIFY(bench.Bar()->isVisible());
        bench.Answer();
        QVERIFY(bench.Finished());
        QVERIFY(bench.runner.Idle());
        QByteArray session = Bytes({27, 1}); // what follows a greeting
        for (const int image : {37, 38})
            for (int address = 0; address < 16; ++address)
                session += Bytes({27, image, address});
        QVERIFY(bench.board.Received().contains(session + question));
        QVERIFY(OpenBoxes().isEmpty());
        if (command == 49) {
            QVERIFY(bench.window.Eeprom2Loaded);
            QCOMPARE(bench.window.ProfileTable.RecordsMemory(), bench.chips[1].mid(32));
        } else {
            QCOMPARE(bench.Status(), QStringLiteral("EEPROM 2 \u00E9crite"));
            QCOMPARE(bench.chips[1].mid(32), bench.window.ProfileTable.RecordsMemory());
        }
    }

    void AClosedPortIsTold()
    {
        ExteeprBench bench;
        bench.window.Open();
        bench.ClosePort();
        bench.Option(1)->click();
        SOON_EQUAL(OpenBoxes().size(), 1);
        QVERIFY(bench.Bar()->isHidden());
        QVERIFY(!bench.window.Eeprom1Loaded);
        bench.link.OpenPort();
        bench.Option(1)->click(); // tries again
        QVERIFY(bench.Finished());
        QVERIFY(bench.window.Eeprom1Loaded);
    }

    void TheTransferWaitsForTheLine()
    {
        ExteeprBench bench;
        bench.window.Open();
        auto turn = std::make_unique<Runner>();
        bool over = false;
        bench.board.On(41, 0, [](const QByteArray &) { return QByteArray(); });
        turn->Start([](Codebas *link, bool *done) -> Task<void> {
            Task<QByteArray> exchange =
                link->Exchange(Request(41), Reply::Framed(3), {}, Exchanges::Overtaking::Refused);
            co_await exchange;
            *done = true;
        }(&bench.link, &over));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 41}));
        bench.Option(1)->click();
        QVERIFY(bench.Bar()->isVisible());
        bench.link.SendByte(7); // nothing of the transfer goes before it
        SOON_EQUAL(bench.board.Received(), Bytes({27, 41, 7}));
        bench.board.Send(Bytes({27, 1, 2, 3, 0}));
        SOON(over);
        QVERIFY(bench.Finished());
        QVERIFY(bench.window.Eeprom1Loaded);
    }

    void ReopeningForgetsTheTables()
    {
        ExteeprBench bench;
        bench.OpenAndRead(2);
        bench.Slider()->setValue(2);
        bench.Button("CbQuit")->click();
        bench.window.Open();
        QVERIFY(!bench.window.Eeprom2Loaded);
        QCOMPARE(bench.window.SelectedEeprom, 0);
        QCOMPARE(bench.Ticked(), 0);
        QCOMPARE(bench.Text("Text1"), QString());
        QCOMPARE(bench.Text("Text4"), QStringLiteral("---"));
        QCOMPARE(bench.Find<QCheckBox>("Check1")->text(), QStringLiteral("No Topping ch"));
        QCOMPARE(bench.Label("Label12"), QStringLiteral("V Dech"));
        bench.Button("CbSave")->click();
        QCOMPARE(OpenBoxes().size(), 1);
        bench.board.TakeReceived();
        bench.Option(2)->click();
        QVERIFY(bench.Finished());
        QCOMPARE(bench.board.TakeReceived(), AllReads(1));
    }
};

REGISTER_TEST(TestExteepr)
#include "tst_exteepr.moc"
