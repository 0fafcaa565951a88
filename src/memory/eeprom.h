// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/activation.h"
#include "base/loss.h"
#include "base/opening.h"
#include "base/window.h"
#include "link/codebas.h"
#include "ui_eeprom.h"

#include <QFileDialog>

/// The editor of the on-chip EEPROM of one microcontroller: shows its image, writes it to the board, keeps it in files.
class EEprom : public Window
{
    Q_OBJECT

public:
    /// What CurAddr is while no byte is selected; so byte 20 itself cannot be edited.
    static constexpr quint8 noAddress = 20;

    explicit EEprom(Codebas &link);

    quint8 CurAddr = noAddress; ///< the byte that Text3 changes
    quint8 CurRow = 0;          ///< the sixteen bytes that Lbdat2 shows

    /// Opens the window on the microcontroller that EepromSel names, and stays with it. One that is open turns to that
    /// microcontroller and reads again; not while it writes.
    void Edit();

    /// Whether images are being read or written.
    bool Busy() const { return transfer_ != Transfer::None; }

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;

private:
    enum class Transfer
    {
        None,
        Reading,
        Writing
    };
    class Hold;
    using Image = std::array<quint8, 257>;

    Task<void> Form_Activate();
    void Vscroll1_Change();
    void Text2_KeyPress();
    void Text3_KeyPress();
    Task<void> CBUpdate_Click();
    Task<void> CBSaveeprom_Click();
    Task<void> CBLoadeprom_Click();

    Task<void> ReadImage(quint8 command, Image *image, std::function<bool()> stillOpen);
    std::function<bool()> StillOpen() const;
    void Keep();
    bool IsEdited(int address);
    int Edits();
    bool Refuses();
    bool RefusesImage();
    void TakeSide();
    void Leave();

    bool MasterSide() const { return side_ == 1; }
    Image &Selected() { return MasterSide() ? link_.MasterEeprom : link_.SlaveEeprom; }

    QString Cell(int row, int column);
    void ShowRow();
    void ShowImage();
    void ShowEdits();
    void ShowParameters();
    void ShowText();
    void Progress(int address);
    void Tell(const QString &text);

    Ui::EEprom ui_;
    Codebas &link_;
    QFileDialog *commonDialog1_ = nullptr;
    QLabel *sideName_ = new QLabel(this);
    QLabel *edits_ = new QLabel(this);
    Activation activation_{this};
    Loss loss_;
    int side_ = 0;       ///< EepromSel when the window was opened
    Image kept_{};       ///< the selected image as the board or a file has it
    int replaced_ = 0;   ///< edits of the side before, which the next reading replaces
    bool whole_ = false; ///< the images were read to their ends, or the selected one comes from a whole file
    Opening opening_;
    Transfer transfer_ = Transfer::None;
};
