// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/window.h"
#include "eeprom.h"
#include "exteepr.h"
#include "hexfile.h"
#include "link/codebas.h"
#include "ui_micro.h"

#include <QFileDialog>

#include <vector>

/// The microcontroller tools: programs the flash memories of both microcontrollers, and is the way to the board's other
/// memories and to the dashboard.
class Micro : public Window
{
    Q_OBJECT

public:
    explicit Micro(Codebas &link);

    // The slave's flash by word address, 0 to 8192; the last one is no word of it.
    std::vector<quint16> FlashImage; ///< as the file has it
    std::vector<quint16> FlashRead;  ///< as the board has it
    std::vector<bool> FlashChanged;  ///< whether the two differ
    int LastAddr = 0;                ///< the highest address in all files so far + 1
    std::vector<quint8> MasterFlash; ///< the master's flash as the file has it, by byte address, 0 to 32769

Q_SIGNALS:
    /// The window opens: the main window goes out of sight until Returning.
    void Opened();
    /// "Tableau de bord".
    void DashboardWanted();

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;

private:
    class Programming;
    struct Differences
    {
        int all = 0;
        int inProtectedZone = 0;
    };

    void CBepr_Click() { OpenEditor(1); }
    void CbEEprSalave_Click() { OpenEditor(2); }
    void CbextEEPROM_Click();
    void CBEtat_Click();
    void MQuitter_Click();
    void OpenEditor(int eepromSel);
    bool Refuses();
    bool StaysOpen();
    bool RefusesToProgram();
    void Tell(const QString &text);

    Task<void> CBMIC1_Click();
    Task<void> CbPgmSlave_Click();
    Task<QString> ChooseHexFile();
    bool ReadHexMaster(const QString &path, QString *remarks);
    QString ReadHexSlave(const QString &path);
    Task<void> WriteMaster();
    Task<void> ReadSlave();
    Differences CompareSlave();
    Task<bool> ConfirmSlave(Differences differences, QString file, QString remarks);
    Task<void> WriteSlave(int count);
    Task<void> VerifySlave();
    Task<int> ReadWord(int address);

    Ui::Micro ui_;
    Codebas &link_;
    Kept<EEprom> editor_;
    Kept<Exteepr> profiles_;
    QFileDialog *commonDialog1_ = nullptr;
    bool programming_ = false;
};
