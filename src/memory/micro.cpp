// SPDX-License-Identifier: GPL-3.0-or-later
#include "micro.h"

#include "base/dialogs.h"
#include "base/messages.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>

namespace {
constexpr QSize designSize(533, 467); // 8000 × 7000 twips at 15 to a pixel

/// A board that is silent for so long in the middle of a programming is dead.
constexpr auto deadAfter = 10s;
} // namespace

Micro::Micro(Codebas &link) : Window(QStringLiteral("Micro")), link_(link), editor_(link), profiles_(link)
{
    ui_.setupUi(this);
    const QFont plain(font().family(), font().pointSize()); // the frames' typeface is for their titles
    for (QPushButton *button : ui_.Frame2->findChildren<QPushButton *>())
        button->setFont(plain);
    ui_.ProgBar1->setFont(plain);
    QSizePolicy policy = ui_.ProgBar1->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // nothing moves when it appears
    ui_.ProgBar1->setSizePolicy(policy);
    RememberDesign();
    connect(ui_.CBepr, &QPushButton::clicked, this, &Micro::CBepr_Click);
    connect(ui_.CbEEprSalave, &QPushButton::clicked, this, &Micro::CbEEprSalave_Click);
    OnClick(ui_.CBMIC1, &Micro::CBMIC1_Click);
    OnClick(ui_.CbPgmSlave, &Micro::CbPgmSlave_Click);
    connect(ui_.CbextEEPROM, &QPushButton::clicked, this, &Micro::CbextEEPROM_Click);
    connect(ui_.CBEtat, &QPushButton::clicked, this, &Micro::CBEtat_Click);
    connect(ui_.MQuitter, &QPushButton::clicked, this, &Micro::MQuitter_Click);
    for (const Window *window : std::initializer_list<const Window *>{&editor_, &profiles_})
        connect(window, &Window::Returning, this, [this] {
            if (isVisible())
                Open(); // comes to the front again
        });
}

void Micro::Load()
{
    commonDialog1_ = dialogs::CommonDialog(this);
    resize(designSize);
    move(screen()->availableGeometry().center() - rect().center());
    Q_EMIT Opened();
    ui_.ProgBar1->hide();
    Tell({});
    FlashImage.assign(hexfile::slaveWords + 1, 0);
    FlashRead.assign(hexfile::slaveWords + 1, 0);
    FlashChanged.assign(hexfile::slaveWords + 1, false);
}

void Micro::OpenEditor(int eepromSel)
{
    if (Refuses())
        return;
    link_.EepromSel = eepromSel;
    editor_.Edit();
}

void Micro::CbextEEPROM_Click()
{
    if (!Refuses())
        profiles_.Open();
}

void Micro::CBEtat_Click()
{
    if (!Refuses())
        Q_EMIT DashboardWanted();
}

void Micro::MQuitter_Click()
{
    if (StaysOpen())
        return;
    link_.ReconnectOnActivate = 0; // before the main window is activated
    close();
}

/// Whether a programming keeps the window from doing anything else; tells the user so. A flash memory that is written
/// in half is worse than a wait.
bool Micro::Refuses()
{
    if (!programming_)
        return false;
    QApplication::beep();
    Tell(QStringLiteral("Programmation en cours : attendez sa fin."));
    return true;
}

/// Whether a programming keeps the window open. Not one that a dead board or a lost port would keep waiting for ever.
bool Micro::StaysOpen()
{
    const bool dead = link_.line.Silence() >= deadAfter || !link_.line.IsUsable();
    if (!programming_ || !dead)
        return Refuses();
    DropHandlers();
    messages::Show(nullptr, QMessageBox::Warning, windowTitle(),
                   QStringLiteral("La carte ne répond plus : la programmation est abandonnée.\n"
                                  "La mémoire flash n'est peut-être pas écrite en entier."));
    return false;
}

/// Refuses() for a programming that is to begin, which the work of the other windows keeps waiting too.
bool Micro::RefusesToProgram()
{
    if (Refuses())
        return true;
    if (!editor_.Busy() && !profiles_.Busy())
        return false;
    QApplication::beep();
    Tell(QStringLiteral("Une EEPROM est lue ou écrite : attendez la fin."));
    return true;
}

void Micro::Tell(const QString &text)
{
    statusBar()->showMessage(text);
}

void Micro::closeEvent(QCloseEvent *event)
{
    if (StaysOpen()) {
        event->ignore();
        return;
    }
    event->accept();
    Q_EMIT Returning();
}
