// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "memorybench.h"
#include "support/suite.h"

#include <QFile>

namespace {
constexpr QMessageBox::StandardButton yes = QMessageBox::Yes;
constexpr QMessageBox::StandardButton no = QMessageBox::No;

/// Requests to read words 0 to `last` of the slave.
QByteArray Reads(int last)
{
    return Repeat(last + 1, [](int address) { return Bytes({27, 46, address / 256, address % 256}); });
}

QByteArray Record(int address, const QByteArray &data)
{
    QByteArray fields = Bytes({static_cast<int>(data.size()), address / 256, address % 256, 0}) + data;
    int sum = 0;
    for (const char byte : fields)
        sum -= static_cast<quint8>(byte);
    return ':' + (fields + static_cast<char>(sum)).toHex().toUpper() + "\r\n";
}

QByteArray SlaveRecord(int word, std::initializer_list<int> values)
{
    QByteArray data;
    for (const int value : values)
        data += Bytes({value % 256, value / 256});
    return Record(2 * word, data);
}

const QByteArray lowBank = ":020000040000FA\r\n";
const QByteArray end = ":00000001FF\r\n";

struct Bench : MemoryBench
{
    Bench()
    {
        window.setUpdatesEnabled(false); // nobody looks: painting would take longer than all else
        window.Open();
    }

    /// Presses a button and chooses a file of this content in the dialog that opens.
    void Program(const char *button, const QByteArray &content)
    {
        const QString path = folder.filePath(QStringLiteral("program.HEX"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        Button(button)->click();
        QVERIFY(OpenDialog(window));
        ChooseIn(OpenDialog(window), path);
    }
    void Answer(QMessageBox::StandardButton button)
    {
        SOON(OpenQuestion());
        OpenQuestion()->button(button)->click();
    }
    /// Whether no programming is under way: the editor can be used.
    static bool Idle()
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto editor = std::ranges::find(windows, QStringLiteral("EEprom"), &QWidget::objectName);
        return editor != windows.end() && (*editor)->isEnabled();
    }

    QPushButton *Button(const char *name) { return window.findChild<QPushButton *>(QLatin1String(name)); }
    QString Text(const char *name) { return window.findChild<QLabel *>(QLatin1String(name))->text(); }
    QString Status() { return window.statusBar()->currentMessage(); }
    QProgressBar *Bar() { return window.findChild<QProgressBar *>(QStringLiteral("ProgBar1")); }

    QTemporaryDir folder;
    Kept<Micro> window{link};
    QSignalSpy returning{&window, &Window::Returning};
};
} // namespace

class TestFlashing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { drive::SetRoot(folder_.path()); }
    void cleanup()
    {
        AnswerBoxes();
        QVERIFY(OpenBoxes().isEmpty());
    }

    void Buffers()
    {
        Bench bench;
        QCOMPARE(bench.window.FlashImage, std::vector<quint16>(8193, 0));
        QCOMPARE(bench.window.FlashRead, std::vector<quint16>(8193, 0));
        QCOMPARE(bench.window.FlashChanged, std::vector<bool>(8193, false));
        QCOMPARE(bench.window.LastAddr, 0);
    }

