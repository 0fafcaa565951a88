// SPDX-License-Identifier: GPL-3.0-or-later
// Programming of the flash memories. The master is written blindly, in blocks, above its loader. The slave is read
// first, and only the words that differ are written.

#include "base/dialogs.h"
#include "base/drive.h"
#include "base/messages.h"
#include "base/number.h"
#include "base/wholefile.h"
#include "link/command.h"
#include "micro.h"

#include <QApplication>

namespace {
constexpr int loaderEnd = 4096; // bytes below it are the master's own loader
constexpr int blockLength = 64;
constexpr int lastOpenWord = 6143; // the slave's words above it are protected

QByteArray AddressRequest(quint8 command, int address)
{
    return Request(command, address / 256, address % 256);
}
} // namespace

/// A programming that is under way, from its button to its end: nothing else is done with the board's memories.
class Micro::Programming
{
public:
    explicit Programming(Micro &window) : window_(window)
    {
        window_.programming_ = true;
        window_.editor_.setEnabled(false);
        window_.profiles_.setEnabled(false);
        window_.Tell({});
    }
    Programming(const Programming &) = delete;
    Programming &operator=(const Programming &) = delete;
    ~Programming()
    {
        window_.programming_ = false;
        window_.editor_.setEnabled(true);
        window_.profiles_.setEnabled(true);
        window_.ui_.ProgBar1->hide();
    }

private:
    Micro &window_;
};

Task<QString> Micro::ChooseHexFile()
{
    return dialogs::ChooseFile(commonDialog1_, {.mode = QFileDialog::AcceptOpen,
                                                .title = QStringLiteral("Fichier Source Hex"),
                                                .filter = QStringLiteral("Hex8 (*.HEX);;All (*.* *)"),
                                                .folder = drive::Folder(QStringLiteral("kelvo/tarnix/project"))});
}

// ---- master

Task<void> Micro::CBMIC1_Click()
{
    if (RefusesToProgram())
        co_return;
    const Programming programming(*this);
    link_.EepromSel = 1;
    MasterFlash.assign(hexfile::masterBytes + 2, 0);
    std::fill_n(MasterFlash.begin(), hexfile::masterBytes, hexfile::erasedByte);
    Task<QString> choice = ChooseHexFile();
    const QString path = co_await choice;
    QString remarks;
    if (path.isEmpty() || !ReadHexMaster(path, &remarks))
        co_return;
    Task<bool> question =
        dialogs::Confirm(this, QMessageBox::Information, windowTitle(),
                         QStringLiteral("Confirmer chargement Flash Master."), QFileInfo(path).fileName(), remarks);
    if (!co_await question)
        co_return;
    Task<void> writing = WriteMaster();
    co_await writing;
}

/// Fills MasterFlash. False for a file that must not be used: the status line says why, or nothing does when it cannot
/// be read at all.
bool Micro::ReadHexMaster(const QString &path, QString *remarks)
{
    try {
        ui_.LBtypest->setText(QStringLiteral("Chargement fichier"));
        const hexfile::MasterFile file = hexfile::ReadHexMaster(wholefile::Read(path, hexfile::largestFile));
        std::ranges::copy(file.bytes, MasterFlash.begin());
        *remarks = file.remarks.Text();
        return true;
    } catch (const hexfile::Refused &refused) {
        ui_.LBtypest->setText(refused.Text());
    } catch (const FileError &error) {
        Tell(error.Text());
    }
    return false;
}

Task<void> Micro::WriteMaster()
{
    ui_.ProgBar1->setRange(loaderEnd, hexfile::masterBytes + 1);
    ui_.ProgBar1->setValue(loaderEnd);
    ui_.ProgBar1->show();
    for (int address = loaderEnd; address < hexfile::masterBytes - 1; address += blockLength) {
        ui_.ProgBar1->setValue(address);
        QByteArray block = AddressRequest(command::WriteMasterFlash, address);
        block.append(reinterpret_cast<const char *>(&MasterFlash[static_cast<size_t>(address)]), blockLength);
        // Erasing takes its time: whatever else is wanted of the board comes after the block.
        Task<QByteArray> exchange = link_.Exchange(block, Reply::Stored(), {}, Exchanges::Overtaking::Refused);
        co_await exchange;
    }
    Tell(QStringLiteral("Flash Master : %1 blocs écrits.").arg((hexfile::masterBytes - loaderEnd) / blockLength));
}

// ---- slave

Task<void> Micro::CbPgmSlave_Click()
{
    if (RefusesToProgram())
        co_return;
    const Programming programming(*this);
    link_.EepromSel = 2;
    std::fill_n(FlashImage.begin(), hexfile::slaveWords, hexfile::erasedWord);
    std::fill_n(FlashRead.begin(), hexfile::slaveWords, hexfile::erasedWord);
    std::fill_n(FlashChanged.begin(), hexfile::slaveWords, false);
    Task<QString> choice = ChooseHexFile();
    const QString path = co_await choice;
    if (path.isEmpty())
        co_return;
    ui_.LBtypest->setText(QStringLiteral("Chargegment fichier"));
    const QString remarks = ReadHexSlave(path);
    Task<void> reading = ReadSlave();
    co_await reading;
    const Differences differences = CompareSlave();
    Task<bool> question = ConfirmSlave(differences, QFileInfo(path).fileName(), remarks);
    if (!co_await question)
        co_return;
    Task<void> writing = WriteSlave(differences.all);
    co_await writing;
    Task<void> verifying = VerifySlave();
    co_await verifying;
}

