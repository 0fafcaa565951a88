// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "memory/exteepr.h"
#include "support/boxes.h"
#include "support/linkfixture.h"

#include <QtTest>

/// The window of the external EEPROMs on a scripted board that has two of them.
struct ExteeprBench : LinkFixture
{
    ExteeprBench()
    {
        for (int address = 0; address < 4096; ++address) {
            chips[0].append(static_cast<char>(address * 7 + address / 16));
            chips[1].append(static_cast<char>(address * 5 + address / 32));
        }
        SetRecord(1, "AA NiMh 2000 x4 ", Bytes({0}) + "004200100131090");
        SetRecord(2, "LiPo 2200 3S    ", Bytes({126}) + "203220220201000");
        SetRecord(3, "NiCd erased flag", Bytes({255}) + "106080040131090");
        Answer();
        link.OpenPort();
        window.setUpdatesEnabled(false); // nobody looks: painting would take longer than all else
    }
    ~ExteeprBench() { AnswerBoxes(); }

    static int Address(const QByteArray &p) { return static_cast<quint8>(p[1]) * 256 + static_cast<quint8>(p[2]); }
    int Stored(const QByteArray &p) const
    {
        return static_cast<quint8>(chips[static_cast<quint8>(p[0])].at(Address(p)));
    }
    void SetRecord(int number, const QByteArray &name, const QByteArray &block)
    {
        chips[1].replace(number * 32, 32, name + block);
    }

    /// The board answers reads and writes.
    void Answer()
    {
        board.On(49, 3, [this](const QByteArray &p) { return ++reads, Bytes({27, Stored(p), 0}); });
        board.On(50, 4, [this](const QByteArray &p) {
            chips[static_cast<quint8>(p[0])][Address(p)] = p[3];
            return ++writes, Bytes({6});
        });
    }
    /// The board takes no notice of reads or writes.
    void Silence(int command)
    {
        board.On(static_cast<quint8>(command), command == 49 ? 3 : 4, [](auto) { return ""; });
    }

    /// Opens the window and reads an EEPROM to its end.
    void OpenAndRead(int eeprom)
    {
        window.Open();
        Option(eeprom)->click();
        QVERIFY(Finished());
        QVERIFY(eeprom == 1 ? window.Eeprom1Loaded : window.Eeprom2Loaded);
    }
    /// A transfer comes to its end.
    bool Finished()
    {
        return clock.RunUntil([this, bar = Bar()] { return bar->isHidden() && link.line.Idle(); });
    }

    /// Answers the file dialog that is open.
    void Choose(const QString &path)
    {
        QVERIFY(Dialog()->isVisible());
        Dialog()->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
        static_cast<QDialog *>(Dialog())->accept();
    }
    /// Loads a copy of the file.
    void LoadFile(const QString &path)
    {
        const QString copy = folder.filePath(QStringLiteral("copy%1.ESV").arg(++files));
        QVERIFY(QFile::copy(path, copy));
        Button("CBLit")->click();
        Choose(copy);
        SOON_EQUAL(Label("Label5"), QStringLiteral("termine"));
    }
    QByteArray SaveFile()
    {
        saved = folder.filePath(QStringLiteral("t%1.ESV").arg(++files));
        Button("CbEcrit")->click();
        Choose(saved);
        [[maybe_unused]] const bool done =
            clock.RunUntil([this] { return Status() == QStringLiteral("Fichier \u00E9crit : ") + saved; });
        QFile file(saved);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    QRadioButton *Option(int eeprom) { return Find<QRadioButton>(eeprom == 1 ? "Option1" : "Option2"); }
    QPushButton *Button(const char *name) { return Find<QPushButton>(name); }
    QLineEdit *Box(const char *name) { return Find<QLineEdit>(name); }
    QString Text(const char *box) { return Box(box)->text(); }
    QString Label(const char *name) { return Find<QLabel>(name)->text(); }
    QSlider *Slider() { return Find<QSlider>("Slider1"); }
    QProgressBar *Bar() { return Find<QProgressBar>("Bar1"); }
    QString Status() { return Find<QStatusBar>("statusbar")->currentMessage(); }
    QFileDialog *Dialog() { return Find<QFileDialog>("CommonDialog1"); }
    /// The option flags that are ticked, as their sum.
    int Ticked()
    {
        int sum = 0;
        for (int i = 1; i <= 6; ++i)
            sum += Find<QCheckBox>(QStringLiteral("Check%1").arg(i).toLatin1().constData())->isChecked() ? 1 << i : 0;
        return sum;
    }

    QByteArray chips[2];
    int reads = 0, writes = 0, files = 0;
    QTemporaryDir folder;
    QString saved; ///< the file that SaveFile wrote last
    Kept<Exteepr> window{link};
};
