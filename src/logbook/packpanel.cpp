// SPDX-License-Identifier: GPL-3.0-or-later
#include "packpanel.h"

#include "base/clock.h"
#include "base/messages.h"
#include "base/wholefile.h"
#include "chart/picturemenu.h"
#include "packsheet.h"
#include "runs/runwords.h"
#include "ui_packpanel.h"
#include "words.h"

#include <QSignalBlocker>

#include <algorithm>

PackPanel::PackPanel(QWidget *parent) : QWidget(parent), ui_(std::make_unique<Ui::PackPanel>())
{
    ui_->setupUi(this);
    AddPictureMenu(*ui_->Historique, [this] { return Chosen(); }, [this](const Error &error) { Q_EMIT Failed(error); });
    connect(ui_->Liste, &QListWidget::currentRowChanged, this, [this] { Try([this] { ShowChosen(); }); });
    connect(ui_->CbNouveau, &QPushButton::clicked, this, &PackPanel::CbNouveau_Click);
    connect(ui_->CbSupprimer, &QPushButton::clicked, this, &PackPanel::CbSupprimer_Click);
    connect(ui_->CbRapport, &QPushButton::clicked, this, &PackPanel::CbRapport_Click);
    connect(ui_->CbTravaux, &QPushButton::clicked, this, [this] { Q_EMIT RunsWanted(Chosen()); });
    for (QLineEdit *line : {ui_->Nom, ui_->Note, ui_->Chimie->lineEdit()})
        connect(line, &QLineEdit::editingFinished, this, &PackPanel::Keep);
    connect(ui_->Chimie, &QComboBox::activated, this, &PackPanel::Keep);
    for (QSpinBox *number : {ui_->Elements, ui_->Nominale})
        connect(number, &QSpinBox::valueChanged, this, &PackPanel::Keep);
    connect(ui_->DateActive, &QCheckBox::toggled, ui_->Date, &QWidget::setEnabled);
    connect(ui_->DateActive, &QCheckBox::toggled, this, &PackPanel::Keep);
    connect(ui_->Date, &QDateEdit::dateChanged, this, &PackPanel::Keep);
}

PackPanel::~PackPanel() = default; // here, where the controls are known

void PackPanel::SetBook(Logbook &book)
{
    book_ = &book;
}

void PackPanel::Try(const std::function<void()> &work)
{
    try {
        work();
    } catch (const Error &error) {
        Q_EMIT Failed(error);
    }
}

QString PackPanel::Chosen() const
{
    const QListWidgetItem *const item = ui_->Liste->currentItem();
    return item ? item->text() : QString();
}

void PackPanel::Choose(const QString &name)
{
    const auto found = ui_->Liste->findItems(name, Qt::MatchExactly);
    ui_->Liste->setCurrentItem(found.isEmpty() ? ui_->Liste->item(0) : found[0]);
}

void PackPanel::Refresh()
{
    packs_ = book_->Packs();
    {
        const QSignalBlocker quiet(ui_->Liste);
        const QString chosen = Chosen();
        ui_->Liste->clear();
        for (const Pack &pack : packs_)
            ui_->Liste->addItem(pack.name);
        Choose(chosen);
    }
    ShowChosen();
}

void PackPanel::ShowChosen()
{
    const auto pack = std::ranges::find(packs_, Chosen(), &Pack::name);
    const bool any = pack != packs_.end();
    for (QWidget *control :
         std::initializer_list<QWidget *>{ui_->Fiche, ui_->CbSupprimer, ui_->CbTravaux, ui_->CbRapport})
        control->setEnabled(any);
    ShowForm(any ? *pack : Pack());
    if (!any) {
        ui_->Resume->setText(
            QStringLiteral("Un accu s'ajoute ici par « Nouveau », ou en donnant son nom à « Accu » dans la "
                           "fenêtre d'un travail."));
        ui_->Historique->Show({}, 0);
        return;
    }
    const std::vector<PackCycle> cycles = book_->History(pack->name);
    ui_->Historique->Show(cycles, pack->nominal);
    const auto last = std::ranges::find_if(cycles.rbegin(), cycles.rend(),
                                           [](const PackCycle &cycle) { return cycle.capacity.has_value(); });
    if (last == cycles.rend()) {
        ui_->Resume->setText(QStringLiteral("Aucune décharge complète n'est encore inscrite pour cet accu."));
        return;
    }
    const QString share = words::Share(*last->capacity, pack->nominal);
    ui_->Resume->setText(QStringLiteral("%1 %2 ; le dernier, du %3 : %4%5")
                             .arg(cycles.size())
                             .arg(cycles.size() > 1 ? QStringLiteral("cycles") : QStringLiteral("cycle"),
                                  last->began.toString(QStringLiteral("dd/MM/yyyy")),
                                  runwords::Capacity(*last->capacity),
                                  share.isEmpty() ? QString() : QStringLiteral(", ") + share));
}

