// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "memory/micro.h"
#include "support/boxes.h"
#include "support/linkfixture.h"

#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QtTest>

#include <array>

/// A board with all its memories, one that can be told to hold back its answers.
struct MemoryBench : LinkFixture
{
    MemoryBench()
    {
        board.Healthy();
        for (const int command : {39, 40})
            board.On(static_cast<quint8>(command), 2, [this, command](const QByteArray &p) {
                (command == 39 ? board.master : board.slave)[Byte(p, 0)] = static_cast<quint8>(Byte(p, 1));
                return Bytes({6});
            });
        board.On(46, 2, [this](const QByteArray &p) {
            const int address = Byte(p, 0) * 256 + Byte(p, 1);
            const int word = address < 8192 ? slaveFlash[static_cast<size_t>(address)] : 16383;
            return Bytes({27, word / 256, word % 256, 0});
        });
        board.On(47, 66, [this](const QByteArray &) { return holdBack ? QByteArray() : Bytes({6}); });
        board.On(48, 4, [this](const QByteArray &p) {
            if (holdBack)
                return QByteArray();
            const auto address = static_cast<size_t>(Byte(p, 0) * 256 + Byte(p, 1));
            if (address != brokenWord)
                slaveFlash[address] = Byte(p, 2) * 256 + Byte(p, 3);
            return Bytes({1, 2, 6}); // what comes before the 6 says nothing
        });
        slaveFlash.fill(16383);
        link.OpenPort();
    }

    static int Byte(const QByteArray &bytes, qsizetype i) { return static_cast<quint8>(bytes[i]); }

    std::array<int, 8192> slaveFlash;
    size_t brokenWord = 8192; ///< does not take what is written
    bool holdBack = false;    ///< flash writes are not acknowledged
};

/// The file dialog of a window while it is open.
inline QFileDialog *OpenDialog(QWidget &window)
{
    auto *dialog = window.findChild<QFileDialog *>(QStringLiteral("CommonDialog1"));
    return dialog && dialog->isVisible() ? dialog : nullptr;
}

inline void ChooseIn(QFileDialog *dialog, const QString &path)
{
    dialog->selectFile(path);
    static_cast<QDialog *>(dialog)->accept();
}

/// The question that is open, nullptr when there is none or more than one.
inline QMessageBox *OpenQuestion()
{
    const QList<QMessageBox *> boxes = OpenBoxes();
    return boxes.size() == 1 ? boxes.constFirst() : nullptr;
}

inline QByteArray Repeat(int count, const std::function<QByteArray(int)> &part)
{
    QByteArray whole;
    for (int i = 0; i < count; ++i)
        whole += part(i);
    return whole;
}
