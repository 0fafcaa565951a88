// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/loss.h"
#include "base/opening.h"
#include "base/window.h"
#include "eepromtable.h"
#include "link/codebas.h"
#include "profile.h"
#include "ui_exteepr.h"

#include <QFileDialog>
#include <QPointer>

class SliderBox;

/// The external EEPROMs: shows and edits the battery types, reads and writes either EEPROM, and keeps both in files.
class Exteepr : public Window
{
    Q_OBJECT

public:
    explicit Exteepr(Codebas &link);

    Profiles ProfileTable;      ///< EEPROM 2 in memory
    Image ImageTable;           ///< EEPROM 1 in memory
    int SelectedEeprom = 0;     ///< 1, or else EEPROM 2 is meant
    bool Eeprom1Loaded = false; ///< it was read since the window opened
    bool Eeprom2Loaded = false;
    QByteArray ProfileText; ///< parameter text of the profile on screen, as it was shown or stored last

    /// Whether an EEPROM is being read or written.
    bool Busy() const { return transferring_; }

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    class Transfer;
    void Option_Click(int eeprom);
    Task<void> Option1_Click();
    Task<void> Option2_Click();
    void Slider1_Change(int number);
    void Text6_Change();
    Task<void> CbSave_Click();
    Task<void> CbEcrit_Click();
    Task<void> CBLit_Click();

    Task<QByteArray> ReadEeprom(quint8 chip);
    Task<void> WriteBytes(quint8 chip, int address, QByteArray bytes);
    Task<QByteArray> Converse(QByteArray request, Reply reply);
    Task<QString> ChooseFile(QFileDialog::AcceptMode mode);

    void Select(int eeprom);
    void ShowImage();
    void ShowHeader();
    void ShowProfile(int number);
    void ShowNoProfile(const profile::Fields &sample);
    void FreeSlider();
    void ShowFields(const QByteArray &name, const profile::Fields &fields);
    QByteArray ScreenText() const;
    void StoreScreen();
    void Keep();
    bool HeaderEdited() const;
    bool ProfileEdited() const;
    bool Edited() const;
    void ShowEdits();
    void SetTransferring(bool transferring);
    void EnableEntries();

    Ui::Exteepr ui_;
    Codebas &link_;
    SliderBox *profile_ = nullptr;  ///< beside the slider
    QFileDialog *dialog_ = nullptr; ///< made when the window is loaded first
    std::array<QCheckBox *, 6> options_;
    std::vector<QWidget *> fields_; ///< all that shows a profile
    int chosen_ = 0;                ///< number of the profile on screen; 0: none, what is shown is a sample
    QByteArray shownName_;          ///< its name, likewise
    std::array<bool, 3> filled_{};  ///< by EEPROM: its table was read or came from a file
    QByteArray kept_;               ///< the battery types as the board or a file has them
    QLabel *edits_ = new QLabel(QStringLiteral("types modifiés"), this);
    Loss loss_;
    QPointer<QWidget> focus_; ///< had the focus when the transfer began
    bool transferring_ = false;
    bool writing_ = false; ///< what is transferred goes to the board
    Opening opening_;
};
