// SPDX-License-Identifier: GPL-3.0-or-later
#include "meaning.h"

#include "link/command.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {
constexpr quint8 escape = 27;
constexpr quint8 greeting = 85;
constexpr quint8 greetingAgain = 170;
constexpr quint8 recordBegins = 10;
constexpr int recordLength = 30;
constexpr qint64 lost = 1'000'000; // µs: what has not come after that is not expected any more

int ByteAt(const QByteArray &bytes, qsizetype i)
{
    return static_cast<quint8>(bytes.at(i));
}
int WordAt(const QByteArray &bytes, qsizetype i)
{
    return ByteAt(bytes, i) * 256 + ByteAt(bytes, i + 1);
}

QString Numbers(const QByteArray &bytes)
{
    QStringList numbers;
    for (qsizetype i = 0; i < bytes.size(); ++i)
        numbers.append(QString::number(ByteAt(bytes, i)));
    return numbers.join(u' ');
}

// ---- what answers show; the last byte of a framed one says nothing

QString Word(const QByteArray &data)
{
    return QString::number(WordAt(data, 0));
}
QString Byte(const QByteArray &data)
{
    return QString::number(ByteAt(data, 0));
}
QString Done(const QByteArray &)
{
    return QStringLiteral("fait");
}
QString I2cState(const QByteArray &data)
{
    return Numbers(data.first(3)) +
           (data.at(2) == 6 ? QStringLiteral(" (esclave présent)") : QStringLiteral(" (esclave absent)"));
}
QString TimeOfDay(const QByteArray &data)
{
    return QStringLiteral("%1:%2:%3")
        .arg(ByteAt(data, 0), 2, 10, QLatin1Char('0'))
        .arg(ByteAt(data, 1), 2, 10, QLatin1Char('0'))
        .arg(ByteAt(data, 2), 2, 10, QLatin1Char('0'));
}
QString SwitchLines(const QByteArray &data)
{
    const int bits = ByteAt(data, 0);
    const auto line = [bits](int bit, const char *name) {
        return QString::fromLatin1(name) + ((bits & bit) != 0 ? QStringLiteral(" 0") : QStringLiteral(" 1"));
    };
    return QStringLiteral("%1 (%2, %3, %4)").arg(bits).arg(line(2, "15 ="), line(1, "16 ="), line(4, "17 ="));
}

using Shows = QString (*)(const QByteArray &);

/// A command of the board. `layout` has a letter for each number of the text: b a byte, w a word, n a byte counted from
/// one.
struct Known
{
    quint8 command;
    qsizetype parameters;
    std::optional<Reply> reply;
    Shows shows;
    const char *layout;
    const char *text;
};

