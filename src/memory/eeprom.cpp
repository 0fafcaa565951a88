// SPDX-License-Identifier: GPL-3.0-or-later
#include "eeprom.h"

#include "base/dialogs.h"
#include "base/drive.h"
#include "base/messages.h"
#include "base/number.h"
#include "base/paint.h"
#include "base/sliderbox.h"
#include "base/tone.h"
#include "base/wholefile.h"
#include "esvfile.h"
#include "link/command.h"

#include <QApplication>
#include <QCloseEvent>

#include <algorithm>
#include <optional>
#include <ranges>
#include <utility>

namespace {
constexpr int rowLength = 16;
constexpr int textBegin = 80; // a text of up to 32 characters that the board shows
constexpr int textEnd = 112;

constexpr std::array<const char *, 16> masterNames = {
    "Correction temperature H",
    "Correction temperature L",
    "Decallage temperature H",
    "Decallage Temperature L",
    "Temperature ventilo",
    "Temperature arret",
    "Correction tenperature bat H",
    "Correction temperature bat L",
    "Temperature bat coupure",
    "Correction V alim H",
    "Correction V alim L",
    "Correction V alim dbl H",
    "Correction V alim dbl L",
    "NU",
    "NU",
    "Nombre de choix modes",
};
constexpr std::array<const char *, 16> slaveNames = {
    "Correction I Charge H",
    "Correction I Charge L",
    "Correction I Decharge H",
    "Correction I Decharge L",
    "Correction Pot I Charge",
    "Correction Pot I Decharge",
    "Correction V Batterie H",
    "Correction V Batteriet L",
    "NU",
    "NU",
    "NU",
    "NU",
    "NU",
    "NU",
    "NU",
    "NU",
};

QString Hex(quint8 byte)
{
    return QString::number(byte, 16).toUpper();
}

QString TwoDigits(quint8 byte)
{
    return Hex(byte).rightJustified(2, u'0');
}

/// The slave's parameters are shown by their low digit only, and single digits by a "0" or by nothing.
QString SlaveText(quint8 byte)
{
    return (byte < 10 ? QStringLiteral("0") : QString()) + Hex(byte).mid(1);
}

/// "3 octets modifiés"; nothing for none.
QString EditsText(int count)
{
    return count == 0   ? QString()
           : count == 1 ? QStringLiteral("1 octet modifié")
                        : QStringLiteral("%1 octets modifiés").arg(count);
}

/// The byte that was entered, or nothing when it is none.
std::optional<quint8> Entered(const QLineEdit *box)
{
    bool isNumber = false;
    const double value = box->text().trimmed().toDouble(&isNumber);
    if (!isNumber)
        return std::nullopt;
    try {
        return number::ToByte(value, box->objectName());
    } catch (const Overflow &) {
        return std::nullopt;
    }
}
} // namespace

/// A transfer that is under way: Bar is in sight.
class EEprom::Hold
{
public:
    Hold(EEprom &window, Transfer transfer) : window_(window), lasts_(window.opening_.Lasts())
    {
        window_.transfer_ = transfer;
        window_.ui_.Bar->setValue(0);
        window_.ui_.Bar->show();
        window_.Tell(transfer == Transfer::Reading ? QStringLiteral("Lecture des EEPROM…")
                                                   : QStringLiteral("Écriture de l'EEPROM…"));
    }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold()
    {
        if (!lasts_())
            return;
        window_.transfer_ = Transfer::None;
        window_.ui_.Bar->hide();
        window_.Tell({});
    }

private:
    EEprom &window_;
    std::function<bool()> lasts_;
};

