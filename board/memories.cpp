// SPDX-License-Identifier: GPL-3.0-or-later
#include "memories.h"

namespace Board {

std::uint8_t Memories::External(std::size_t chip, std::size_t address) const
{
    return chip < externalCount && address < externalSize ? content_.external[chip][address] : std::uint8_t{0xFF};
}

std::uint16_t Memories::MasterFlashWord(std::size_t word) const
{
    if (word >= masterFlashSize / 2)
        return 0xFFFF;
    return static_cast<std::uint16_t>(content_.masterFlash[2 * word] | content_.masterFlash[2 * word + 1] << 8);
}

std::uint16_t Memories::SlaveFlashWord(std::size_t word) const
{
    return word < slaveFlashSize ? content_.slaveFlash[word] : erasedWord;
}

void Memories::WriteMaster(std::uint8_t address, std::uint8_t value)
{
    content_.master[address] = value;
    ++writes_;
}

void Memories::WriteSlave(std::uint8_t address, std::uint8_t value)
{
    content_.slave[address] = value;
    ++writes_;
}

void Memories::WriteExternal(std::size_t chip, std::size_t address, std::uint8_t value)
{
    if (chip >= externalCount || address >= externalSize)
        return;
    content_.external[chip][address] = value;
    ++writes_;
}

void Memories::WriteMasterFlash(std::size_t address, const std::array<std::uint8_t, flashBlock> &block)
{
    for (const std::uint8_t value : block) {
        if (address >= loaderSize && address < masterFlashSize)
            content_.masterFlash[address] = value;
        ++address;
    }
    ++writes_;
}

void Memories::WriteSlaveFlash(std::size_t word, std::uint16_t value)
{
    if (word >= slaveFlashSize)
        return;
    content_.slaveFlash[word] = value & erasedWord;
    ++writes_;
}

} // namespace Board
