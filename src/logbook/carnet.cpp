// SPDX-License-Identifier: GPL-3.0-or-later
#include "carnet.h"

#include "base/clock.h"
#include "base/messages.h"
#include "ui_carnet.h"

#include <QFileInfo>
#include <QHeaderView>
#include <QScreen>
#include <QSignalBlocker>

#include <algorithm>
#include <array>

namespace {
constexpr int widestColumn = 260;

/// Data of an item of SelAccu: no name for every pack, an empty one for none.
std::optional<QString> PackOf(const QComboBox &choice)
{
    const QVariant data = choice.currentData();
    return data.isValid() ? std::optional(data.toString()) : std::nullopt;
}
} // namespace

Carnet::Carnet(Logbook &book) : Window(QStringLiteral("Carnet")), ui_(std::make_unique<Ui::Carnet>()), book_(book)
{
    ui_->setupUi(this);
    ui_->Accus->SetBook(book);
    ui_->Travaux->setModel(&table_);
    ui_->Travaux->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    ui_->Travaux->verticalHeader()->hide();
    ui_->Travaux->horizontalHeader()->setResizeContentsPrecision(0); // what is in sight
    for (QDateEdit *day : {ui_->Depuis, ui_->Jusqua})
        day->setDate(Clock::Current().LocalTime().date());

    connect(ui_->CbCourbe, &QPushButton::clicked, this, &Carnet::CbCourbe_Click);
    connect(ui_->Travaux, &QTableView::doubleClicked, this, &Carnet::CbCourbe_Click);
    connect(ui_->CbEnlever, &QPushButton::clicked, this, &Carnet::CbEnlever_Click);
    connect(ui_->CbRanger, &QPushButton::clicked, this, &Carnet::CbRanger_Click);
    connect(ui_->CbRetour, &QPushButton::clicked, this, &QWidget::close);
    for (QComboBox *choice : {ui_->SelAccu, ui_->SelType})
        connect(choice, &QComboBox::currentIndexChanged, this, &Carnet::ShowRuns);
    for (const auto &[ticked, day] :
         {std::pair(ui_->DepuisActif, ui_->Depuis), std::pair(ui_->JusquaActif, ui_->Jusqua)}) {
        connect(ticked, &QCheckBox::toggled, day, &QWidget::setEnabled);
        connect(ticked, &QCheckBox::toggled, this, &Carnet::ShowRuns);
        connect(day, &QDateEdit::dateChanged, this, &Carnet::ShowRuns);
    }
    connect(ui_->Travaux->selectionModel(), &QItemSelectionModel::selectionChanged, this, &Carnet::ShowChosen);
    connect(ui_->Accus, &PackPanel::RunsWanted, this, &Carnet::ShowRunsOf);
    connect(ui_->Accus, &PackPanel::Failed, this, &Carnet::Failed);
    connect(&book_, &Logbook::Changed, this, [this] {
        if (isVisible())
            Refresh();
    });
    connect(&book_, &Logbook::TroubleChanged, this, [this] { ui_->Etat->setText(book_.Trouble()); });
}

Carnet::~Carnet() = default; // here, where the controls are known

void Carnet::Load()
{
    if (!place_.Restore())
        resize(size().boundedTo(screen()->availableSize()));
    Refresh();
    ui_->Travaux->resizeColumnsToContents();
    for (int column = 0; column < table_.columnCount(); ++column)
        ui_->Travaux->setColumnWidth(column, std::min(widestColumn, ui_->Travaux->columnWidth(column)));
}

/// What the logbook has now; what is chosen stays.
void Carnet::Refresh()
{
    try {
        ShowPacks();
        ui_->Accus->Refresh();
    } catch (const DatabaseError &error) {
        ui_->Etat->setText(error.Text());
        return;
    }
    ShowRuns();
}

void Carnet::ShowPacks()
{
    const QSignalBlocker quiet[] = {QSignalBlocker(ui_->SelAccu), QSignalBlocker(ui_->SelRanger)};
    const std::optional<QString> chosen = PackOf(*ui_->SelAccu);
    const QString typed = ui_->SelRanger->currentText();
    ui_->SelAccu->clear();
    ui_->SelRanger->clear();
    ui_->SelAccu->addItem(QStringLiteral("tous"));
    ui_->SelAccu->addItem(QStringLiteral("sans accu"), QString());
    for (const Pack &pack : book_.Packs()) {
        ui_->SelAccu->addItem(pack.name, pack.name);
        ui_->SelRanger->addItem(pack.name);
    }
    ui_->SelAccu->setCurrentIndex(chosen ? std::max(0, ui_->SelAccu->findData(*chosen)) : 0);
    ui_->SelRanger->setEditText(typed);
}

