// SPDX-License-Identifier: GPL-3.0-or-later
#include "replay_script.h"

#include "numbers.h"
#include "parameters.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace Board {

namespace {

constexpr std::uint8_t escape = 27;
constexpr std::string_view arrows[] = {"\u2192", "\u2190"}; // what follows is the meaning

/// The words of a line, one after the other.
class Words
{
public:
    explicit Words(std::string_view line) : rest_(line) {}

    /// Empty at the end.
    std::string_view Next()
    {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
        const std::string_view word = rest_.substr(0, rest_.find(' '));
        rest_.remove_prefix(word.size());
        return word;
    }

private:
    std::string_view rest_;
};

template <typename T>
T NumberOf(std::string_view word, T most, const std::string &what)
{
    const auto number = ParseNumber<T>(word);
    if (!number || *number < 0 || *number > most)
        throw std::runtime_error(what + " « " + std::string(word.substr(0, 20)) + " »");
    return *number;
}

/// Reads line after line.
class Reader
{
public:
    explicit Reader(bool booster) : splitter_(booster) {}

    void Take(int number, std::string_view line)
    {
        if (line.starts_with('#'))
            return;
        Words words(line);
        const double seconds = static_cast<double>(NumberOf<long long>(words.Next(), INT64_MAX, "temps")) / 1e6;
        if (seconds < std::exchange(before_, seconds))
            throw std::runtime_error("le temps recule");
        const std::string_view direction = words.Next();
        if (direction == "=")
            return;
        if (direction != ">" && direction != "<")
            throw std::runtime_error("sens « " + std::string(direction.substr(0, 20)) + " »");
        std::string_view word = words.Next();
        if (word.empty())
            throw std::runtime_error("il manque les octets");
        for (; !word.empty() && word != arrows[0] && word != arrows[1]; word = words.Next())
            TakeByte(direction == ">", static_cast<std::uint8_t>(NumberOf<int>(word, 255, "octet")), number, seconds);
    }

    ReplayScript script;

private:
    void TakeByte(bool sent, std::uint8_t byte, int number, double seconds)
    {
        if (!sent) {
            if (!script.steps.empty())
                script.steps.back().answer.push_back({byte, seconds - asked_});
            return;
        }
        if (auto request = splitter_.Take(byte)) {
            script.steps.push_back({std::move(*request), number});
            asked_ = seconds;
        }
    }

    RequestSplitter splitter_;
    double before_ = 0;
    double asked_ = 0;
};

} // namespace

std::optional<Bytes> RequestSplitter::Take(std::uint8_t byte)
{
    begun_.push_back(byte);
    if (begun_.front() == escape) {
        if (begun_.size() == 2 && byte == escape) {
            begun_.pop_back(); // still the beginning of one
            return std::nullopt;
        }
        if (begun_.size() < 2 || begun_.size() < 2 + ParameterCount(begun_[1], booster_))
            return std::nullopt;
    }
    return std::exchange(begun_, {});
}

ReplayScript ReplayScript::Read(const std::string &path, bool booster)
{
    std::ifstream file(path);
    if (!file)
        throw std::system_error(errno, std::generic_category(), path);
    Reader reader(booster);
    std::string line;
    for (int number = 1; std::getline(file, line) && !file.eof();
         ++number) { // one without an end is still being written
        if (line.ends_with('\r'))
            line.pop_back();
        try {
            reader.Take(number, line);
        } catch (const std::runtime_error &error) {
            throw std::runtime_error(path + ", ligne " + std::to_string(number) + " : " + error.what());
        }
    }
    if (file.bad())
        throw std::system_error(errno, std::generic_category(), path);
    if (reader.script.steps.empty())
        throw std::runtime_error(path + " : aucune demande à la carte dans cette trace");
    return std::move(reader.script);
}

} // namespace Board
