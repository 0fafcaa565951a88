// SPDX-License-Identifier: GPL-3.0-or-later
#include "courbes.h"

#include "base/tone.h"
#include "base/wholefile.h"
#include "chart/colours.h"
#include "chart/picturemenu.h"
#include "logs/csv.h"
#include "ui_courbes.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>

namespace {
QString Kind(Log::Kind kind)
{
    switch (kind) {
    case Log::Kind::Charge:
        return QStringLiteral("charge");
    case Log::Kind::Discharge:
        return QStringLiteral("décharge");
    case Log::Kind::Capacity:
        return QStringLiteral("mesure de capacité");
    case Log::Kind::Monitor:
        return QStringLiteral("moniteur");
    }
    return {};
}

/// As the curve is drawn.
QIcon Swatch(const QColor &colour, const QColor &ground)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(Readable(colour, ground, lineContrast));
    return pixmap;
}
} // namespace

Courbes::Courbes() : Window(QStringLiteral("Courbes")), ui_(std::make_unique<Ui::Courbes>())
{
    ui_->setupUi(this);
    overlay_ = std::make_unique<Overlay>(*ui_->Courbe);
    ui_->Valeurs->setModel(&table_);
    ui_->Valeurs->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    ui_->splitter1->setSizes({760, 420});
    ui_->splitter2->setSizes({220, 480});
    AddPictureMenu(
        *ui_->Courbe,
        [this] {
            const Opened *const log = Selected();
            return log ? log->file.Path() : QString();
        },
        [this](const Error &error) { Failed(error); });

    connect(ui_->CbOuvrir, &QPushButton::clicked, this, &Courbes::CbOuvrir_Click);
    connect(ui_->CbEnlever, &QPushButton::clicked, this, &Courbes::CbEnlever_Click);
    for (const auto &[button, item] :
         {std::pair(ui_->CbPng, QStringLiteral("MnuPng")), std::pair(ui_->CbPdf, QStringLiteral("MnuPdf"))})
        connect(button, &QPushButton::clicked, ui_->Courbe->findChild<QAction *>(item), &QAction::trigger);
    connect(ui_->CbCsv, &QPushButton::clicked, this, &Courbes::CbCsv_Click);
    connect(ui_->CbRetour, &QPushButton::clicked, this, &QWidget::close);
    connect(ui_->SelAlign, &QComboBox::currentIndexChanged, this, &Courbes::Draw);
    connect(ui_->Grandeurs, &QListWidget::itemChanged, this, &Courbes::Draw);
    connect(ui_->Journaux, &QListWidget::currentRowChanged, this, &Courbes::ShowTable);
    connect(ui_->Courbe, &Chart::Pointed, this, &Courbes::ShowRecordAt);
    connect(&watch_, &FileWatch::Changed, this, &Courbes::LogChanged);
    ShowTable();
}

Courbes::~Courbes() = default; // here, where the controls are known

/// The logs of before are still open.
void Courbes::Load()
{
    if (!place_.Restore())
        resize(size().boundedTo(screen()->availableSize()));
}

// ---- the logs

bool Courbes::IsOpen(const QString &path) const
{
    return std::ranges::any_of(opened_, [&](const auto &log) { return log->file.Path() == path; });
}

void Courbes::OpenLogs(const QStringList &paths)
{
    for (const QString &path : paths) {
        const QString whole = QFileInfo(path).absoluteFilePath();
        if (IsOpen(whole))
            continue;
        const bool followed = watch_.Add(whole); // before it is read, so that nothing is missed
        try {
            opened_.push_back(std::make_unique<Opened>(Opened{LogFile(whole), followed}));
        } catch (const FileError &error) {
            watch_.Remove(whole);
            Failed(error);
        }
    }
    ShowList();
    ui_->Journaux->setCurrentRow(static_cast<int>(opened_.size()) - 1);
}

void Courbes::LogChanged(const QString &path)
{
    const auto log = std::ranges::find(opened_, path, [](const auto &opened) { return opened->file.Path(); });
    if (log == opened_.end())
        return;
    const bool atEnd = ui_->Valeurs->verticalScrollBar()->value() == ui_->Valeurs->verticalScrollBar()->maximum();
    switch ((*log)->file.Continue()) {
    case LogFile::News::Nothing:
        return;
    case LogFile::News::Anew:
        ShowList();
        return;
    case LogFile::News::More:
        overlay_->Grow();
        if (log->get() == Selected()) {
            table_.Grow();
            if (atEnd)
                ui_->Valeurs->scrollToBottom();
        }
        ShowState();
    }
}

