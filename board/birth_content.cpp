// SPDX-License-Identifier: GPL-3.0-or-later
#include "gains.h"
#include "memories.h"
#include "random.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

namespace Board {

namespace {

constexpr std::size_t textAddress = 80;
constexpr std::size_t textSize = 32;
constexpr std::size_t externalRecord = 32;
constexpr std::size_t externalLine = 16;
constexpr std::size_t masterProgramEnd = 27200;
constexpr std::size_t slaveProgramEnd = 3100;
constexpr std::size_t slaveLoaderStart = 6144;

template <std::size_t N>
void PutText(std::array<std::uint8_t, N> &memory, std::size_t address, std::string_view text)
{
    for (const char character : text)
        memory[address++] = static_cast<std::uint8_t>(character);
}

void PutWord(std::array<std::uint8_t, Memories::onChipSize> &memory, std::size_t address, double value)
{
    const int word = static_cast<int>(value);
    memory[address] = static_cast<std::uint8_t>(word / 256);
    memory[address + 1] = static_cast<std::uint8_t>(word % 256);
}

std::array<std::uint8_t, Memories::onChipSize> MasterEeprom(const Gains &gains)
{
    std::array<std::uint8_t, Memories::onChipSize> memory;
    memory.fill(0xFF);
    std::fill_n(memory.begin(), 16, std::uint8_t{0});
    PutWord(memory, 0, gains.temperatureSlope);
    PutWord(memory, 2, gains.temperatureZero);
    memory[4] = 50; // degrees: fan on
    memory[5] = 90; // degrees: everything stops
    PutWord(memory, 6, gains.batteryTemperatureSlope);
    memory[8] = 55; // degrees: battery cut off
    PutWord(memory, 9, gains.supplyWord);
    PutWord(memory, 11, gains.doublerWord);
    memory[15] = 8; // modes to choose from
    std::fill_n(memory.begin() + textAddress, textSize, std::uint8_t{0});
    PutText(memory, textAddress, "CARTE VIRTUELLE - MAITRE  V1.0");
    return memory;
}

std::array<std::uint8_t, Memories::onChipSize> SlaveEeprom(const Gains &gains)
{
    std::array<std::uint8_t, Memories::onChipSize> memory;
    memory.fill(0xFF);
    std::fill_n(memory.begin(), 16, std::uint8_t{0});
    PutWord(memory, 0, gains.chargeWord);
    PutWord(memory, 2, gains.dischargeWord);
    memory[4] = static_cast<std::uint8_t>(gains.chargeScale);
    memory[5] = static_cast<std::uint8_t>(gains.dischargeScale);
    PutWord(memory, 6, gains.batteryWord);
    std::fill_n(memory.begin() + textAddress, textSize, std::uint8_t{0});
    PutText(memory, textAddress, "CARTE VIRTUELLE - ESCLAVE V1.0");
    return memory;
}

// EEPROM 1: the texts of the board's own display, one per line of 16 characters.
std::array<std::uint8_t, Memories::externalSize> DisplayTexts()
{
    static constexpr std::string_view known[] = {
        "Pret",          "Charge",          "Decharge",        "Arret",          "Charge Terminee", "Limite Decharge",
        "Surchauffe !!", "Pas de batterie", "Mesure capacite", "Choix batterie", "Courant charge",  "Courant dech.",
        "Ventilateur",   "Liaison PC",      "Reglages",        "Version 1.0",
    };
    std::array<std::uint8_t, Memories::externalSize> memory;
    memory.fill(' ');
    for (std::size_t line = 0; line < Memories::externalSize / externalLine; ++line) {
        if (line < std::size(known))
            PutText(memory, line * externalLine, known[line]);
        else
            PutText(memory, line * externalLine, "Message " + std::to_string(line));
    }
    return memory;
}

struct Profile
{
    std::string_view name; // at most 16 characters
    std::uint8_t flags;
    std::string_view parameters; // type, cells, charge, discharge (10 mA), hour, tens of minutes, cycles, volts (10 mV)
};

constexpr std::size_t profileDigits = 15;

// EEPROM 2: battery types. Three header digits (how many), then a record of 32 bytes per type: name, flags as a binary
// byte, and 15 digits.
std::array<std::uint8_t, Memories::externalSize> BatteryTypes()
{
    static constexpr Profile profiles[] = {
        {"AA NiMh 2000 x4", 0, "004200100131090"}, {"AA NiCd 800 x6", 2, "106080040131090"},
        {"NiMh 3300 x6", 16, "006330330131090"},   {"LiPo 2200 3S", 0, "203220220201000"},
        {"LiPo 1000 2S", 4, "202100100201000"},    {"Pack radio 8 NiMh", 32, "008150050131090"},
    };
    std::array<std::uint8_t, Memories::externalSize> memory;
    memory.fill(0xFF);
    PutText(memory, 0, "006");
    for (std::size_t slot = 0; (slot + 2) * externalRecord <= Memories::externalSize; ++slot) {
        const std::size_t address = (slot + 1) * externalRecord;
        const bool used = slot < std::size(profiles);
        const Profile profile = used ? profiles[slot] : Profile{"----------------", 0, ""};
        std::fill_n(memory.begin() + static_cast<std::ptrdiff_t>(address), externalLine, std::uint8_t{' '});
        PutText(memory, address, profile.name.substr(0, externalLine));
        memory[address + externalLine] = profile.flags;
        std::string digits(profile.parameters);
        digits.resize(profileDigits, '0');
        PutText(memory, address + externalLine + 1, digits);
    }
    return memory;
}

// There is no real firmware behind the flash: words that look like code where code would be, erased cells elsewhere.
std::array<std::uint8_t, Memories::masterFlashSize> MasterProgram()
{
    std::array<std::uint8_t, Memories::masterFlashSize> memory;
    memory.fill(0xFF);
    Random random(0x4D41u);
    for (std::size_t address = 0; address < 1200; ++address)
        memory[address] = static_cast<std::uint8_t>(random.Next());
    for (std::size_t address = Memories::loaderSize; address < masterProgramEnd; ++address)
        memory[address] = static_cast<std::uint8_t>(random.Next());
    PutText(memory, Memories::loaderSize + 16, "PROGRAMME MAITRE 1.0");
    return memory;
}

std::array<std::uint16_t, Memories::slaveFlashSize> SlaveProgram()
{
    std::array<std::uint16_t, Memories::slaveFlashSize> memory;
    memory.fill(Memories::erasedWord);
    Random random(0x534Cu);
    for (std::size_t word = 0; word < slaveProgramEnd; ++word)
        memory[word] = static_cast<std::uint16_t>(random.Next() & Memories::erasedWord);
    for (std::size_t word = slaveLoaderStart; word < slaveLoaderStart + 700; ++word)
        memory[word] = static_cast<std::uint16_t>(random.Next() & Memories::erasedWord);
    return memory;
}

std::uint8_t Setting(double amps, double scale)
{
    return static_cast<std::uint8_t>(std::clamp(std::round(amps * scale), 1.0, 255.0));
}

} // namespace

std::uint8_t BirthChargeSetting(double capacityAmpHours)
{
    return Setting(capacityAmpHours, BirthGains(Chemistry::NiMh, 1).chargeScale);
}

std::uint8_t BirthDischargeSetting(double capacityAmpHours)
{
    return Setting(capacityAmpHours / 2, BirthGains(Chemistry::NiMh, 1).dischargeScale);
}

Memories::Content BirthContent(const PackOptions &pack)
{
    const Gains gains = BirthGains(pack.chemistry, pack.cells);
    return {
        .master = MasterEeprom(gains),
        .slave = SlaveEeprom(gains),
        .external = {DisplayTexts(), BatteryTypes()},
        .masterFlash = MasterProgram(),
        .slaveFlash = SlaveProgram(),
    };
}

} // namespace Board
