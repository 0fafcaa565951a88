// SPDX-License-Identifier: GPL-3.0-or-later
#include "esvfile.h"

#include <algorithm>

namespace esvfile {
namespace {
/// The field up to the next comma or line end; takes it and its separator off the rest.
QByteArrayView TakeField(QByteArrayView &rest)
{
    const auto end = std::ranges::find_if(rest, [](char c) { return c == ',' || c == '\n' || c == '\r'; });
    const QByteArrayView field = rest.first(end - rest.begin());
    rest = rest.sliced(field.size());
    rest = rest.sliced(rest.startsWith("\r\n") ? 2 : std::min<qsizetype>(1, rest.size()));
    return field.trimmed();
}

/// Its value; more than 255 for what is no number of 0 to 255.
int ValueOf(QByteArrayView field)
{
    constexpr int none = 256;
    int value = field.isEmpty() ? none : 0;
    for (const char digit : field)
        value = digit < '0' || digit > '9' ? none : std::min(none, 10 * value + (digit - '0'));
    return value;
}
} // namespace

QByteArray Write(QByteArrayView image)
{
    QByteArray text;
    for (const char byte : image)
        text += ' ' + QByteArray::number(static_cast<quint8>(byte)) + " \r\n";
    return text;
}

QByteArray Read(QByteArrayView text)
{
    QByteArray image;
    while (image.size() < imageSize && !text.isEmpty()) {
        const int value = ValueOf(TakeField(text));
        if (value > 255)
            break;
        image.append(static_cast<char>(value));
    }
    return image;
}
} // namespace esvfile
