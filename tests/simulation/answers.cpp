// SPDX-License-Identifier: GPL-3.0-or-later
#include "answers.h"

QByteArray Bytes(std::initializer_list<int> numbers)
{
    QByteArray bytes;
    for (const int number : numbers)
        bytes.append(static_cast<char>(number));
    return bytes;
}

void Answers::On(quint8 command, int parameters, Answer answer)
{
    rules_[command] = {parameters, std::move(answer)};
}

void Answers::Take(const QByteArray &bytes)
{
    received_ += bytes;
    if (silent_)
        return;
    pending_ += bytes;
    Parse();
}

void Answers::ReplyIfAny(const QByteArray &bytes)
{
    if (!bytes.isEmpty())
        Reply(bytes);
}

void Answers::Parse()
{
    while (!pending_.isEmpty()) {
        const auto first = static_cast<quint8>(pending_[0]);
        if (first != 27) {
            pending_.remove(0, 1);
            if (greet && (first == 85 || first == 170))
                ReplyIfAny(greet(first));
            continue;
        }
        if (pending_.size() < 2)
            return;
        const auto rule = rules_.find(static_cast<quint8>(pending_[1]));
        if (rule == rules_.end()) {
            pending_.remove(0, 2);
            continue;
        }
        const int length = 2 + rule->second.parameters;
        if (pending_.size() < length)
            return;
        const QByteArray parameters = pending_.mid(2, rule->second.parameters);
        pending_.remove(0, length);
        const Answer answer = rule->second.answer; // which may change the rule
        ReplyIfAny(answer(parameters));
    }
}

void Answers::Healthy()
{
    greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : Bytes({85}); };
    On(1, 0, [this](const QByteArray &) { return Bytes({27, i2c[0], i2c[1], i2c[2], 0}); });
    On(37, 1, [this](const QByteArray &p) { return Bytes({27, master[static_cast<quint8>(p[0])], 0}); });
    On(38, 1, [this](const QByteArray &p) { return Bytes({27, slave[static_cast<quint8>(p[0])], 0}); });
    On(41, 0, [this](const QByteArray &) { return Bytes({27, hours, minutes, seconds, 0}); });
    for (int number = 5; number <= 13; ++number)
        On(static_cast<quint8>(number), 0,
           [this, number](const QByteArray &) { return Bytes({27, channel[number] / 256, channel[number] % 256, 0}); });
    for (const int line : {15, 16, 17, 18})
        On(static_cast<quint8>(line), 1, [this, line](const QByteArray &value) {
            lines[line] = value[0];
            return Bytes({6});
        });
    On(31, 0, [this](const QByteArray &) { // a bit is set while its line is cut
        return Bytes({27, (lines[16] ? 0 : 1) | (lines[15] ? 0 : 2) | (lines[17] ? 0 : 4), 0});
    });
    for (const int reg : {19, 20, 21, 22, 23, 24, 25, 51})
        On(static_cast<quint8>(reg), 1, [](const QByteArray &) { return Bytes({6}); });
    On(42, 3, [](const QByteArray &) { return Bytes({6}); });
}
