// SPDX-License-Identifier: GPL-3.0-or-later
// One battery type: the block that an EEPROM holds and the text that is edited, against readings of their own.

#include "base/errors.h"
#include "check.h"
#include "memory/profile.h"

#include <QString>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace {
bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::string_view View(const QByteArray &bytes)
{
    return {bytes.constData(), static_cast<size_t>(bytes.size())};
}

/// A group of digits as a text has it: what follows leading blanks, with zeros in front.
std::string Group(std::string_view bytes)
{
    size_t begin = 0;
    while (begin < bytes.size() && bytes[begin] == ' ')
        ++begin;
    size_t end = begin;
    while (end < bytes.size() && IsDigit(bytes[end]))
        ++end;
    return std::string(bytes.size() - (end - begin), '0') + std::string(bytes.substr(begin, end - begin));
}

std::string TextOf(std::string_view block)
{
    const std::string flags = std::to_string(static_cast<unsigned char>(block[0]));
    return std::string(3 - flags.size(), '0') + flags + Group(block.substr(1, 1)) + Group(block.substr(2, 2)) +
           Group(block.substr(4, 3)) + Group(block.substr(7, 3)) + '0' + Group(block.substr(10, 1)) +
           Group(block.substr(11, 1)) + "00" + Group(block.substr(12, 1)) + Group(block.substr(13, 3));
}

enum class Refusal
{
    None,
    Foreign, ///< neither digit nor blank
    TooLarge
};

/// The 21 digits of a text that somebody has edited.
std::string Digits(std::string_view text)
{
    std::string digits(21, '0');
    for (size_t i = 0; i < digits.size() && i < text.size(); ++i)
        if (IsDigit(text[i]))
            digits[i] = text[i];
    return digits;
}

Refusal RefusalOf(std::string_view text)
{
    for (const char c : text.substr(0, 21))
        if (!IsDigit(c) && c != ' ')
            return Refusal::Foreign;
    return std::stoi(Digits(text).substr(0, 3)) > 255 ? Refusal::TooLarge : Refusal::None;
}

/// Which digit of the text stands where in the block, behind the flags.
constexpr std::array<size_t, 15> places = {3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 17, 18, 19, 20};

std::string BlockOf(std::string_view text)
{
    const std::string digits = Digits(text);
    std::string block(1, static_cast<char>(std::stoi(digits.substr(0, 3))));
    for (const size_t place : places)
        block += digits[place];
    return block;
}

/// The block of a text, if it is not refused for the reason that it should be.
std::optional<QByteArray> CheckedBlock(const QByteArray &text)
{
    static const QString where = QStringLiteral("profil 1");
    const Refusal expected = RefusalOf(View(text));
    try {
        const QByteArray block = profile::ParameterBlock(text, where);
        Check(expected == Refusal::None);
        Check(View(block) == BlockOf(View(text)));
        return block;
    } catch (const Overflow &error) {
        Check(expected == Refusal::TooLarge && error.Text().contains(where));
    } catch (const TypeMismatch &error) {
        Check(expected == Refusal::Foreign && error.Text().contains(where));
    }
    return std::nullopt;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));

    const QByteArray block = bytes.leftJustified(profile::recordLength - profile::nameLength, '\xFF', true);
    const QByteArray text = profile::ParameterText(block);
    Check(View(text) == TextOf(View(block)));
    const std::optional<QByteArray> again = CheckedBlock(text);
    Check(again && profile::ParameterText(*again) == text);

    CheckedBlock(bytes);
    Check(View(profile::Fields::Of(bytes).Text()) == Digits(View(bytes)));
    Check(profile::Padded(bytes) == (bytes + QByteArray(profile::nameLength, ' ')).first(profile::nameLength));
    return 0;
}
