// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

#include <array>

class QString;

/// One battery type: the digits of its parameters and the record that the board keeps of it. Texts are Latin-1 bytes.
namespace profile {
constexpr int nameLength = 16;
constexpr int textLength = 21;   ///< digits of a parameter text
constexpr int recordLength = 32; ///< a name, then a parameter block of as many bytes

/// What each option counts in the flags number, in the order of the check boxes; 1 and 128 mean nothing.
constexpr std::array<int, 6> optionBits = {2, 4, 8, 16, 32, 64};

/// The fields of a parameter text, each with all its digits.
struct Fields
{
    QByteArray flags = "000";     ///< 0 to 255
    QByteArray type = "0";        ///< 0 NiMH, 2 lithium, else NiCd
    QByteArray cells = "00";      ///< in series
    QByteArray charge = "000";    ///< current in 10 mA
    QByteArray discharge = "000"; ///< current in 10 mA
    QByteArray hours = "00";      ///< duration
    QByteArray minutes = "00";
    QByteArray cycles = "00";
    QByteArray volts = "000"; ///< end of discharge in 10 mV; lithium: adjustment of the highest voltage

    /// Takes a parameter text apart; what is missing or is no digit counts as 0.
    static Fields Of(const QByteArray &text);

    /// The parameter text: 21 digits.
    QByteArray Text() const;
};

/// The 16 bytes that the board keeps of a parameter text. Throws Overflow for a number that does not fit its byte and
/// TypeMismatch for what is neither digit nor blank; `where` names the profile.
QByteArray ParameterBlock(const QByteArray &text, const QString &where);

/// A text cut or filled with blanks to the 16 characters that the board keeps.
QByteArray Padded(const QByteArray &text);

/// The parameter text of a block that was read. The block holds one digit each of the hours (ones), the minutes (tens)
/// and the cycles (ones); the others become 0.
QByteArray ParameterText(const QByteArray &block);
} // namespace profile