const Known *Find(quint8 byte)
{
    static const Reply byteReply = Reply::Framed(1);
    static const Reply word = Reply::Framed(2);
    static const Reply taken = Reply::Acknowledge();
    static const Reply stored = Reply::Stored();
    static const std::array known = std::to_array<Known>({
        {command::Opening, 0, stored, Done, "", "ouverture"},
        {command::I2cStatus, 0, Reply::Framed(3), I2cState, "", "état du bus I2C"},
        {command::EndSession, 0, std::nullopt, nullptr, "", "fin de session"},
        {command::SystemTemperature, 0, word, Word, "", "voie 5 (température)"},
        {command::SupplyVoltage, 0, word, Word, "", "voie 6 (alimentation)"},
        {command::DoublerVoltage, 0, word, Word, "", "voie 7 (doubleur)"},
        {command::InverterState, 0, word, Word, "", "voie 8 (onduleur)"},
        {command::BatteryTemperature, 0, word, Word, "", "voie 9 (température de la batterie)"},
        {command::ChargeCurrent, 0, word, Word, "", "voie 10 (courant de charge)"},
        {command::DischargeCurrent, 0, word, Word, "", "voie 11 (courant de décharge)"},
        {command::DeltaVoltage, 0, word, Word, "", "voie 12 (delta)"},
        {command::BatteryVoltage, 0, word, Word, "", "voie 13 (batterie)"},
        {command::CutCharge, 1, taken, Done, "b", "15 (charge) = %1"},
        {command::CutDischarge, 1, taken, Done, "b", "16 (décharge) = %1"},
        {command::CutPower, 1, taken, Done, "b", "17 (alimentation) = %1"},
        {command::GroundBattery, 1, taken, Done, "b", "18 (masse de la batterie) = %1"},
        {command::ChargeSetting, 1, taken, Done, "b", "19 (courant de charge) = %1"},
        {command::DischargeSetting, 1, taken, Done, "b", "20 (courant de décharge) = %1"},
        {command::DeltaOffset, 1, taken, Done, "b", "21 (décalage du delta) = %1"},
        {command::DeltaGain, 1, taken, Done, "b", "22 (gain du delta) = %1"},
        {command::Led, 1, taken, Done, "b", "23 (voyant) = %1"},
        {command::Beep, 1, taken, Done, "b", "24 (signal) = %1"},
        {command::Fan, 1, taken, Done, "b", "25 (ventilateur) = %1"},
        {command::SixthButtonPort, 0, byteReply, Byte, "", "port 26 (sixième bouton)"},
        {command::OutputPort, 0, byteReply, Byte, "", "port 28 (sorties)"},
        {command::SwitchPort, 0, byteReply, SwitchLines, "", "port 31 (lignes)"},
        {command::ReadMasterEeprom, 1, byteReply, Byte, "b", "EEPROM du maître, %1"},
        {command::ReadSlaveEeprom, 1, byteReply, Byte, "b", "EEPROM de l'esclave, %1"},
        {command::WriteMasterEeprom, 2, stored, Done, "bb", "EEPROM du maître, %1 = %2"},
        {command::WriteSlaveEeprom, 2, stored, Done, "bb", "EEPROM de l'esclave, %1 = %2"},
        {command::Clock, 0, Reply::Framed(3), TimeOfDay, "", "horloge"},
        {command::BeginPhase, 3, taken, Done, "bbb", "début de phase, horloge = %1 %2 %3"},
        {command::ReadMasterFlash, 2, word, Word, "w", "flash du maître, mot %1"},
        {command::ReadSlaveFlash, 2, word, Word, "w", "flash de l'esclave, mot %1"},
        {command::WriteMasterFlash, 66, stored, Done, "w", "flash du maître, 64 octets à partir de %1"},
        {command::WriteSlaveFlash, 4, stored, Done, "ww", "flash de l'esclave, mot %1 = %2"},
        {command::ReadExternalEeprom, 3, byteReply, Byte, "nw", "EEPROM externe %1, %2"},
        {command::WriteExternalEeprom, 4, stored, Done, "nwb", "EEPROM externe %1, %2 = %3"},
        {command::Booster, 1, taken, Done, "b", "51 (doubleur coupé) = %1"},
    });
    const auto *found = std::ranges::find(known, byte, &Known::command);
    return found == known.end() ? nullptr : found;
}

const Known boosterWithSettings{
    command::Booster, 4, Reply::Acknowledge(), Done, "bbw", "51 (doubleur coupé) = %1, fréquence %2, largeur %3"};

QString TextOf(const Known &known, const QByteArray &request)
{
    QString text = QString::fromUtf8(known.text);
    qsizetype at = 2;
    for (const char *letter = known.layout; *letter != 0; ++letter) {
        const bool word = *letter == 'w';
        text = text.arg((word ? WordAt(request, at) : ByteAt(request, at)) + (*letter == 'n' ? 1 : 0));
        at += word ? 2 : 1;
    }
    return text;
}

constexpr auto separator = ", ";
} // namespace

// ---- the program's bytes

QString Meaning::Sent(qint64 microseconds, const QByteArray &bytes)
{
    const QStringList unanswered = DropLost(microseconds);
    QStringList texts;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<quint8>(bytes.at(i));
        QString text;
        if (request_.isEmpty()) {
            text = Begin(byte, microseconds);
        } else {
            request_.append(static_cast<char>(byte));
            if (request_.size() == 2) {
                const Known *const known = Find(byte);
                const bool settings = byte == command::Booster && bytes.size() - i > 4; // boards that have a booster
                wanted_ = static_cast<int>(2 + (settings ? boosterWithSettings.parameters
                                                : known  ? known->parameters
                                                         : 0));
            }
            if (request_.size() == wanted_)
                text = Do(microseconds);
        }
        if (!text.isEmpty())
            texts.append(text);
    }
    if (!request_.isEmpty())
        texts.append(QStringLiteral("…"));
    if (!unanswered.isEmpty())
        texts.append(QStringLiteral("sans réponse : ") + unanswered.join(QLatin1String(separator)));
    return texts.join(QLatin1String(separator));
}

