// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Ends the program, which a fuzzer takes for a find, unless the condition holds.
inline void Check(bool condition)
{
    if (!condition)
        std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