    void TheDialog_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<int>("selected");
        QTest::newRow("master") << QByteArray("CBMIC1") << 1;
        QTest::newRow("slave") << QByteArray("CbPgmSlave") << 2;
    }
    void TheDialog()
    {
        QFETCH(QByteArray, button);
        QFETCH(int, selected);
        QVERIFY(QDir(folder_.path()).mkpath(QStringLiteral("kelvo/tarnix/project")));
        Bench bench;
        bench.Button(button.constData())->click();
        QFileDialog *dialog = OpenDialog(bench.window);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Fichier Source Hex"));
        QCOMPARE(dialog->nameFilters(), (QStringList{QStringLiteral("Hex8 (*.HEX)"), QStringLiteral("All (*.* *)")}));
        QCOMPARE(dialog->directory(), QDir(folder_.filePath(QStringLiteral("kelvo/tarnix/project"))));
        QCOMPARE(dialog->acceptMode(), QFileDialog::AcceptOpen);
        QCOMPARE(bench.link.EepromSel, selected); // the memories are chosen before the file
        dialog->reject();
        SOON(bench.Idle());
        QVERIFY(bench.board.Received().isEmpty());
        QVERIFY(bench.Text("LBtypest").isEmpty());
        bench.Button(button.constData())->click(); // and once more
        QVERIFY(OpenDialog(bench.window));
        OpenDialog(bench.window)->reject();
    }

    // ---- slave

    void SlaveTranscript()
    {
        Bench bench;
        bench.slaveFlash[1] = 0x0102;
        bench.slaveFlash[3] = 0x0FFF;
        bench.Program("CbPgmSlave", SlaveRecord(0, {0x3FFF, 0x0102, 0x1234, 0x001B}) + end);
        SOON(OpenQuestion());
        QCOMPARE(bench.board.TakeReceived(), Reads(4)); // up to LastAddr, which is one more than the last word
        QCOMPARE(bench.window.LastAddr, 4);
        QCOMPARE(bench.Text("LBtypest"), QStringLiteral("Comparaison"));
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Differences =  2"));
        QVERIFY(!bench.Bar()->isVisible());
        QCOMPARE(bench.window.FlashRead[3], quint16(0x0FFF));
        QCOMPARE(bench.window.FlashImage[3], quint16(0x001B));
        QCOMPARE(bench.window.FlashChanged[1], false);
        QCOMPARE(bench.window.FlashChanged[2], true);
        QCOMPARE(OpenQuestion()->text(), QStringLiteral("Confirmer chargement de 2 octets"));
        QCOMPARE(OpenQuestion()->icon(), QMessageBox::Information);
        QVERIFY(OpenQuestion()->detailedText().isEmpty());
        bench.Answer(yes);
        SOON(bench.Idle());
        QCOMPARE(bench.board.TakeReceived(), Bytes({27, 48, 0, 2, 0x12, 0x34, 27, 48, 0, 3, 0, 27}) +
                                                 Bytes({27, 46, 0, 2, 27, 46, 0, 3})); // and reads them back
        QCOMPARE(bench.Text("LBtypest"), QStringLiteral("Chargement de :  2"));
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Mots restants pour transfer =  0"));
        QCOMPARE(bench.Status(), QStringLiteral("Vérification : 0 erreur(s)"));
        QCOMPARE(bench.link.EepromSel, 2);
        QCOMPARE(bench.slaveFlash[2], 0x1234);
    }

    void SlaveProgress()
    {
        Bench bench;
        QStringList infos;
        QStringList types;
        QList<int> bars;
        bench.board.On(46, 2, [&](const QByteArray &) {
            infos.append(bench.Text("LBinfos"));
            types.append(bench.Text("LBtypest"));
            bars.append(bench.Bar()->isVisible() ? bench.Bar()->value() : -1);
            return Bytes({27, 0, 0, 0});
        });
        bench.link.MainTop = 120;
        bench.Program("CbPgmSlave", SlaveRecord(0, {1, 2, 3}));
        SOON(OpenQuestion());
        QCOMPARE(infos,
                 (QStringList{QStringLiteral("Dernière adresse :  3"), QStringLiteral("Mots restant à lire :  3"),
                              QStringLiteral("Mots restant à lire :  2"), QStringLiteral("Mots restant à lire :  1")}));
        QCOMPARE(types, QStringList(4, QStringLiteral("Lecture Flash")));
        QCOMPARE(bars, (QList<int>{0, 1, 2, 3}));
        QCOMPARE(bench.Bar()->maximum(), 3);
        QCOMPARE(bench.link.MainTop, 120.0F);

        infos.clear();
        QList<float> left;
        bench.board.On(48, 4, [&](const QByteArray &) {
            infos.append(bench.Text("LBinfos"));
            left.append(bench.link.MainTop); // WordsLeft
            return Bytes({6});
        });
        bench.Answer(yes);
        SOON(bench.Idle());
        // The word behind the file differs from an erased one too.
        QCOMPARE(infos.first(4),
                 (QStringList{QStringLiteral("Differences =  4"), QStringLiteral("Mots restants pour transfer =  3"),
                              QStringLiteral("Mots restants pour transfer =  2"),
                              QStringLiteral("Mots restants pour transfer =  1")}));
        QCOMPARE(left, (QList<float>{4, 3, 2, 1}));
        QCOMPARE(bench.link.MainTop, 0.0F);
    }

    void TheLastAddressOfTheFileIsShown()
    {
        Bench bench;
        bench.board.SetSilent(true);
        bench.Program("CbPgmSlave", SlaveRecord(700, {1}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 46, 0, 0}));
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Dernière adresse :  701"));
    }

    void NoDifference()
    {
        Bench bench;
        bench.Program("CbPgmSlave", SlaveRecord(5, {16383, 16383}));
        SOON_EQUAL(bench.Text("LBinfos"), QStringLiteral("Pas de changement détecté"));
        SOON(bench.Idle());
        QCOMPARE(bench.board.Received(), Reads(7));
        QCOMPARE(bench.Text("LBtypest"), QStringLiteral("Comparaison"));
    }

    void NotConfirmed()
    {
        Bench bench;
        bench.Program("CbPgmSlave", SlaveRecord(0, {1}));
        bench.Answer(no);
        SOON(bench.Idle());
        QCOMPARE(bench.board.Received(), Reads(1));
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Differences =  1"));
    }

    void TheProtectedZone_data()
    {
        QTest::addColumn<int>("word");
        QTest::addColumn<bool>("isProtected");
        QTest::newRow("6143") << 6143 << false;
        QTest::newRow("6144") << 6144 << true;
    }
    void TheProtectedZone()
    {
        QFETCH(int, word);
        QFETCH(bool, isProtected);
        Bench bench;
        bench.Program("CbPgmSlave", SlaveRecord(0, {7}) + SlaveRecord(word, {9}));
        QVERIFY(Simulated().RunUntil([&] { return OpenQuestion() != nullptr; }));
        if (isProtected) {
            QCOMPARE(OpenQuestion()->text(), QStringLiteral(" 1 Changements en Zone Protégée, CONTINUER ??"));
            QCOMPARE(OpenQuestion()->windowTitle(), QStringLiteral("ATTENTION !"));
            QCOMPARE(OpenQuestion()->icon(), QMessageBox::Critical);
            bench.Answer(yes);
            SOON(OpenQuestion() && OpenQuestion()->icon() == QMessageBox::Information);
        }
        QCOMPARE(OpenQuestion()->text(), QStringLiteral("Confirmer chargement de 2 octets"));
        QCOMPARE(bench.board.TakeReceived(), Reads(word + 1));
        bench.Answer(yes);
        SOON(bench.Idle());
        QCOMPARE(bench.board.Received(), Bytes({27, 48, 0, 0, 0, 7, 27, 48, word / 256, word % 256, 0, 9}) +
                                             Bytes({27, 46, 0, 0, 27, 46, word / 256, word % 256}));
    }

    void TheProtectedZoneRefused()
    {
        Bench bench;
        bench.Program("CbPgmSlave", SlaveRecord(6144, {1, 2}));
        QVERIFY(Simulated().RunUntil([&] { return OpenQuestion() != nullptr; }));
        QCOMPARE(OpenQuestion()->text(), QStringLiteral(" 2 Changements en Zone Protégée, CONTINUER ??"));
        bench.board.TakeReceived();
        bench.Answer(no);
        SOON(bench.Idle());
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Pas de changement détecté"));
        QVERIFY(bench.board.Received().isEmpty());
    }

    void AWholeSlave()
    {
        Bench bench;
        QByteArray file;
        for (int word = 0; word < 8192; word += 8)
            file += SlaveRecord(word, {word, 2, 3, 4, 5, 6, 7, 8});
        for (size_t word = 0; word < 8192; ++word)
            bench.slaveFlash[word] = static_cast<int>(word % 8 == 0 ? word : word % 8 + 1);
        bench.slaveFlash[0] = 9;
        bench.slaveFlash[8191] = 9;
        bench.Program("CbPgmSlave", file);
        QVERIFY(Simulated().RunUntil([&] { return OpenQuestion() != nullptr; }));
        QCOMPARE(bench.window.LastAddr, 8192);
        QCOMPARE(bench.board.TakeReceived(), Reads(8192)); // the last one is no word of the flash
        QCOMPARE(OpenQuestion()->text(), QStringLiteral(" 1 Changements en Zone Protégée, CONTINUER ??"));
        bench.Answer(yes);
        SOON_EQUAL(OpenQuestion() ? OpenQuestion()->text() : QString(),
                   QStringLiteral("Confirmer chargement de 2 octets"));
        bench.Answer(yes);
        SOON(bench.Idle());
        QCOMPARE(bench.board.Received(), Bytes({27, 48, 0, 0, 0, 0, 27, 48, 31, 255, 0, 8}) +
                                             Bytes({27, 46, 0, 0, 27, 46, 31, 255})); // and is never written
        QCOMPARE(bench.slaveFlash[8191], 8);
    }

    void LastAddrIsOnlyRaised()
    {
        Bench bench;
        bench.Program("CbPgmSlave", SlaveRecord(40, {16383}));
        SOON_EQUAL(bench.Text("LBinfos"), QStringLiteral("Pas de changement détecté"));
        QCOMPARE(bench.board.TakeReceived(), Reads(41));
        bench.window.close();
        bench.window.Open();
        bench.slaveFlash[30] = 5;
        bench.Program("CbPgmSlave", SlaveRecord(2, {16383}));
        SOON(OpenQuestion());
        QCOMPARE(bench.board.TakeReceived(), Reads(41));
        QCOMPARE(bench.Text("LBinfos"),
                 QStringLiteral("Differences =  1")); // what the new file says nothing of is erased
    }

    void AReplyThatIsNoWord()
    {
        Bench bench;
        bench.board.On(46, 2, [](const QByteArray &p) { return Bytes({27, p[1] == 1 ? 128 : 0, 0, 0}); });
        bench.Program("CbPgmSlave", SlaveRecord(0, {1, 2, 3}));
        SOON(OpenQuestion());
        QCOMPARE(OpenQuestion()->text(),
                 QStringLiteral("Dépassement de capacité : mot lu à l'adresse 1 de la mémoire du slave"));
        QCOMPARE(bench.board.Received(), Reads(1));
        QVERIFY(!bench.Bar()->isVisible());
        AnswerBoxes();
        bench.window.close(); // nothing holds it any more
        QVERIFY(!bench.window.isVisible());
    }

    void AWordThatWasNotTaken()
    {
        Bench bench;
        bench.brokenWord = 2;
        bench.Program("CbPgmSlave", SlaveRecord(0, {1, 2, 3, 4}));
        bench.Answer(yes);
        SOON_EQUAL(bench.Status(), QStringLiteral("Vérification : 1 erreur(s), la première à l'adresse 2"));
        QCOMPARE(bench.Text("LBinfos"), QStringLiteral("Mots restants pour transfer =  0"));
    }

    void RemarksAreToldBefore()
    {
        Bench bench;
        bench.Program("CbPgmSlave", lowBank + ":0200000001002A\r\n");
        SOON(OpenQuestion());
        const QString told = QStringLiteral("Somme de contrôle fausse : 1 enregistrement(s), le premier à la ligne 2.\n"
                                            "Adresse étendue ou autre type que 00, pris comme données : 1 "
                                            "enregistrement(s), le premier à la ligne 1.");
        QCOMPARE(OpenQuestion()->detailedText(), told);
        bench.Answer(no);
        SOON(bench.Idle());
        bench.Program("CBMIC1", lowBank + ":0200000001002A\r\n");
        SOON(OpenQuestion());
        QCOMPARE(OpenQuestion()->detailedText(), told.section(u'\n', 0, 0));
    }

    void RefusedSlaveFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("told");
        QTest::newRow("odd count") << SlaveRecord(0, {1}) + Record(2, "abc")
                                   << QStringLiteral("Fichier HEX refusé, ligne 2 : nombre d'octets impair.");
        QTest::newRow("short") << QByteArray(":0400000001")
                               << QStringLiteral(
                                      "Fichier HEX refusé, ligne 1 : moins de caractères que l'enregistrement "
                                      "n'en annonce.");
        QTest::newRow("lower case") << QByteArray("\r\n:02000000ab0c45")
                                    << QStringLiteral(
                                           "Fichier HEX refusé, ligne 2 : caractère qui n'est pas un chiffre "
                                           "hexadécimal (0 à 9, A à F).");
        QTest::newRow("no data") << end << QStringLiteral("Fichier HEX refusé : aucune donnée pour le slave.");
        QTest::newRow("out of reach") << Record(16384, "ab")
                                      << QStringLiteral("Fichier HEX refusé : aucune donnée pour le slave.");
        QTest::newRow("overflow") << SlaveRecord(0, {1, 32768})
                                  << QStringLiteral("Dépassement de capacité : mot 32768 à la ligne 1 du fichier HEX");
    }
    void RefusedSlaveFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, told);
        Bench bench;
        bench.Program("CbPgmSlave", content);
        SOON(OpenQuestion());
        QCOMPARE(OpenQuestion()->text(), told);
        QCOMPARE(bench.Text("LBtypest"), QStringLiteral("Chargegment fichier"));
        QCOMPARE(bench.window.LastAddr, 0);
        AnswerBoxes();
        SOON(bench.Idle());
        QVERIFY(bench.board.Received().isEmpty());
        bench.Program("CbPgmSlave", SlaveRecord(0, {16383})); // the next file is as good as ever
        SOON_EQUAL(bench.Text("LBinfos"), QStringLiteral("Pas de changement détecté"));
    }

    // ---- master

    void MasterTranscript()
    {
        Bench bench;
        QByteArray flash(32768, '\xFF');
        QByteArray file = lowBank;
        for (int address = 0; address < 32768; address += 32) {
            if (address % 1024 == 0)
                continue; // stays erased
            QByteArray data;
            for (int i = 0; i < 32; ++i)
                data.append(static_cast<char>((address / 32) * 7 + i * 3));
            flash.replace(address, 32, data);
            file += Record(address, data);
        }
        QList<int> bars;
        bench.board.On(47, 66, [&](const QByteArray &) {
            bars.append(bench.Bar()->isVisible() ? bench.Bar()->value() : -1);
            return Bytes({9, 6});
        });
        bench.Program("CBMIC1", file + end);
        SOON(OpenQuestion());
        QCOMPARE(OpenQuestion()->text(), QStringLiteral("Confirmer chargement Flash Master."));
        QCOMPARE(OpenQuestion()->icon(), QMessageBox::Information);
        QCOMPARE(bench.Text("LBtypest"), QStringLiteral("Chargement fichier"));
        QVERIFY(bench.board.Received().isEmpty());
        QVERIFY(!bench.Bar()->isVisible());
        bench.Answer(yes);
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        QCOMPARE(bench.board.Received(), Repeat(448, [&](int block) {
                     const int address = 4096 + 64 * block;
                     return Bytes({27, 47, address / 256, address % 256}) + flash.mid(address, 64);
                 }));
        QCOMPARE(bars.size(), 448);
        for (int block = 0; block < 448; ++block)
            QCOMPARE(bars[block], 4096 + 64 * block);
        QCOMPARE(bench.Bar()->minimum(), 4096);
        QCOMPARE(bench.Bar()->maximum(), 32769);
        QVERIFY(!bench.Bar()->isVisible());
        QCOMPARE(bench.link.EepromSel, 1);
        QCOMPARE(bench.window.MasterFlash.size(), size_t(32770));
        QCOMPARE(bench.window.MasterFlash[32768] + bench.window.MasterFlash[32769], 0);
    }

    void AMasterFileWithoutABank()
    {
        Bench bench;
        bench.Program("CBMIC1", Record(4096, "abcd") + end);
        bench.Answer(yes);
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        QCOMPARE(bench.board.Received(), Repeat(448, [](int block) {
                     const int address = 4096 + 64 * block;
                     return Bytes({27, 47, address / 256, address % 256}) + QByteArray(64, '\xFF');
                 }));
    }

    void TheMasterNotConfirmed()
    {
        Bench bench;
        bench.Program("CBMIC1", lowBank + Record(4096, "ab"));
        bench.Answer(no);
        SOON(bench.Idle());
        QVERIFY(bench.board.Received().isEmpty());
        QVERIFY(!bench.Bar()->isVisible());
    }

    void RefusedMasterFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("told");
        QTest::newRow("odd count") << lowBank + Record(0, "abc")
                                   << QStringLiteral("Fichier HEX refusé, ligne 2 : nombre d'octets impair.");
        QTest::newRow("beyond") << lowBank + Record(32768, "ab")
                                << QStringLiteral(
                                       "Fichier HEX refusé, ligne 2 : données au-delà de la mémoire du master.");
        QTest::newRow("digit") << lowBank + ":0000000G"
                               << QStringLiteral("Fichier HEX refusé, ligne 2 : caractère qui n'est pas un chiffre "
                                                 "hexadécimal (0 à 9, A à F).");
    }
    void RefusedMasterFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, told);
        Bench bench;
        bench.Program("CBMIC1", content);
        SOON_EQUAL(bench.Text("LBtypest"), told);
        SOON(bench.Idle());
        QVERIFY(bench.board.Received().isEmpty());
        QCOMPARE(std::ranges::count(bench.window.MasterFlash, quint8(255)), 32768); // still erased
    }

    void UnreadableFiles()
    {
        Bench bench;
        const auto chooseNone = [&bench](const char *button) { bench.Program(button, SlaveRecord(0, {1})); };
        // The file goes between the choice and the reading: the choice is the last chance to remove it.
        QFileDialog *dialog = bench.window.findChild<QFileDialog *>(QStringLiteral("CommonDialog1"));
        const auto remove =
            connect(dialog, &QFileDialog::fileSelected, this, [](const QString &path) { QFile::remove(path); });
        chooseNone("CBMIC1");
        SOON(bench.Idle()); // without a message
        chooseNone("CbPgmSlave");
        SOON(OpenQuestion());
        QVERIFY2(OpenQuestion()->text().startsWith(QStringLiteral("Erreur de fichier : ")),
                 qPrintable(OpenQuestion()->text()));
        QVERIFY(bench.board.Received().isEmpty());
        disconnect(remove);
    }

    void MasterThenSlave()
    {
        Bench bench;
        bench.Program("CBMIC1", lowBank + Record(4096, "ab") + Record(8190, "abcd"));
        bench.Answer(yes);
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        bench.board.TakeReceived();
        bench.Program("CbPgmSlave", SlaveRecord(0, {16383, 5}));
        bench.Answer(yes);
        SOON(bench.Idle());
        QCOMPARE(bench.board.Received(), Reads(2) + Bytes({27, 48, 0, 1, 0, 5, 27, 46, 0, 1}));
    }

    // ---- one at a time

    void NothingElseMeanwhile_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("master") << QByteArray("CBMIC1") << lowBank + Record(4096, "ab");
        QTest::newRow("slave") << QByteArray("CbPgmSlave") << SlaveRecord(0, {1});
    }
    void NothingElseMeanwhile()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, content);
        Bench bench;
        QSignalSpy dashboard(&bench.window, &Micro::DashboardWanted);
        bench.holdBack = true;
        bench.Program(button.constData(), content);
        bench.Answer(yes);
        const auto waits = [&] {
            return bench.board.Received().contains(button == "CBMIC1" ? "\x1B\x2F" : "\x1B\x30");
        };
        SOON(waits());
        const QByteArray sent = bench.board.Received();
        const int selected = bench.link.EepromSel;
        for (const char *other : {"CBMIC1", "CbPgmSlave", "CBepr", "CbEEprSalave", "CBEtat", "MQuitter"}) {
            bench.window.statusBar()->clearMessage();
            bench.Button(other)->click();
            QCOMPARE(bench.Status(), QStringLiteral("Programmation en cours : attendez sa fin."));
        }
        bench.window.statusBar()->clearMessage();
        bench.window.close();
        QCOMPARE(bench.Status(), QStringLiteral("Programmation en cours : attendez sa fin."));
        QVERIFY(bench.window.isVisible());
        QVERIFY(!OpenDialog(bench.window));
        QCOMPARE(bench.returning.size(), 0);
        QCOMPARE(dashboard.size(), 0);
        QCOMPARE(bench.link.EepromSel, selected);
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
        QCOMPARE(bench.board.Received(), sent);
        bench.holdBack = false;
        bench.board.Send(Bytes({6}));
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        bench.Button("MQuitter")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.link.ReconnectOnActivate, 0);
    }

    void ADeadBoardCanBeLeft_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("Retour") << true;
        QTest::newRow("title bar") << false;
    }
    void ADeadBoardCanBeLeft()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.holdBack = true;
        bench.Program("CBMIC1", lowBank);
        bench.Answer(yes);
        SOON_EQUAL(bench.board.Received().size(), 68);
        Simulated().Run(10s);
        if (button)
            bench.Button("MQuitter")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.returning.size(), 1);
        QCOMPARE(bench.link.ReconnectOnActivate, button ? 0 : 1);
        SOON(OpenQuestion());
        QVERIFY(OpenQuestion()->text().startsWith(QStringLiteral("La carte ne répond plus")));
        AnswerBoxes();
        SOON(bench.link.line.Idle()); // the line is everybody's again
        bench.holdBack = false;
        bench.window.Open();
        bench.Program("CBMIC1", lowBank);
        bench.Answer(yes);
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        // The first answer may have been the one that was owed: its block is written once more.
        QCOMPARE(bench.board.Received().size(), (2 + 448) * 68);
    }

    void ABlockIsNotOvertaken()
    {
        Bench bench;
        bench.holdBack = true;
        bench.Program("CBMIC1", lowBank);
        bench.Answer(yes);
        SOON_EQUAL(bench.board.Received().size(), 68);
        bench.runner.Start([](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(41), Reply::Framed(3));
            co_await exchange;
        }(&bench.link));
        Simulated().Run(20s);
        QCOMPARE(bench.board.Received().size(), 68);
        bench.holdBack = false;
        bench.board.Send(Bytes({6}));
        SOON(bench.runner.Idle());
        QVERIFY(Simulated().RunUntil([&] { return bench.Idle(); }));
        QCOMPARE(bench.board.Received().size(), 448 * 68 + 2);
    }

    void AProgrammingWhosePortIsLostCanBeLeft()
    {
        Bench bench;
        bench.holdBack = true;
        bench.Program("CBMIC1", lowBank);
        bench.Answer(yes);
        SOON_EQUAL(bench.board.Received().size(), 68);
        bench.port->Unplug();
        Simulated().Run(1s);
        bench.Button("MQuitter")->click();
        QVERIFY(!bench.window.isVisible());
        SOON(OpenQuestion());
        QVERIFY(OpenQuestion()->text().startsWith(QStringLiteral("La carte ne répond plus")));
        AnswerBoxes();
        bench.holdBack = false;
        bench.port->Plug();
        SOON(bench.link.line.IsUsable() && bench.link.line.Idle());
        QCOMPARE(bench.board.Received().size(), 68); // nothing goes on by itself
    }

    void ALostPortEndsIt()
    {
        Bench bench;
        bench.holdBack = true;
        bench.Program("CBMIC1", lowBank);
        bench.Answer(yes);
        SOON_EQUAL(bench.board.Received().size(), 68);
        bench.ClosePort();
        SOON(OpenQuestion()); // says that the port is closed
        QVERIFY(!bench.Bar()->isVisible());
        AnswerBoxes();
        bench.window.close();
        QVERIFY(!bench.window.isVisible());
    }

private:
    QTemporaryDir folder_;
};

REGISTER_TEST(TestFlashing)
#include "tst_flashing.moc"