/// What is being typed stays while the pack is the same.
void PackPanel::ShowForm(const Pack &pack)
{
    if (shown_ == pack)
        return;
    shown_ = pack;
    const QSignalBlocker quiet[] = {QSignalBlocker(ui_->Elements), QSignalBlocker(ui_->Nominale),
                                    QSignalBlocker(ui_->DateActive), QSignalBlocker(ui_->Date)};
    ui_->Nom->setText(pack.name);
    ui_->Chimie->setEditText(pack.chemistry);
    ui_->Elements->setValue(pack.cells);
    ui_->Nominale->setValue(pack.nominal);
    ui_->DateActive->setChecked(pack.since.isValid());
    ui_->Date->setEnabled(pack.since.isValid());
    ui_->Date->setDate(pack.since.isValid() ? pack.since : Clock::Current().LocalTime().date());
    ui_->Note->setText(pack.note);
}

/// What the form says holds for the pack that is chosen. A refusal leaves it as it was typed.
void PackPanel::Keep()
{
    const auto former = std::ranges::find(packs_, Chosen(), &Pack::name);
    if (former == packs_.end())
        return;
    const Pack pack{ui_->Nom->text().trimmed(),
                    ui_->Chimie->currentText().trimmed(),
                    ui_->Elements->value(),
                    ui_->Nominale->value(),
                    ui_->DateActive->isChecked() ? ui_->Date->date() : QDate(),
                    ui_->Note->text().trimmed()};
    if (pack == *former)
        return;
    const QString name = former->name;
    Try([&] {
        ui_->Liste->currentItem()->setText(pack.name); // it stays the one that is chosen
        try {
            book_->SavePack(pack, name);
        } catch (const Error &) {
            ui_->Liste->currentItem()->setText(name);
            throw;
        }
    });
}

void PackPanel::CbNouveau_Click()
{
    QString name;
    for (int number = static_cast<int>(packs_.size()) + 1; name.isEmpty(); ++number)
        if (const QString free = QStringLiteral("Accu %1").arg(number);
            std::ranges::find(packs_, free, &Pack::name) == packs_.end())
            name = free;
    Try([&] {
        Pack pack;
        pack.name = name;
        book_->SavePack(pack);
        Refresh();
        Choose(name);
        ui_->Nom->setFocus();
        ui_->Nom->selectAll();
    });
}

void PackPanel::CbSupprimer_Click()
{
    const QString name = Chosen();
    messages::Ask(this, window()->windowTitle(),
                  QStringLiteral("Enlever l'accu « %1 » du carnet ? Ses travaux y restent, sans accu.").arg(name),
                  {QStringLiteral("Enlever"), QStringLiteral("Annuler")}, [this, name](int answer) {
                      if (answer == 0)
                          Try([&] { book_->RemovePack(name); });
                  });
}

void PackPanel::CbRapport_Click()
{
    const QString name = Chosen();
    AskWhereToSave(window(), {QStringLiteral("Enregistrer le rapport"), name, QStringLiteral("pdf"),
                              QStringLiteral("Document PDF (*.pdf)"),
                              [this, name](const QString &path) {
                                  RunFilter filter;
                                  filter.pack = name;
                                  const PackSheet sheet{book_->FindPack(name).value_or(Pack()), book_->History(name),
                                                        book_->Runs(filter), Clock::Current().LocalTime()};
                                  wholefile::Replace(path, sheet.Pdf());
                              },
                              [this](const Error &error) { Q_EMIT Failed(error); }});
}
