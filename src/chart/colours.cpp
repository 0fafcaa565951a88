// SPDX-License-Identifier: GPL-3.0-or-later
#include "colours.h"

#include <algorithm>

namespace colours {
namespace {
struct Known
{
    const char *label;
    QColor colour;
};
constexpr Known usual[] = {{"V Batterie", QColor(31, 95, 191)},       {"VBat (carte)", QColor(31, 95, 191)},
                           {"Courant", QColor(192, 57, 43)},          {"Courant de charge", QColor(192, 57, 43)},
                           {"Courant (carte)", QColor(192, 57, 43)},  {"Courant de décharge", QColor(230, 126, 34)},
                           {"Température", QColor(125, 90, 20)},      {"Température (carte)", QColor(125, 90, 20)},
                           {"Capacité", QColor(34, 125, 80)},         {"Capacité chargée", QColor(34, 125, 80)},
                           {"Capacité (carte)", QColor(34, 125, 80)}, {"Capacité déchargée", QColor(90, 160, 40)}};
constexpr Known others[] = {{"V Delta", QColor(120, 60, 160)}}; // beside a charge's usual ones
constexpr QColor unusual[] = {QColor(120, 60, 160), QColor(0, 130, 150), QColor(170, 30, 110), QColor(90, 90, 90),
                              QColor(60, 60, 200),  QColor(140, 70, 50), QColor(0, 110, 60)};
} // namespace

QStringList Usual()
{
    QStringList labels;
    for (const Known &known : usual)
        labels.append(QString::fromUtf8(known.label));
    return labels;
}

QColor Of(const QString &quantity)
{
    const auto is = [&quantity](const Known &known) { return quantity == QString::fromUtf8(known.label); };
    if (const auto *const known = std::ranges::find_if(usual, is); known != std::end(usual))
        return known->colour;
    if (const auto *const known = std::ranges::find_if(others, is); known != std::end(others))
        return known->colour;
    size_t sum = 0;
    for (const QChar letter : quantity)
        sum += letter.unicode();
    return unusual[sum % std::size(unusual)];
}
} // namespace colours
