// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/newest.h"
#include "base/window.h"
#include "link/codebas.h"

#include <QLabel>
#include <QLineEdit>

/// What the calibration windows have in common: they show what the board has stored, take what a meter says and write
/// the difference to the board's EEPROMs.
class CalibrationWindow : public Window
{
    Q_OBJECT

protected:
    CalibrationWindow(const QString &name, Codebas &link);

    /// To be called once the controls are made: where Say speaks.
    void SetNote(QLabel *note) { note_ = note; }
    /// A word to the user on what becomes of the writes.
    void Say(const QString &text) { note_->setText(text); }

    void Load() override;
    void Failed(const Error &error) override;

    /// Shows the words that the board's EEPROMs hold for this window's quantity; asked after every write too.
    virtual void ShowStored() = 0;

    using Memory = quint8 (BoardEeproms::*)(quint8 address) const;
    void ShowWord(QLabel *label, Memory memory, quint8 address);
    void ShowByte(QLabel *label, Memory memory, quint8 address);

    /// While the user types what a meter shows, in hundredths of a volt, for a count: shows the correction. Without a
    /// count nothing is shown; a text that is 0 is marked.
    static void ShowCorrection(QLineEdit *entry, int count, QLineEdit *correction);

    /// Writes a byte of an EEPROM with command 39 or 40; `answer` is what is waited for then.
    Task<void> WriteByte(quint8 command, quint8 address, quint8 value, Reply answer, std::function<bool()> wanted);

    Codebas &link_;
    Newest sets_; ///< presses of "SET": the writes of one are void once the next has begun, so that words never mix

private:
    QLabel *note_ = nullptr;
};
