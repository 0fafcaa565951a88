// SPDX-License-Identifier: GPL-3.0-or-later
// EEPROM image files: what is read is at most an image, the same bytes written and read again are the same, and neither
// what follows the first wrong field nor what follows the image matters.

#include "check.h"
#include "memory/esvfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QByteArray image = esvfile::Read(text);
    Check(image.size() <= esvfile::imageSize);
    const QByteArray written = esvfile::Write(image);
    Check(esvfile::Read(written) == image);
    Check(esvfile::Read(written + "x," + text) == image);
    const QByteArray any = text.first(qMin(text.size(), qsizetype(esvfile::imageSize))); // as bytes of an image
    Check(esvfile::Read(esvfile::Write(any)) == any);
    return 0;
}
