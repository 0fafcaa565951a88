// SPDX-License-Identifier: GPL-3.0-or-later
// The reader of the slave's HEX files against one that reads line by line: they agree on what is refused and on every
// word of the rest.

#include "check.h"
#include "memory/hexfile.h"
#include "memory/literalhex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray file(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto expected = literalhex::Slave(file);
    try {
        const hexfile::SlaveFile read = hexfile::ReadHexSlave(file);
        Check(expected.has_value());
        Check(read.lastAddress == expected->lastAddress);
        Check(literalhex::Matches(read.words, *expected, hexfile::erasedWord));
    } catch (const Error &) {
        Check(!expected);
    }
    return 0;
}
