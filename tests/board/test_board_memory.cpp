// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory_file.h"
#include "support/suite.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using Board::Memories;

namespace {

std::string Text(const Memories::Content &content, std::size_t address, std::size_t size)
{
    const auto begin = content.external[1].begin() + static_cast<std::ptrdiff_t>(address);
    return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

} // namespace

/// What the board keeps without power.
class TestBoardMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void IsBornWithTexts();
    void IsBornWithBatteryTypes();
    void IsBornForItsPack();
    void SurvivesInAFile();
    void RefusesOtherFiles();
    void IsNeverHalfWritten();
};

void TestBoardMemory::IsBornWithTexts()
{
    const Memories::Content content = Board::BirthContent({});
    for (const auto &memory : {content.master, content.slave}) {
        int letters = 0;
        for (std::size_t address = 80; address <= 111; ++address) {
            QVERIFY(memory[address] == 0 || (memory[address] >= ' ' && memory[address] < 127));
            letters += memory[address] > ' ' ? 1 : 0;
        }
        QCOMPARE_GT(letters, 8);
    }
    for (const std::uint8_t character : content.external[0])
        QVERIFY(character >= ' ' && character < 127);
    QVERIFY(content.master != content.slave);
}

void TestBoardMemory::IsBornWithBatteryTypes()
{
    const Memories::Content content = Board::BirthContent({});
    QCOMPARE(Text(content, 0, 3), std::string("006"));
    QCOMPARE(Text(content, 32, 16), std::string("AA NiMh 2000 x4 "));
    QCOMPARE(content.external[1][48], 0);
    QCOMPARE(Text(content, 49, 15), std::string("004200100131090"));
    int used = 0;
    for (std::size_t slot = 0; slot < 127; ++slot) {
        const std::size_t address = 32 + 32 * slot;
        used += Text(content, address, 16) != std::string(16, '-') ? 1 : 0;
        for (const char digit : Text(content, address + 17, 15))
            QVERIFY(digit >= '0' && digit <= '9');
        const int type = content.external[1][address + 17] - '0';
        QVERIFY(type >= 0 && type <= 2);
        QCOMPARE(content.external[1][address + 16] & (1 | 128), 0);
    }
    QCOMPARE(used, 6);
}

void TestBoardMemory::IsBornForItsPack()
{
    // The battery word follows the range that the pack needs.
    for (const auto &[cells, word] : {std::pair(4, 1024), std::pair(8, 512), std::pair(16, 256)}) {
        const Memories::Content content = Board::BirthContent({.cells = cells});
        QCOMPARE(content.slave[6] * 256 + content.slave[7], word);
    }
    QCOMPARE(Board::BirthChargeSetting(2.0), 100);
    QCOMPARE(Board::BirthChargeSetting(0.05), 3);
    QCOMPARE(Board::BirthChargeSetting(20.0), 255);
    QCOMPARE(Board::BirthDischargeSetting(2.0), 40);
}

void TestBoardMemory::SurvivesInAFile()
{
    QTemporaryDir folder;
    const std::string path = folder.filePath("memories").toStdString();
    QVERIFY(!Board::LoadMemories(path));
    Memories memories(Board::BirthContent({}));
    memories.WriteMaster(255, 1);
    memories.WriteSlave(0, 2);
    memories.WriteExternal(0, 4095, 3);
    memories.WriteExternal(1, 0, 4);
    memories.WriteMasterFlash(32704, {5});
    memories.WriteSlaveFlash(8191, 0x1234);
    Board::SaveMemories(path, memories.Image());
    const auto loaded = Board::LoadMemories(path);
    QVERIFY(loaded.has_value());
    QVERIFY(*loaded == memories.Image());
    // A new file takes the place of the old one, which stays as it was for whoever still holds it.
    const std::string kept = folder.filePath("kept").toStdString();
    QCOMPARE(link(path.c_str(), kept.c_str()), 0);
    Board::SaveMemories(path, Board::BirthContent({}));
    QVERIFY(*Board::LoadMemories(kept) == memories.Image());
    QVERIFY(*Board::LoadMemories(path) == Board::BirthContent({}));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 2);
    QVERIFY(*loaded != Board::BirthContent({}));
}

void TestBoardMemory::RefusesOtherFiles()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("memories");
    const std::string path = name.toStdString();
    Board::SaveMemories(path, Board::BirthContent({}));
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray good = file.readAll();
    file.close();
    QByteArray damaged = good;
    damaged[1000] = static_cast<char>(damaged[1000] ^ 1);
    for (const QByteArray &bad :
         {QByteArray(), QByteArray("hello\n"), good.left(good.size() - 1), good + 'x', damaged}) {
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bad);
        file.close();
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, Board::LoadMemories(path));
    }
}

// A process that does nothing but save is killed again and again; what is on the disk is always whole.
void TestBoardMemory::IsNeverHalfWritten()
{
    QTemporaryDir folder;
    const std::string path = folder.filePath("memories").toStdString();
    Board::SaveMemories(path, Board::BirthContent({}));
    int changes = 0;
    for (int round = 0; round < 20; ++round) {
        int begun[2];
        QCOMPARE(pipe(begun), 0);
        const pid_t child = fork();
        if (child == 0) {
            Memories memories(*Board::LoadMemories(path));
            for (int i = 0;; ++i) {
                memories.WriteMaster(0, static_cast<std::uint8_t>(i));
                Board::SaveMemories(path, memories.Image());
                if (i == round && write(begun[1], "x", 1) != 1)
                    _exit(1);
            }
        }
        char byte = 0;
        QCOMPARE(read(begun[0], &byte, 1), ssize_t{1});
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(begun[0]);
        close(begun[1]);
        const auto loaded = Board::LoadMemories(path);
        QVERIFY(loaded.has_value());
        changes += loaded->master[0] != Board::BirthContent({}).master[0] ? 1 : 0;
    }
    QCOMPARE_GT(changes, 0);
}

REGISTER_TEST(TestBoardMemory)
#include "test_board_memory.moc"