EEprom::EEprom(Codebas &link) : Window(QStringLiteral("EEprom")), link_(link)
{
    ui_.setupUi(this);
    QSizePolicy policy = ui_.Bar->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // nothing moves when it appears
    ui_.Bar->setSizePolicy(policy);
    for (int row = 0; row < rowLength; ++row) {
        ui_.table->setHorizontalHeaderItem(row, new QTableWidgetItem(TwoDigits(static_cast<quint8>(row))));
        ui_.table->setVerticalHeaderItem(row, new QTableWidgetItem(TwoDigits(static_cast<quint8>(row * rowLength))));
        for (int column = 0; column < rowLength; ++column) {
            auto *item = new QTableWidgetItem;
            item->setTextAlignment(Qt::AlignCenter);
            ui_.table->setItem(row, column, item);
        }
    }
    ui_.table->setMinimumSize(ui_.table->sizeHint()); // all of it
    edits_->setObjectName(QStringLiteral("edits"));
    SetTone(*edits_, Tone::Caution);
    statusBar()->addPermanentWidget(edits_);
    statusBar()->addPermanentWidget(sideName_);
    RememberDesign();
    new SliderBox(ui_.Vscroll1);
    connect(&activation_, &Activation::Activated, this, [this] { Start(Form_Activate()); });
    connect(ui_.Vscroll1, &QSlider::valueChanged, this, &EEprom::Vscroll1_Change);
    connect(ui_.table, &QTableWidget::cellClicked, ui_.Vscroll1, &QSlider::setValue);
    connect(ui_.Text2, &QLineEdit::returnPressed, this, &EEprom::Text2_KeyPress);
    connect(ui_.Text3, &QLineEdit::returnPressed, this, &EEprom::Text3_KeyPress);
    for (QLineEdit *box : {ui_.Text2, ui_.Text3})
        connect(box, &QLineEdit::textEdited, this, [box] { paint::Refused(box, false); });
    OnClick(ui_.CBUpdate, &EEprom::CBUpdate_Click);
    OnClick(ui_.CBSaveeprom, &EEprom::CBSaveeprom_Click);
    OnClick(ui_.CBLoadeprom, &EEprom::CBLoadeprom_Click);
    connect(ui_.CBeepend, &QPushButton::clicked, this, &QWidget::close);
}

void EEprom::Edit()
{
    if (!isVisible()) {
        Open();
        return;
    }
    if (transfer_ == Transfer::Writing) {
        Refuses();
        Open();
        return;
    }
    if (side_ != link_.EepromSel) {
        TakeSide();
        ShowText();
        ShowImage();
    }
    Open();
    Start(Form_Activate());
}

void EEprom::Load()
{
    commonDialog1_ = dialogs::CommonDialog(this);
    Centre();
    CurRow = 0;
    whole_ = false;
    opening_.Begin();
    ui_.Bar->hide();
    for (int cell = 0; cell < esvfile::imageSize; ++cell)
        ui_.table->item(cell / rowLength, cell % rowLength)->setText({});
    Tell({});
    TakeSide();
    ShowEdits();
    activation_.Opening();
}

/// Turns to the microcontroller that EepromSel names; what was entered for the other one goes.
void EEprom::TakeSide()
{
    replaced_ = Edits();
    side_ = link_.EepromSel;
    sideName_->setText(MasterSide() ? QStringLiteral("Master") : QStringLiteral("Slave"));
    Keep();
    CurAddr = noAddress;
    for (QLabel *label : {ui_.Label3, ui_.Label8})
        label->clear();
    for (QLineEdit *box : {ui_.Text2, ui_.Text3}) {
        box->clear();
        paint::Refused(box, false);
    }
}

void EEprom::closeEvent(QCloseEvent *event)
{
    const bool cutShort = transfer_ == Transfer::Writing;
    const QString lost = EditsText(Busy() ? 0 : Edits());
    if (!loss_.MayClose(*this,
                        lost.isEmpty() ? lost : lost + QStringLiteral(", ni sur la carte ni dans un fichier."))) {
        event->ignore();
        return;
    }
    Leave();
    event->accept();
    Q_EMIT Returning();
    if (cutShort)
        messages::Show(nullptr, QMessageBox::Warning, windowTitle(),
                       QStringLiteral("La mise à jour a été interrompue : l'EEPROM n'est pas écrite en entier."));
}

/// A transfer ends with the exchange that is under way, whose reply is still taken off the line.
void EEprom::Leave()
{
    opening_.End();
    transfer_ = Transfer::None;
    if (commonDialog1_)
        commonDialog1_->reject();
}

std::function<bool()> EEprom::StillOpen() const
{
    return opening_.Lasts();
}

/// Whether a transfer or the file dialog keeps the window from doing anything else; tells the user so.
bool EEprom::Refuses()
{
    if (!Busy() && !commonDialog1_->isVisible())
        return false;
    QApplication::beep();
    switch (transfer_) {
    case Transfer::Reading:
        Tell(QStringLiteral("Lecture en cours : attendez sa fin."));
        break;
    case Transfer::Writing:
        Tell(QStringLiteral("Mise à jour en cours : attendez sa fin."));
        break;
    case Transfer::None:
        break;
    }
    return true;
}

