// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory_file.h"

#include "files.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace Board {

namespace {

// The mark, then every memory in the order of Memories::Content, slave words high byte first, then a checksum.
constexpr std::string_view mark = "virtual-board memory 1\n";
constexpr std::size_t contentSize = 2 * Memories::onChipSize + Memories::externalCount * Memories::externalSize +
                                    Memories::masterFlashSize + 2 * Memories::slaveFlashSize;
constexpr std::size_t checksumSize = 8;

/// FNV-1a, 64 bits (draft-eastlake-fnv).
std::uint64_t Checksum(std::string_view text)
{
    std::uint64_t sum = 0xCBF29CE484222325u;
    for (const char character : text)
        sum = (sum ^ static_cast<std::uint8_t>(character)) * 0x100000001B3u;
    return sum;
}

template <std::size_t N>
void Put(std::string &text, const std::array<std::uint8_t, N> &memory)
{
    text.append(memory.begin(), memory.end());
}

template <std::size_t N>
void Get(std::string_view &text, std::array<std::uint8_t, N> &memory)
{
    for (std::uint8_t &value : memory) {
        value = static_cast<std::uint8_t>(text.front());
        text.remove_prefix(1);
    }
}

std::string ChecksumText(std::string_view text)
{
    const std::uint64_t sum = Checksum(text);
    std::string bytes;
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(sum >> shift & 0xFF));
    return bytes;
}

} // namespace

std::optional<Memories::Content> LoadMemories(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        if (errno == ENOENT)
            return std::nullopt;
        throw std::runtime_error(path + " : lecture impossible");
    }
    const std::string whole{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::string_view text = whole;
    if (text.size() != mark.size() + contentSize + checksumSize || !text.starts_with(mark))
        throw std::runtime_error(path + " : ce n'est pas un fichier de mémoires");
    const std::string_view sum = text.substr(text.size() - checksumSize);
    text.remove_suffix(checksumSize);
    if (sum != ChecksumText(text))
        throw std::runtime_error(path + " : fichier de mémoires abîmé");
    text.remove_prefix(mark.size());

    Memories::Content content;
    Get(text, content.master);
    Get(text, content.slave);
    for (auto &memory : content.external)
        Get(text, memory);
    Get(text, content.masterFlash);
    for (std::uint16_t &word : content.slaveFlash) {
        std::array<std::uint8_t, 2> halves;
        Get(text, halves);
        word = static_cast<std::uint16_t>((halves[0] << 8 | halves[1]) & Memories::erasedWord);
    }
    return content;
}

Memories::Content RememberedContent(const std::string &path, const PackOptions &pack)
{
    const auto content = path.empty() ? std::nullopt : LoadMemories(path);
    return content ? *content : BirthContent(pack);
}

void SaveMemories(const std::string &path, const Memories::Content &content)
{
    std::string text(mark);
    text.reserve(mark.size() + contentSize + checksumSize);
    Put(text, content.master);
    Put(text, content.slave);
    for (const auto &memory : content.external)
        Put(text, memory);
    Put(text, content.masterFlash);
    for (const std::uint16_t word : content.slaveFlash) {
        text.push_back(static_cast<char>(word >> 8));
        text.push_back(static_cast<char>(word & 0xFF));
    }
    text += ChecksumText(text);
    ReplaceFile(path, text);
}

} // namespace Board
