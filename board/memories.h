// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "battery.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Board {

/// Everything that the board keeps without power. Reads outside a memory give what an erased cell gives, writes
/// outside are lost. Every write that is made counts in Writes(), so that whoever keeps a copy knows when it is old.
class Memories
{
public:
    static constexpr std::size_t onChipSize = 256;
    static constexpr std::size_t externalSize = 4096;
    static constexpr std::size_t externalCount = 2;
    static constexpr std::size_t masterFlashSize = 32768; ///< bytes
    static constexpr std::size_t slaveFlashSize = 8192;   ///< words of 14 bits
    static constexpr std::size_t loaderSize = 4096;       ///< bytes of the master's flash that protect themselves
    static constexpr std::size_t flashBlock = 64;
    static constexpr std::uint16_t erasedWord = 0x3FFF;

    struct Content
    {
        std::array<std::uint8_t, onChipSize> master;
        std::array<std::uint8_t, onChipSize> slave;
        std::array<std::array<std::uint8_t, externalSize>, externalCount> external;
        std::array<std::uint8_t, masterFlashSize> masterFlash;
        std::array<std::uint16_t, slaveFlashSize> slaveFlash;

        bool operator==(const Content &) const = default;
    };

    explicit Memories(const Content &content) : content_(content) {}

    std::uint8_t Master(std::uint8_t address) const { return content_.master[address]; }
    std::uint8_t Slave(std::uint8_t address) const { return content_.slave[address]; }
    std::uint8_t External(std::size_t chip, std::size_t address) const;
    std::uint16_t MasterFlashWord(std::size_t word) const; ///< byte 2 * word is the low half
    std::uint16_t SlaveFlashWord(std::size_t word) const;

    void WriteMaster(std::uint8_t address, std::uint8_t value);
    void WriteSlave(std::uint8_t address, std::uint8_t value);
    void WriteExternal(std::size_t chip, std::size_t address, std::uint8_t value);
    void WriteMasterFlash(std::size_t address, const std::array<std::uint8_t, flashBlock> &block);
    void WriteSlaveFlash(std::size_t word, std::uint16_t value);

    const Content &Image() const { return content_; }
    unsigned long Writes() const { return writes_; }

private:
    Content content_;
    unsigned long writes_ = 0;
};

/// The charge current, in register steps, that the board starts with for a pack: 1 C, as far as the hardware goes.
std::uint8_t BirthChargeSetting(double capacityAmpHours);
/// The same for a discharge: half of 1 C.
std::uint8_t BirthDischargeSetting(double capacityAmpHours);

/// What the memories hold when the board leaves the workshop.
Memories::Content BirthContent(const PackOptions &pack);

} // namespace Board