/// Whether the image is one that nobody should have on the board or in a file; tells the user so.
bool EEprom::RefusesImage()
{
    if (whole_)
        return false;
    QApplication::beep();
    Tell(QStringLiteral("L'image n'a pas été lue en entier : rien n'est écrit."));
    return true;
}

// ---- reading and writing the board

/// Reads both images. One at a time, and none over an image that is being written.
Task<void> EEprom::Form_Activate()
{
    if (!isVisible() || !isEnabled() || Busy())
        co_return;
    const QString replaced = EditsText(std::exchange(replaced_, 0) + Edits());
    {
        const Hold hold(*this, Transfer::Reading);
        const std::function<bool()> stillOpen = StillOpen();
        whole_ = false;
        Task<void> master = ReadImage(command::ReadMasterEeprom, &link_.MasterEeprom, stillOpen);
        co_await master;
        Task<void> slave = ReadImage(command::ReadSlaveEeprom, &link_.SlaveEeprom, stillOpen);
        co_await slave;
        if (!stillOpen())
            co_return;
        whole_ = true;
        CurAddr = noAddress;
        Keep();
        ShowText();
        ShowImage();
    }
    if (!replaced.isEmpty())
        Tell(QStringLiteral("L'image lue sur la carte remplace ce qui n'était pas envoyé : %1.").arg(replaced));
}

/// Ends early when the window is closed.
Task<void> EEprom::ReadImage(quint8 command, Image *image, std::function<bool()> stillOpen)
{
    for (int address = 0; address < esvfile::imageSize && stillOpen(); ++address) {
        Task<QByteArray> exchange = link_.Exchange(Request(command, address), Reply::Framed(1), stillOpen);
        const QByteArray reply = co_await exchange;
        if (!stillOpen())
            co_return;
        (*image)[static_cast<size_t>(address)] = static_cast<quint8>(reply[0]);
        Progress(address);
    }
}

Task<void> EEprom::CBUpdate_Click()
{
    if (Refuses() || RefusesImage())
        co_return;
    const Hold hold(*this, Transfer::Writing);
    const std::function<bool()> stillOpen = StillOpen();
    const Image image = Selected(); // as it is now, whatever is entered meanwhile
    const quint8 write = MasterSide() ? command::WriteMasterEeprom : command::WriteSlaveEeprom;
    for (int address = 0; address < esvfile::imageSize && stillOpen(); ++address) {
        const QByteArray request = Request(write, address, image[static_cast<size_t>(address)]);
        Task<QByteArray> exchange = link_.Exchange(request, Reply::Stored(), stillOpen);
        co_await exchange;
        if (stillOpen())
            Progress(address);
    }
    if (!stillOpen())
        co_return;
    kept_ = image;
    ShowEdits();
}

// ---- image files

namespace {
dialogs::FileQuestion ImageFile(QFileDialog::AcceptMode mode, const QString &filter, bool master)
{
    return {.mode = mode,
            .title = QStringLiteral("Fichier Save EpromPic") +
                     (master ? QStringLiteral(" Master") : QStringLiteral("Slave")), // one word, as it always was
            .filter = filter,
            .folder = drive::Root(),
            .suffix = QStringLiteral("ESV")};
}
} // namespace

Task<void> EEprom::CBSaveeprom_Click()
{
    if (Refuses() || RefusesImage())
        co_return;
    Task<QString> choice = dialogs::ChooseFile(
        commonDialog1_,
        ImageFile(QFileDialog::AcceptSave, QStringLiteral("EEpromSave (*.ESV);; All (*.* *)"), MasterSide()));
    const QString path = co_await choice;
    if (path.isEmpty() || Refuses())
        co_return;
    try {
        wholefile::Replace(path, esvfile::Write(QByteArrayView(Selected().data(), esvfile::imageSize)));
        Keep();
        ShowEdits();
        Tell(QStringLiteral("%1 : image enregistrée.").arg(path));
    } catch (const FileError &error) {
        Tell(error.Text());
    }
}

