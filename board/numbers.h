// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace Board {

/// The number that makes up the whole text, or nothing.
template <typename T>
std::optional<T> ParseNumber(std::string_view text)
{
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace Board
