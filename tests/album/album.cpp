// SPDX-License-Identifier: GPL-3.0-or-later
#include "album.h"

#include "base/drive.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QToolButton>

#include <algorithm>
#include <map>

namespace {
/// How a user gets to a window: the window before it, and what he presses there.
struct Way
{
    QString from;
    const char *press; ///< a button, or
    int choice = -1;   ///< an entry of the calibration menu, or
    const char *menu = nullptr;
};

const std::map<QString, Way> &Ways()
{
    static const QString main = QStringLiteral("Main");
    static const QString tools = QStringLiteral("Micro");
    static const QString calibration = QStringLiteral("Reglage");
    static const std::map<QString, Way> ways{
        {QStringLiteral("Chargeur"), {main, "cb_chargeur"}},
        {QStringLiteral("Dechargeur"), {main, "CbDechargeur"}},
        {QStringLiteral("MesCapa"), {main, "CbCapa"}},
        {QStringLiteral("Moni"), {main, "CbMoni"}},
        {calibration, {main, "Cb_Reglage"}},
        {tools, {main, "Cb_Debug"}},
        {QStringLiteral("Courbes"), {main, nullptr, -1, "MnuCourbes"}},
        {QStringLiteral("Carnet"), {main, nullptr, -1, "MnuCarnet"}},
        {QStringLiteral("Temper"), {calibration, nullptr, 0}},
        {QStringLiteral("Vout"), {calibration, nullptr, 1}},
        {QStringLiteral("Vfiltrage"), {calibration, nullptr, 2}},
        {QStringLiteral("Rcourant"), {calibration, nullptr, 3}},
        {QStringLiteral("RglDech"), {calibration, nullptr, 4}},
        {QStringLiteral("RegLIPO"), {calibration, nullptr, 5}},
        {QStringLiteral("FEtat"), {tools, "CBEtat"}},
        {QStringLiteral("EEprom"), {tools, "CBepr"}},
        {QStringLiteral("Exteepr"), {tools, "CbextEEPROM"}},
    };
    return ways;
}
} // namespace

Album::Album()
{
    QDir::setCurrent(folder_.path());
    drive::SetRoot(folder_.filePath(QStringLiteral("drive")));
    drive::Prepare();
    clock_.SetLocalTime(QDateTime(QDate(2026, 3, 14), QTime(15, 9, 26)));
    main_.emplace(std::unique_ptr<Port>(port_));
    portMenu_.emplace(*main_, PortSwitch::Scales());
    helpMenu_.emplace(*main_, QStringLiteral("1.0"));
    board_.SwitchOn({QStringLiteral("--seed"), QStringLiteral("1")});
    Connect();
}

Album::~Album()
{
    QDir::setCurrent(QStringLiteral("/"));
    drive::SetRoot(QString());
}

void Album::Connect()
{
    main_->Load();
    clock_.Run(5s);
}

const QStringList &Album::Windows()
{
    static const QStringList names = [] {
        QStringList all{QStringLiteral("Main")};
        for (const auto &[name, way] : Ways())
            all.append(name);
        // Those that show what the others have left behind come last.
        for (const QString &name : {QStringLiteral("Carnet"), QStringLiteral("Courbes")})
            all.move(all.indexOf(name), all.size() - 1);
        return all;
    }();
    return names;
}

QWidget &Album::Find(const QString &window) const
{
    const auto widgets = QApplication::topLevelWidgets();
    return **std::ranges::find(widgets, window, &QWidget::objectName);
}

void Album::Press(const QWidget &window, const char *button)
{
    window.findChild<QPushButton *>(QLatin1String(button))->click();
}

/// Whatever is open but the main window is closed, the last one first, so that the board is left at rest.
void Album::Leave()
{
    for (const char *name :
         {"FEtat", "EEprom", "Exteepr", "Temper", "Vout", "Vfiltrage", "Rcourant", "RglDech", "RegLIPO", "Reglage",
          "Micro", "Chargeur", "Dechargeur", "MesCapa", "Moni", "Courbes", "Carnet"}) {
        QWidget &window = Find(QLatin1String(name));
        if (window.isVisible()) {
            window.close();
            clock_.Run(1s);
        }
    }
    if (auto *cut = main_->findChild<QToolButton *>(QStringLiteral("cut")); cut->isVisible()) {
        cut->click();
        clock_.Run(1s);
    }
}

QWidget &Album::Show(const QString &window)
{
    Leave();
    if (window == main_->objectName())
        return *main_;
    const Way &way = Ways().at(window);
    QWidget &from = way.from == main_->objectName() ? static_cast<QWidget &>(*main_) : Show(way.from);
    if (way.press)
        Press(from, way.press);
    else if (way.menu)
        from.findChild<QAction *>(QLatin1String(way.menu))->trigger();
    else
        from.findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(way.choice);
    clock_.Run(3s);
    return Find(window);
}

/// Lets a window work for so long, with its curve folded away: thousands of pictures that nobody sees take their time.
void Album::Work(const QWidget &window, Clock::Duration length)
{
    auto *curve = window.findChild<QToolButton *>(QStringLiteral("CbCourbe"));
    const bool folds = curve->isChecked();
    if (folds)
        curve->click();
    clock_.Run(length);
    if (folds)
        curve->click();
    clock_.Run(1s);
}

QWidget &Album::ShowAtWork(const QString &window)
{
    QWidget &shown = Show(window);
    const auto text = [&shown](const char *box, const char *what) {
        shown.findChild<QLineEdit *>(QLatin1String(box))->setText(QLatin1String(what));
    };
    const auto slide = [&shown](const char *slider, int value) {
        shown.findChild<QSlider *>(QLatin1String(slider))->setValue(value);
    };
    if (window == QLatin1String("Chargeur")) {
        slide("Slider1", 150);
        text("Text1", "1");
        Press(shown, "CBstart");
        Work(shown, 55min);
    } else if (window == QLatin1String("Dechargeur")) {
        slide("Slider1", 100);
        text("Text1", "4");
        Press(shown, "CBstart");
        Work(shown, 20min);
    } else if (window == QLatin1String("MesCapa")) {
        slide("SlIChrg", 150);
        slide("SlIDech", 100);
        text("TxNbElem", "4");
        Press(shown, "CBstart");
        Work(shown, 90min);
    } else if (window == QLatin1String("Courbes")) {
        static_cast<Courbes &>(shown).OpenLogs({main_->ChargeWindow().LogPath()});
        clock_.Run(1s);
    } else if (window == QLatin1String("Moni")) {
        Press(shown, "CbDepart");
        clock_.Run(30min);
    } else if (window == QLatin1String("FEtat")) {
        Press(shown, "CBmanuel");
        clock_.Run(5s);
    } else if (window == QLatin1String("Exteepr")) {
        for (const char *memory : {"Option1", "Option2"}) {
            shown.findChild<QRadioButton *>(QLatin1String(memory))->click();
            clock_.Run(5min);
        }
        slide("Slider1", 2);
    }
    return shown;
}
