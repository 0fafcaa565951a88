// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

#include <initializer_list>

/// A record as the board sends it, with its line feed. Words are split high byte first here, not by the program's code.
struct Record
{
    int prompt = '>';
    int sample = 1;
    int hours = 1, minutes = 2, seconds = 3;
    int unused = 7;
    int vbat = 500;
    int cour = 1000;
    int temper = 251;
    int vdelta = 700;
    int resist = 40;
    int capacity = 123;
    int type = 2;
    int cdv = 3;
    int valim = 1365;
    int vdbl = 2304;
    int vmoy = 9;
    int maxidv = 11;

    QByteArray Bytes() const
    {
        QByteArray bytes;
        const auto byte = [&bytes](int value) { bytes.append(static_cast<char>(value)); };
        const auto words = [&](std::initializer_list<int> values) {
            for (const int value : values) {
                byte(value / 256);
                byte(value % 256);
            }
        };
        byte(10);
        byte(prompt);
        words({sample});
        byte(hours);
        byte(minutes);
        byte(seconds);
        byte(unused);
        words({vbat, cour, temper, vdelta, resist, capacity});
        byte(type);
        byte(cdv);
        words({valim, vdbl, vmoy, maxidv});
        return bytes;
    }
};
