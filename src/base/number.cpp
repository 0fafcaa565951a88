// SPDX-License-Identifier: GPL-3.0-or-later
#include "number.h"

#include "errors.h"

#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

namespace number {
namespace {
QString Shortest(double value)
{
    return QString::number(value == 0 ? 0.0 : value, 'G', 15); // no negative zero
}

QString Signed(const QString &text)
{
    return text.startsWith(u'-') ? text : u' ' + text;
}

QString ForFile(const QString &text)
{
    return Signed(text).replace(u'.', QLocale().decimalPoint()) + u' ';
}
} // namespace

QString Plain(double value)
{
    QString text = Shortest(value);
    const auto exponent = text.indexOf(u'E');
    if (exponent < 0)
        return text;
    const auto digits = std::ranges::count_if(text.left(exponent), [](QChar mark) { return mark.isDigit(); });
    return QString::number(value, 'f', std::max(0, int(digits) - 1 - text.mid(exponent + 1).toInt()));
}

QString Str(double value)
{
    return Signed(Plain(value));
}

QString FileText(double value)
{
    return ForFile(Plain(value));
}

QString ShortestFileText(double value)
{
    return ForFile(Shortest(value));
}

double Val(const QString &text)
{
    static const QRegularExpression leading(QStringLiteral("^[+-]?(\\d+\\.?\\d*|\\.\\d+)([EeDd][+-]?\\d+)?"));
    QString compact = text;
    compact.remove(QRegularExpression(QStringLiteral("[ \\t\\n]")));
    QString found = leading.match(compact).captured();
    found.replace(u'D', u'E').replace(u'd', u'E');
    return found.toDouble(); // 0 for an empty text
}

double Int(double value)
{
    return std::floor(value);
}

namespace {
template <class Whole>
Whole Checked(double value, const QString &where)
{
    const double rounded = std::nearbyint(value);
    if (!(rounded >= std::numeric_limits<Whole>::min() && rounded <= std::numeric_limits<Whole>::max()))
        throw Overflow(where, QStringLiteral("Il faut un nombre de %1 à %2.")
                                  .arg(int(std::numeric_limits<Whole>::min()))
                                  .arg(int(std::numeric_limits<Whole>::max())));
    return static_cast<Whole>(rounded);
}
} // namespace

quint8 ToByte(double value, const QString &where)
{
    return Checked<quint8>(value, where);
}

qint16 ToInt16(double value, const QString &where)
{
    return Checked<qint16>(value, where);
}

double Divide(double dividend, double divisor, const QString &where)
{
    if (divisor == 0)
        throw DivisionByZero(where);
    return dividend / divisor;
}
} // namespace number
