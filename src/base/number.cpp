// SPDX-License-Identifier: GPL-3.0-or-later
#include "number.h"

#include "errors.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace number {
QString Plain(double value)
{
    return QString::number(value == 0 ? 0.0 : value, 'G', 15); // no negative zero
}

QString Str(double value)
{
    const QString text = Plain(value);
    return text.startsWith(u'-') ? text : u' ' + text;
}

QString FileText(double value)
{
    return Str(value).replace(u'.', QLocale().decimalPoint()) + u' ';
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
        throw Overflow(where);
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