RunFilter Carnet::Filter() const
{
    constexpr std::array kinds{RunNews::Kind::Charge, RunNews::Kind::Discharge, RunNews::Kind::Capacity}; // of SelType
    RunFilter filter;
    filter.pack = PackOf(*ui_->SelAccu);
    if (const int kind = ui_->SelType->currentIndex(); kind > 0)
        filter.kind = kinds[static_cast<size_t>(kind) - 1];
    if (ui_->DepuisActif->isChecked())
        filter.from = ui_->Depuis->date();
    if (ui_->JusquaActif->isChecked())
        filter.to = ui_->Jusqua->date();
    return filter;
}

void Carnet::ShowRuns()
{
    try {
        const QStringList chosen = Chosen();
        table_.Show(book_.Ids(Filter()));
        for (const QString &id : chosen)
            if (const qsizetype row = table_.Ids().indexOf(id); row >= 0)
                ui_->Travaux->selectionModel()->select(table_.index(static_cast<int>(row), 0),
                                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
        ui_->Etat->setText(book_.Trouble());
    } catch (const DatabaseError &error) {
        ui_->Etat->setText(error.Text());
    }
    const int count = table_.rowCount();
    ui_->Nombre->setText(count == 0   ? QStringLiteral("aucun travail")
                         : count == 1 ? QStringLiteral("1 travail")
                                      : QStringLiteral("%1 travaux").arg(count));
    ShowChosen();
}

void Carnet::ShowRunsOf(const QString &pack)
{
    ui_->SelType->setCurrentIndex(0);
    ui_->DepuisActif->setChecked(false);
    ui_->JusquaActif->setChecked(false);
    ui_->SelAccu->setCurrentIndex(ui_->SelAccu->findData(pack));
    ui_->Onglets->setCurrentIndex(0);
}

QStringList Carnet::Chosen() const
{
    QStringList ids;
    for (const QModelIndex &index : ui_->Travaux->selectionModel()->selectedRows())
        ids.append(table_.Ids()[index.row()]);
    return ids;
}

void Carnet::ShowChosen()
{
    const qsizetype chosen = Chosen().size();
    ui_->CbCourbe->setEnabled(chosen == 1);
    ui_->CbEnlever->setEnabled(chosen > 0);
    ui_->CbRanger->setEnabled(chosen > 0);
}

// ---- the buttons

void Carnet::CbCourbe_Click()
{
    if (Chosen().size() != 1)
        return;
    try {
        const std::vector<RunEntry> chosen = book_.RunsOf(Chosen());
        const QString log = chosen.empty() ? QString() : chosen[0].log;
        if (log.isEmpty())
            throw Error(QStringLiteral("Ce travail n'a pas de journal."));
        if (!QFileInfo::exists(log))
            throw Error(
                QStringLiteral("Le journal de ce travail n'est plus là : %1\nIl a été déplacé ou supprimé.").arg(log));
        Q_EMIT CurveWanted(log);
    } catch (const Error &error) {
        Failed(error);
    }
}

void Carnet::CbEnlever_Click()
{
    const QStringList chosen = Chosen();
    const QString what =
        chosen.size() == 1 ? QStringLiteral("ce travail") : QStringLiteral("ces %1 travaux").arg(chosen.size());
    messages::Ask(this, windowTitle(),
                  QStringLiteral("Enlever %1 du carnet ? Les journaux restent, et « --import » les y remet.").arg(what),
                  {QStringLiteral("Enlever"), QStringLiteral("Annuler")}, [this, chosen](int answer) {
                      if (answer != 0)
                          return;
                      try {
                          book_.RemoveRuns(chosen);
                      } catch (const DatabaseError &error) {
                          Failed(error);
                      }
                  });
}

void Carnet::CbRanger_Click()
{
    try {
        book_.SetPack(Chosen(), ui_->SelRanger->currentText().trimmed());
    } catch (const DatabaseError &error) {
        Failed(error);
    }
}