/// A byte between two requests.
QString Meaning::Begin(quint8 byte, qint64 microseconds)
{
    const auto greet = [&](const QString &text, quint8 expected, const QString &answer) {
        const auto shows = [expected, answer](const QByteArray &data) {
            return ByteAt(data, 0) == expected ? answer : QStringLiteral("inattendu");
        };
        owed_.push_back({{}, Reply::Acknowledge(), shows, microseconds, true});
        return text;
    };
    switch (byte) {
    case escape:
        request_.append(static_cast<char>(byte));
        wanted_ = 0;
        return {};
    case greeting:
        streaming_ = false;
        record_.clear();
        return greet(QStringLiteral("appel"), escape, QStringLiteral("la carte répond"));
    case greetingAgain:
        return greet(QStringLiteral("second appel"), greeting, QStringLiteral("session ouverte"));
    default:
        return QStringLiteral("inconnu");
    }
}

/// The request is complete.
QString Meaning::Do(qint64 microseconds)
{
    const QByteArray request = std::exchange(request_, {});
    const auto byte = static_cast<quint8>(request.at(1));
    const Known *const known = request.size() == 2 + boosterWithSettings.parameters && byte == command::Booster
                                   ? &boosterWithSettings
                                   : Find(byte);
    if (!known)
        return QStringLiteral("commande %1 inconnue").arg(byte);
    const QString text = TextOf(*known, request);
    if (known->reply)
        owed_.push_back({text, *known->reply, known->shows, microseconds, !known->reply->until});
    else
        streaming_ = true;
    return text;
}

/// What is owed for so long that it was lost; nobody tells of greetings.
QStringList Meaning::DropLost(qint64 microseconds)
{
    QStringList texts;
    while (!owed_.empty() && microseconds - owed_.front().sent > lost && microseconds - heard_ > lost) {
        if (!owed_.front().what.isEmpty())
            texts.append(owed_.front().what);
        owed_.pop_front();
    }
    return texts;
}

// ---- the board's bytes

QString Meaning::Received(qint64 microseconds, const QByteArray &bytes)
{
    heard_ = microseconds;
    QStringList texts;
    for (const char each : bytes) {
        const auto byte = static_cast<quint8>(each);
        const QString text = streaming_ && owed_.empty() ? Record(byte) : Answer(byte);
        if (!text.isEmpty() && (texts.isEmpty() || texts.constLast() != text))
            texts.append(text);
    }
    const bool begun =
        !record_.isEmpty() ||
        (!owed_.empty() && (!owed_.front().data.isEmpty() || (owed_.front().reply.until && owed_.front().framed)));
    if (begun)
        texts.append(QStringLiteral("…"));
    return texts.join(QLatin1String(separator));
}

/// What the answer shows that this byte completes.
QString Meaning::Answer(quint8 byte)
{
    if (owed_.empty())
        return QStringLiteral("inattendu");
    Owed &owed = owed_.front();
    if (!owed.framed) {
        owed.framed = byte == owed.reply.until;
        if (!owed.framed)
            return QStringLiteral("inattendu");
    } else {
        owed.data.append(static_cast<char>(byte));
    }
    if (owed.data.size() < owed.reply.length)
        return {};
    const QString text = owed.shows(owed.data);
    owed_.pop_front();
    return text;
}

/// What the board sends by itself.
QString Meaning::Record(quint8 byte)
{
    if (record_.isEmpty() && byte != recordBegins)
        return QStringLiteral("inattendu");
    record_.append(static_cast<char>(byte));
    if (record_.size() < recordLength)
        return {};
    const QByteArray record = std::exchange(record_, {});
    return QStringLiteral("enregistrement %1, %2").arg(WordAt(record, 2)).arg(TimeOfDay(record.sliced(4)));
}

void Meaning::Cut()
{
    owed_.clear();
    request_.clear();
    record_.clear();
}