/// Fills FlashImage, raises LastAddr and gives the remarks on the file.
QString Micro::ReadHexSlave(const QString &path)
{
    const hexfile::SlaveFile file = hexfile::ReadHexSlave(wholefile::Read(path, hexfile::largestFile));
    std::ranges::copy(file.words, FlashImage.begin());
    LastAddr = std::max(LastAddr, file.lastAddress);
    ui_.LBinfos->setText(QStringLiteral("Dernière adresse : ") + number::Str(LastAddr));
    return file.remarks.Text();
}

Task<void> Micro::ReadSlave()
{
    ui_.LBtypest->setText(QStringLiteral("Lecture Flash"));
    ui_.ProgBar1->setRange(0, LastAddr);
    ui_.ProgBar1->setValue(0);
    ui_.ProgBar1->show();
    for (int address = 0; address <= LastAddr; ++address) {
        ui_.ProgBar1->setValue(address);
        Task<int> reading = ReadWord(address);
        const int word = co_await reading;
        ui_.LBinfos->setText(QStringLiteral("Mots restant à lire : ") + number::Str(LastAddr - address));
        if (word > 32767)
            throw Overflow(QStringLiteral("mot lu à l'adresse %1 de la mémoire du slave").arg(address));
        FlashRead[static_cast<size_t>(address)] = static_cast<quint16>(word);
    }
    ui_.ProgBar1->hide();
}

/// Sets FlashChanged. A file that fills the memory makes LastAddr one more than its last word: that is no word.
Micro::Differences Micro::CompareSlave()
{
    ui_.LBtypest->setText(QStringLiteral("Comparaison"));
    Differences differences;
    for (int address = 0; address <= LastAddr && address < hexfile::slaveWords; ++address) {
        const auto i = static_cast<size_t>(address);
        if (FlashRead[i] == FlashImage[i])
            continue;
        FlashChanged[i] = true;
        ++differences.all;
        if (address > lastOpenWord)
            ++differences.inProtectedZone;
    }
    ui_.LBinfos->setText(QStringLiteral("Differences = ") + number::Str(differences.all));
    return differences;
}

Task<bool> Micro::ConfirmSlave(Differences differences, QString file, QString remarks)
{
    bool wanted = differences.all > 0;
    if (differences.inProtectedZone > 0) {
        Task<bool> question = dialogs::Confirm(this, QMessageBox::Critical, QStringLiteral("ATTENTION !"),
                                               number::Str(differences.inProtectedZone) +
                                                   QStringLiteral(" Changements en Zone Protégée, CONTINUER ??"),
                                               file);
        wanted = co_await question;
    }
    if (!wanted) {
        ui_.LBinfos->setText(QStringLiteral("Pas de changement détecté"));
        co_return false;
    }
    Task<bool> question = dialogs::Confirm(this, QMessageBox::Information, windowTitle(),
                                           QStringLiteral("Confirmer chargement de") + number::Str(differences.all) +
                                               QStringLiteral(" octets"),
                                           file, remarks);
    co_return co_await question;
}

Task<void> Micro::WriteSlave(int count)
{
    float &WordsLeft = link_.MainTop; // the two have always shared their place
    WordsLeft = static_cast<float>(count);
    ui_.LBtypest->setText(QStringLiteral("Chargement de : ") + number::Str(count));
    ui_.ProgBar1->setRange(0, count);
    ui_.ProgBar1->setValue(0);
    ui_.ProgBar1->show();
    for (int address = 0; address <= LastAddr; ++address) {
        const auto i = static_cast<size_t>(address);
        if (!FlashChanged[i])
            continue;
        QByteArray request = AddressRequest(command::WriteSlaveFlash, address);
        request.append(static_cast<char>(FlashImage[i] / 256)).append(static_cast<char>(FlashImage[i] % 256));
        Task<QByteArray> exchange = link_.Exchange(request, Reply::Stored(), {}, Exchanges::Overtaking::Refused);
        co_await exchange;
        WordsLeft -= 1;
        ui_.LBinfos->setText(QStringLiteral("Mots restants pour transfer = ") +
                             number::Str(static_cast<double>(WordsLeft)));
        ui_.ProgBar1->setValue(ui_.ProgBar1->value() + 1);
    }
    ui_.ProgBar1->hide();
}

/// Reads back what was written.
Task<void> Micro::VerifySlave()
{
    int errors = 0;
    int firstError = 0;
    for (int address = 0; address <= LastAddr; ++address) {
        const auto i = static_cast<size_t>(address);
        if (!FlashChanged[i])
            continue;
        Tell(QStringLiteral("Vérification du mot %1…").arg(address));
        Task<int> reading = ReadWord(address);
        const int word = co_await reading;
        if (word != FlashImage[i] && errors++ == 0)
            firstError = address;
    }
    QString result = QStringLiteral("Vérification : %1 erreur(s)").arg(errors);
    if (errors > 0)
        result += QStringLiteral(", la première à l'adresse %1").arg(firstError);
    Tell(result);
}

/// A word of the flash that EepromSel names.
Task<int> Micro::ReadWord(int address)
{
    const quint8 read = link_.EepromSel == 1 ? command::ReadMasterFlash : command::ReadSlaveFlash;
    Task<QByteArray> exchange = link_.Exchange(AddressRequest(read, address), Reply::Framed(2));
    const QByteArray reply = co_await exchange;
    co_return static_cast<quint8>(reply[0]) << 8 | static_cast<quint8>(reply[1]);
}