Task<void> EEprom::CBLoadeprom_Click()
{
    if (Refuses())
        co_return;
    Task<QString> choice = dialogs::ChooseFile(
        commonDialog1_,
        ImageFile(QFileDialog::AcceptOpen, QStringLiteral("EEPromSave (*.ESV);; All (*.* *)"), MasterSide()));
    const QString path = co_await choice;
    if (path.isEmpty() || Refuses())
        co_return;
    try {
        const QByteArray bytes = esvfile::Read(wholefile::Read(path, esvfile::largestFile));
        std::ranges::copy(bytes, Selected().begin()); // of a file that ends early, what there is
        whole_ = whole_ || bytes.size() == esvfile::imageSize;
        Keep();
        Tell(QStringLiteral("%1 : %2 octets lus.").arg(path, QString::number(bytes.size())));
    } catch (const FileError &error) {
        Tell(error.Text());
    }
    ShowText();
    ShowImage();
}

// ---- entries

void EEprom::Vscroll1_Change()
{
    ShowRow();
}

/// The address of the byte to edit.
void EEprom::Text2_KeyPress()
{
    const std::optional<quint8> address = Entered(ui_.Text2);
    paint::Refused(ui_.Text2, !address);
    CurAddr = address.value_or(noAddress);
    if (!address)
        return;
    if (CurAddr < rowLength)
        ui_.Label8->setText(QString::fromLatin1((MasterSide() ? masterNames : slaveNames)[CurAddr]));
    ShowParameters();
}

/// Its new value; the board gets it with "Mise à jour PIC" only.
void EEprom::Text3_KeyPress()
{
    if (CurAddr == noAddress)
        return;
    const std::optional<quint8> value = Entered(ui_.Text3);
    paint::Refused(ui_.Text3, !value);
    if (!value)
        return;
    Selected()[CurAddr] = *value;
    ShowParameters();
    ShowImage();
}

// ---- what is entered and nowhere else

void EEprom::Keep()
{
    kept_ = Selected();
}

bool EEprom::IsEdited(int address)
{
    const auto i = static_cast<size_t>(address);
    return whole_ && Selected()[i] != kept_[i];
}

int EEprom::Edits()
{
    const auto addresses = std::views::iota(0, esvfile::imageSize);
    return static_cast<int>(std::ranges::count_if(addresses, [this](int address) { return IsEdited(address); }));
}

/// Marks the bytes that were entered, and counts them.
void EEprom::ShowEdits()
{
    for (int address = 0; address < esvfile::imageSize; ++address) {
        QTableWidgetItem *cell = ui_.table->item(address / rowLength, address % rowLength);
        QFont font;
        font.setBold(IsEdited(address));
        cell->setFont(font);
        cell->setForeground(IsEdited(address) ? QBrush(Ink(Tone::Caution, palette())) : QBrush());
    }
    edits_->setText(EditsText(Edits()));
}

// ---- display

QString EEprom::Cell(int row, int column)
{
    const int address = row * rowLength + column;
    return TwoDigits(Selected()[static_cast<size_t>(address)]);
}

void EEprom::ShowRow()
{
    CurRow = static_cast<quint8>(ui_.Vscroll1->value());
    QString line;
    for (int column = 0; column < rowLength; ++column)
        line += Cell(CurRow, column) + u' ';
    ui_.Lbdat2->setText(line);
    ui_.Label2->setText(QString::number(CurRow));
    ui_.table->selectRow(CurRow);
}

/// The row and the table of all rows.
void EEprom::ShowImage()
{
    for (int row = 0; row < rowLength; ++row)
        for (int column = 0; column < rowLength; ++column)
            ui_.table->item(row, column)->setText(Cell(row, column));
    ShowEdits();
    ShowRow();
}

void EEprom::ShowParameters()
{
    QString line;
    for (size_t address = 0; address < rowLength; ++address)
        line += (MasterSide() ? TwoDigits : SlaveText)(Selected()[address]) + QStringLiteral("  ");
    ui_.Label3->setText(line);
}

void EEprom::ShowText()
{
    QString text;
    for (size_t address = textBegin; address < textEnd; ++address) {
        const QChar character = QChar::fromLatin1(static_cast<char>(Selected()[address]));
        if (!character.isNull())
            text += character.isPrint() ? character : QChar(u'·');
    }
    ui_.Text4->setText(text);
}

/// Moves the bar while the next request is on the wire, which does not wait for its painting.
void EEprom::Progress(int address)
{
    QMetaObject::invokeMethod(ui_.Bar, [bar = ui_.Bar, address] { bar->setValue(address); }, Qt::QueuedConnection);
}

void EEprom::Tell(const QString &text)
{
    statusBar()->showMessage(text);
}
