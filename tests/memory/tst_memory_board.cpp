// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory/micro.h"
#include "memorybench.h"
#include "support/boardlink.h"
#include "support/suite.h"

#include <QFile>

/// The tools on the virtual board, which keeps what it is told in its memory file.
class TestMemoryBoard : public QObject
{
    Q_OBJECT

private:
    struct Bench : BoardLink
    {
        explicit Bench(const QString &memory)
        {
            if (Start({QStringLiteral("--memory"), memory}))
                tools.Open();
        }

        void Program(const char *button, const char *name)
        {
            tools.findChild<QPushButton *>(QLatin1String(button))->click();
            QVERIFY(OpenDialog(tools));
            ChooseIn(OpenDialog(tools), QStringLiteral(TEST_DATA "/hex/") + QLatin1String(name));
        }
        void Confirm()
        {
            SOON(OpenBoxes().size() == 1);
            OpenBoxes().constFirst()->button(QMessageBox::Yes)->click();
        }
        QString Infos() { return tools.findChild<QLabel *>(QStringLiteral("LBinfos"))->text(); }
        QString Status() { return tools.statusBar()->currentMessage(); }

        /// Bytes of the board, read with a command whose address has one or two bytes.
        QByteArray Read(int command, int addressBytes, int count, int dataBytes)
        {
            QByteArray data;
            connection.Start(ReadAll(&link, command, addressBytes, count, dataBytes, &data));
            return clock.RunUntil([this] { return connection.Idle(); }) ? data : QByteArray();
        }
        static Task<void> ReadAll(Codebas *link, int command, int addressBytes, int count, int dataBytes,
                                  QByteArray *data)
        {
            for (int address = 0; address < count; ++address) {
                const QByteArray request =
                    addressBytes == 1 ? Request(command, address) : Request(command, address / 256, address % 256);
                Task<QByteArray> exchange = link->Exchange(request, Reply::Framed(dataBytes));
                const QByteArray reply = co_await exchange;
                *data += reply.first(dataBytes);
            }
        }

        Kept<Micro> tools{link};
    };

    QString Memory() const { return folder_.filePath(QStringLiteral("memory")); }

private Q_SLOTS:
    void TheSlaveIsProgrammed()
    {
        QFile file(QStringLiteral(TEST_DATA "/hex/slave-small.HEX"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const hexfile::SlaveFile image = hexfile::ReadHexSlave(file.readAll());
        {
            Bench bench(Memory());
            bench.Program("CbPgmSlave", "slave-small.HEX");
            bench.Confirm();
            SOON(bench.Status() == QStringLiteral("Vérification : 0 erreur(s)"));
        }
        Bench bench(Memory()); // even after a power cut
        const QByteArray read = bench.Read(46, 2, image.lastAddress, 2);
        QCOMPARE(read.size(), 2 * image.lastAddress);
        for (int word = 0; word < image.lastAddress; ++word)
            QCOMPARE(MemoryBench::Byte(read, 2 * word) * 256 + MemoryBench::Byte(read, 2 * word + 1),
                     int(image.words[static_cast<size_t>(word)]));
        bench.Program("CbPgmSlave", "slave-small.HEX");
        SOON(bench.Infos() == QStringLiteral("Pas de changement détecté"));
    }

    void TheMasterIsProgrammed()
    {
        QFile file(QStringLiteral(TEST_DATA "/hex/master-whole.HEX"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const hexfile::MasterFile image = hexfile::ReadHexMaster(file.readAll());
        Bench bench(Memory());
        const QByteArray loader = bench.Read(45, 2, 2048, 2);
        bench.Program("CBMIC1", "master-whole.HEX");
        bench.Confirm();
        SOON(bench.Status() == QStringLiteral("Flash Master : 448 blocs écrits."));
        const QByteArray read = bench.Read(45, 2, 16384, 2);
        QCOMPARE(read.size(), 32768);
        QCOMPARE(read.first(4096), loader);                  // was left alone
        for (int address = 4096; address < 32768; ++address) // words come high byte first, the odd address
            QCOMPARE(static_cast<quint8>(read[address ^ 1]), image.bytes[static_cast<size_t>(address)]);
    }

    void AnEepromIsWrittenAndReadBack()
    {
        Bench bench(Memory());
        const auto editor = [] {
            for (QWidget *window : QApplication::topLevelWidgets())
                if (window->objectName() == QLatin1String("EEprom") && window->isVisible())
                    return qobject_cast<EEprom *>(window);
            return static_cast<EEprom *>(nullptr);
        };
        const QByteArray before = bench.Read(37, 1, 256, 1);
        const QByteArray slave = bench.Read(38, 1, 256, 1);
        bench.tools.findChild<QPushButton *>(QStringLiteral("CBepr"))->click();
        EEprom *window = editor();
        QVERIFY(window);
        SOON(window->Busy());
        SOON(!window->Busy());
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(bench.link.MasterEeprom.data()), 256), before);
        QCOMPARE(window->findChild<QLineEdit *>(QStringLiteral("Text4"))->text(),
                 QStringLiteral("CARTE VIRTUELLE - MAITRE  V1.0"));
        bench.link.MasterEeprom[10] = 0x5A;
        bench.link.MasterEeprom[255] = 27;
        window->findChild<QPushButton *>(QStringLiteral("CBUpdate"))->click();
        SOON(!window->Busy());
        QByteArray after = before;
        after[10] = 0x5A;
        after[255] = 27;
        QCOMPARE(bench.Read(37, 1, 256, 1), after);
        QCOMPARE(bench.Read(38, 1, 256, 1), slave);
    }

private:
    QTemporaryDir folder_;
};

REGISTER_TEST(TestMemoryBoard)
#include "tst_memory_board.moc"