void Courbes::CbOuvrir_Click()
{
    auto *dialog = new QFileDialog(this, QStringLiteral("Ouvrir des journaux"), QDir::currentPath(),
                                   QStringLiteral("Journaux (*.txt);;Tous les fichiers (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    connect(dialog, &QFileDialog::filesSelected, this, &Courbes::OpenLogs);
    dialog->open();
}

void Courbes::CbEnlever_Click()
{
    const int row = ui_->Journaux->currentRow();
    if (row < 0)
        return;
    watch_.Remove(opened_[static_cast<size_t>(row)]->file.Path());
    table_.Show(nullptr);
    overlay_->Draw({}, {}, Overlay::Align::Start);
    opened_.erase(opened_.begin() + row);
    ShowList();
}

void Courbes::CbCsv_Click()
{
    const Opened *const log = Selected();
    if (!log)
        return;
    const QString from = log->file.Path();
    AskWhereToSave(this, {QStringLiteral("Enregistrer en CSV"), from, QStringLiteral("csv"),
                          QStringLiteral("Valeurs (*.csv)"),
                          [from](const QString &path) { wholefile::Replace(path, csv::Of(LogFile(from).Contents())); },
                          [this](const Error &error) { Failed(error); }});
}

Courbes::Opened *Courbes::Selected()
{
    const int row = ui_->Journaux->currentRow();
    return row < 0 ? nullptr : opened_[static_cast<size_t>(row)].get();
}

std::vector<const Log *> Courbes::Logs() const
{
    std::vector<const Log *> logs;
    logs.reserve(opened_.size());
    for (const auto &log : opened_)
        logs.push_back(&log->file.Contents());
    return logs;
}

// ---- display

/// The open logs, and with them everything else.
void Courbes::ShowList()
{
    const int row = ui_->Journaux->currentRow();
    {
        const QSignalBlocker quiet(ui_->Journaux);
        ui_->Journaux->clear();
        for (const auto &log : opened_) {
            auto *item = new QListWidgetItem(
                QStringLiteral("%1 · %2").arg(ui_->Journaux->count() + 1).arg(QFileInfo(log->file.Path()).fileName()),
                ui_->Journaux);
            item->setToolTip(log->file.Path());
        }
        ui_->Journaux->setCurrentRow(std::min(row, static_cast<int>(opened_.size()) - 1));
    }
    ShowQuantities();
    Draw();
    ShowTable();
}

/// Those of the open logs; what the user has chosen stays.
void Courbes::ShowQuantities()
{
    const QSignalBlocker quiet(ui_->Grandeurs);
    QHash<QString, Qt::CheckState> chosen;
    for (int i = 0; i < ui_->Grandeurs->count(); ++i)
        chosen.insert(ui_->Grandeurs->item(i)->text(), ui_->Grandeurs->item(i)->checkState());
    ui_->Grandeurs->clear();
    for (const QString &quantity : Overlay::Quantities(Logs())) {
        auto *item = new QListWidgetItem(quantity, ui_->Grandeurs);
        item->setIcon(Swatch(colours::Of(quantity), palette().color(QPalette::Base)));
        item->setToolTip(quantity);
        item->setCheckState(chosen.value(quantity, Overlay::IsUsual(quantity) ? Qt::Checked : Qt::Unchecked));
    }
}

void Courbes::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        ShowQuantities(); // whose colours are those of the curves
    Window::changeEvent(event);
}

void Courbes::Draw()
{
    QStringList quantities;
    for (int i = 0; i < ui_->Grandeurs->count(); ++i)
        if (ui_->Grandeurs->item(i)->checkState() == Qt::Checked)
            quantities.append(ui_->Grandeurs->item(i)->text());
    overlay_->Draw(Logs(), quantities,
                   ui_->SelAlign->currentIndex() == 0 ? Overlay::Align::Start : Overlay::Align::End);
}

void Courbes::ShowTable()
{
    const Opened *const log = Selected();
    table_.Show(log ? &log->file.Contents() : nullptr);
    ui_->Valeurs->resizeColumnsToContents();
    for (QWidget *button : std::initializer_list<QWidget *>{ui_->CbEnlever, ui_->CbPng, ui_->CbPdf, ui_->CbCsv})
        button->setEnabled(log != nullptr);
    ShowState();
}

void Courbes::ShowState()
{
    const Opened *const log = Selected();
    QString text = QStringLiteral("« Ouvrir… » montre les journaux du programme.");
    if (log) {
        text = QStringLiteral("%1 (%2) : %3 enregistrements")
                   .arg(QFileInfo(log->file.Path()).fileName(), Kind(log->file.Contents().kind))
                   .arg(log->file.Contents().Records());
        if (log->file.Unreadable() > 0)
            text += QStringLiteral(", %1 lignes illisibles").arg(log->file.Unreadable());
        if (!log->followed)
            text += QStringLiteral(" ; le système ne permet pas de le suivre");
    }
    ui_->Etat->setText(text);
}

/// The record under the chart's cursor, in the table.
void Courbes::ShowRecordAt(double key)
{
    const Opened *const log = Selected();
    if (!log || log->file.Contents().Records() == 0)
        return;
    const Log &contents = log->file.Contents();
    const auto next = std::ranges::lower_bound(contents.seconds, key - overlay_->Shift(contents));
    const auto last = static_cast<std::ptrdiff_t>(contents.Records()) - 1;
    ui_->Valeurs->selectRow(static_cast<int>(std::min(next - contents.seconds.begin(), last)));
}
