// SPDX-License-Identifier: GPL-3.0-or-later
#include "exteepr.h"

#include "base/dialogs.h"
#include "base/drive.h"
#include "base/messages.h"
#include "base/number.h"
#include "base/sliderbox.h"
#include "base/tone.h"
#include "base/wholefile.h"
#include "link/command.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QRegularExpressionValidator>

namespace {
constexpr qint64 longestFile = 1 << 20; // a hundred times what a table needs

/// Bytes as an edit field shows them, and back.
QString Shown(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes);
}
QByteArray Typed(const QLineEdit *box)
{
    return box->text().toLatin1();
}

/// Digits that were typed one behind the other; places left empty in front of the others count as 0.
QByteArray Count(const QString &text, int width)
{
    QByteArray digits = text.toLatin1();
    digits.removeIf([](char character) { return character < '0' || character > '9'; });
    return digits.first(std::min<qsizetype>(digits.size(), width)).rightJustified(width, '0');
}

/// The digits of "1,110 A" but the last one, which is part of the mask.
QByteArray Decimal(const QLineEdit *box)
{
    return box->displayText().remove(1, 1).first(3).toLatin1();
}

/// The digit of the battery type, 0 when the field is empty.
QByteArray Type(const QLineEdit *box)
{
    return Typed(box).leftJustified(1, '0', true);
}

void Allow(QLineEdit *box, const char *pattern)
{
    box->setValidator(new QRegularExpressionValidator(QRegularExpression(QString::fromLatin1(pattern)), box));
}

/// Marks a frame by its back colour.
void Highlight(QGroupBox *frame, bool on)
{
    SetGround(*frame, on ? Tone::Good : Tone::Plain);
    frame->setAutoFillBackground(on);
}
} // namespace

/// While it lives the bar is shown, and nothing but leaving the window can be done.
class Exteepr::Transfer
{
public:
    Transfer(Exteepr &window, const QString &what) : window_(window), lasts_(window.opening_.Lasts())
    {
        window_.SetTransferring(true);
        window_.ui_.statusbar->showMessage(what);
    }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;
    ~Transfer()
    {
        if (!lasts_())
            return;
        window_.SetTransferring(false);
        window_.ui_.statusbar->clearMessage();
    }

private:
    Exteepr &window_;
    std::function<bool()> lasts_;
};

Exteepr::Exteepr(Codebas &link) : Window(QStringLiteral("Exteepr")), link_(link)
{
    ui_.setupUi(this);
    options_ = {ui_.Check1, ui_.Check2, ui_.Check3, ui_.Check4, ui_.Check5, ui_.Check6};
    fields_.assign(options_.begin(), options_.end());
    for (QLineEdit *box : ui_.Fields->findChildren<QLineEdit *>())
        fields_.push_back(box);
    QSizePolicy policy = ui_.Bar1->sizePolicy(); // nothing moves when it appears
    policy.setRetainSizeWhenHidden(true);
    ui_.Bar1->setSizePolicy(policy);
    ui_.ImageLines->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    for (QLineEdit *box : {ui_.Text1, ui_.Text4})
        Allow(box, "[\\x00-\\xFF]*");
    Allow(ui_.Text6, "[0-9]?");
    for (QLineEdit *box : {ui_.TxnbElem, ui_.TNbrCycles})
        Allow(box, "[0-9]*");
    ui_.Text1->installEventFilter(this);
    edits_->setObjectName(QStringLiteral("edits"));
    SetTone(*edits_, Tone::Caution);
    ui_.statusbar->addPermanentWidget(edits_);
    RememberDesign();
    profile_ = new SliderBox(ui_.Slider1);

    connect(ui_.Option1, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            Option_Click(1);
    });
    connect(ui_.Option2, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            Option_Click(2);
    });
    // A click on the one that is selected tries again what failed.
    connect(ui_.Option1, &QRadioButton::clicked, this, [this] { Option_Click(1); });
    connect(ui_.Option2, &QRadioButton::clicked, this, [this] { Option_Click(2); });
    connect(ui_.Slider1, &QSlider::valueChanged, this, &Exteepr::Slider1_Change);
    connect(ui_.Slider1, &QSlider::actionTriggered, this, [this] {
        if (chosen_ == 0)
            Slider1_Change(ui_.Slider1->sliderPosition());
    });
    connect(ui_.Text1, &QLineEdit::textChanged, ui_.Text5, &QLineEdit::setText);
    connect(ui_.Text6, &QLineEdit::textChanged, this, &Exteepr::Text6_Change);
    for (const QLineEdit *box :
         {ui_.Text6, ui_.TxnbElem, ui_.TNbrCycles, ui_.EdICharg, ui_.EdIDech, ui_.EdDuree, ui_.EdVDech})
        connect(box, &QLineEdit::editingFinished, this, [this] { // zeros appear in the places that were left empty
            ShowFields(Typed(ui_.Text1), profile::Fields::Of(ScreenText()));
        });
    for (QLineEdit *box : findChildren<QLineEdit *>())
        connect(box, &QLineEdit::textEdited, this, &Exteepr::ShowEdits);
    for (QCheckBox *option : options_)
        connect(option, &QCheckBox::clicked, this, &Exteepr::ShowEdits);
    OnClick(ui_.CbSave, &Exteepr::CbSave_Click);
    OnClick(ui_.CbEcrit, &Exteepr::CbEcrit_Click);
    OnClick(ui_.CBLit, &Exteepr::CBLit_Click);
    connect(ui_.CbQuit, &QPushButton::clicked, this, &QWidget::close);
}

void Exteepr::Load()
{
    dialog_ = dialogs::CommonDialog(this);
    opening_.Begin();
    ProfileTable = Profiles();
    ImageTable = Image();
    Eeprom1Loaded = Eeprom2Loaded = false;
    filled_ = {};
    for (QRadioButton *option : {ui_.Option1, ui_.Option2}) {
        option->setAutoExclusive(false); // else one of them stays selected
        option->setChecked(false);
        option->setAutoExclusive(true);
    }
    Select(0);
    SetTransferring(false);
    ui_.statusbar->clearMessage();
    ShowImage();
    ShowHeader();
    ShowNoProfile({});
    Keep();
    Centre();
}

void Exteepr::closeEvent(QCloseEvent *event)
{
    if (!loss_.MayClose(*this, !transferring_ && Edited()
                                   ? QStringLiteral("Les types modifiés ne sont ni sur la carte ni dans un fichier.")
                                   : QString())) {
        event->ignore();
        return;
    }
    opening_.End(); // an exchange under way still gets its reply, and no other one begins
    if (dialog_)
        dialog_->reject();
    const bool cutShort = std::exchange(writing_, false);
    transferring_ = false;
    event->accept();
    Q_EMIT Returning();
    if (cutShort)
        messages::Show(nullptr, QMessageBox::Warning, windowTitle(),
                       QStringLiteral("L'écriture a été interrompue : l'EEPROM n'est pas écrite en entier."));
}

bool Exteepr::eventFilter(QObject *watched, QEvent *event)
{
    // A name comes filled with blanks to its full length: they make room for what the user types.
    if (watched == ui_.Text1 && event->type() == QEvent::FocusIn) {
        QString name = ui_.Text1->text();
        while (name.endsWith(u' '))
            name.chop(1);
        ui_.Text1->setText(name);
    }
    return Window::eventFilter(watched, event);
}

// ---- the EEPROMs

void Exteepr::Select(int eeprom)
{
    SelectedEeprom = eeprom;
    Highlight(ui_.Frame1, eeprom == 1);
    Highlight(ui_.Frame2, eeprom == 2);
    ui_.Label5->clear();
}

void Exteepr::Option_Click(int eeprom)
{
    if (transferring_)
        return;
    Select(eeprom);
    StoreScreen();
    Start(eeprom == 1 ? Option1_Click() : Option2_Click());
}

Task<void> Exteepr::Option1_Click()
{
    if (link_.LinkDropped || Eeprom1Loaded)
        co_return;
    Task<QByteArray> reading = ReadEeprom(0);
    const QByteArray memory = co_await reading;
    ImageTable.Read(memory);
    Eeprom1Loaded = filled_[1] = true;
    ShowImage();
    ui_.statusbar->showMessage(QStringLiteral("EEPROM 1 lue"));
}

Task<void> Exteepr::Option2_Click()
{
    if (!link_.LinkDropped && !Eeprom2Loaded) {
        Task<QByteArray> reading = ReadEeprom(1);
        const QByteArray memory = co_await reading;
        const bool replaces = Edited();
        ProfileTable.Read(memory);
        Eeprom2Loaded = filled_[2] = true;
        ShowHeader();
        Keep();
        ui_.statusbar->showMessage(replaces ? QStringLiteral("EEPROM 2 lue : elle remplace les types modifiés")
                                            : QStringLiteral("EEPROM 2 lue"));
    }
    profile::Fields sample;
    sample.cells = "01";
    sample.charge = "111";
    sample.hours = "01";
    sample.minutes = "10";
    sample.volts = "111";
    ShowNoProfile(sample);
}

/// One exchange of a transfer, which goes no further once the window is closed.
Task<QByteArray> Exteepr::Converse(QByteArray request, Reply reply)
{
    const std::function<bool()> wanted = opening_.Lasts();
    Task<QByteArray> exchange = link_.Exchange(request, reply, wanted);
    const QByteArray answer = co_await exchange;
    if (!wanted())
        throw Opening::Over();
    co_return answer;
}

/// All bytes of an EEPROM; the table it is meant for changes only when they are complete.
Task<QByteArray> Exteepr::ReadEeprom(quint8 chip)
{
    const Transfer transfer(*this, QStringLiteral("Lecture de l'EEPROM %1...").arg(chip + 1));
    QByteArray memory;
    for (int address = 0; address < EepromSize; ++address) {
        const QByteArray request = Request(command::ReadExternalEeprom, chip, address / 256, address % 256);
        Task<QByteArray> exchange = Converse(request, Reply::Framed(1));
        const QByteArray reply = co_await exchange;
        memory.append(reply.at(0));
        ui_.Bar1->setValue(address);
    }
    co_return memory;
}

Task<void> Exteepr::WriteBytes(quint8 chip, int address, QByteArray bytes)
{
    for (qsizetype i = 0; i < bytes.size(); ++i, ++address) {
        const QByteArray request =
            Request(command::WriteExternalEeprom, chip, address / 256, address % 256, bytes.at(i));
        Task<QByteArray> exchange = Converse(request, Reply::Stored());
        co_await exchange;
        ui_.Bar1->setValue(address);
    }
}

Task<void> Exteepr::CbSave_Click()
{
    ui_.Label5->clear();
    if (link_.LinkDropped) {
        messages::Show(this, QMessageBox::Warning, windowTitle(), QStringLiteral("Impossible Déconnecté"));
        co_return;
    }
    const int eeprom = SelectedEeprom == 1 ? 1 : 2;
    if (!filled_[static_cast<size_t>(eeprom)]) {
        messages::Show(
            this, QMessageBox::Warning, windowTitle(),
            QStringLiteral("L'EEPROM %1 n'a été ni lue ni chargée d'un fichier : rien n'a été écrit.").arg(eeprom));
        co_return;
    }
    StoreScreen();
    const QByteArray memory = eeprom == 1 ? ImageTable.Memory() : ProfileTable.RecordsMemory();
    {
        const Transfer transfer(*this, QStringLiteral("Ecriture de l'EEPROM %1...").arg(eeprom));
        writing_ = true;
        if (eeprom == 2) {
            Task<void> header = WriteBytes(1, 0, ProfileTable.HeaderMemory());
            co_await header;
        }
        Task<void> writing = eeprom == 1 ? WriteBytes(0, 0, memory) : WriteBytes(1, Profiles::recordsAddress, memory);
        co_await writing;
    }
    if (eeprom == 2)
        Keep();
    ui_.statusbar->showMessage(QStringLiteral("EEPROM %1 écrite").arg(eeprom));
}

void Exteepr::SetTransferring(bool transferring)
{
    transferring_ = transferring;
    writing_ = false;
    if (transferring) { // else the focus would go to "Quitte", which a space bar would press
        focus_ = focusWidget();
        setFocus();
    }
    EnableEntries();
    ui_.Bar1->setValue(0);
    ui_.Bar1->setVisible(transferring);
    if (!transferring && focus_)
        focus_->setFocus();
}

/// Entries are open while there is no transfer; those of a profile only once one is chosen.
void Exteepr::EnableEntries()
{
    const QSignalBlocker quiet(ui_.Slider1); // one that is disabled lets go of its handle
    for (QWidget *widget :
         std::initializer_list<QWidget *>{ui_.Selection, ui_.Text4, ui_.Slider1, ui_.CbSave, ui_.CbEcrit, ui_.CBLit})
        widget->setEnabled(!transferring_);
    for (QWidget *field : fields_)
        field->setEnabled(!transferring_ && chosen_ != 0);
    if (chosen_ == 0)
        FreeSlider();
}

// ---- files

Task<QString> Exteepr::ChooseFile(QFileDialog::AcceptMode mode)
{
    // "*" besides "*.*": a name without a point is a name, too.
    return dialogs::ChooseFile(dialog_, {.mode = mode,
                                         .title = QStringLiteral("Fichier Save Eprom"),
                                         .filter = QStringLiteral("EEpromSave (*.ESV);; All (*.* *)"),
                                         .folder = drive::Root(),
                                         .suffix = QStringLiteral("ESV")});
}

Task<void> Exteepr::CbEcrit_Click()
{
    ui_.Label5->clear();
    Task<QString> choice = ChooseFile(QFileDialog::AcceptSave);
    const QString path = co_await choice;
    if (path.isEmpty())
        co_return;
    StoreScreen();
    wholefile::Replace(path, SelectedEeprom == 1 ? ImageTable.Save() : ProfileTable.Save());
    if (SelectedEeprom != 1)
        Keep();
    ui_.statusbar->showMessage(QStringLiteral("Fichier écrit : %1").arg(path));
}

Task<void> Exteepr::CBLit_Click()
{
    ui_.Label5->clear();
    Task<QString> choice = ChooseFile(QFileDialog::AcceptOpen);
    const QString path = co_await choice;
    if (path.isEmpty())
        co_return;
    const QByteArray content = wholefile::Read(path, longestFile);
    int missing = 0;
    if (SelectedEeprom == 1) {
        missing = ImageTable.Load(content);
        filled_[1] = true;
        ShowImage();
    } else {
        missing = ProfileTable.Load(content);
        filled_[2] = true;
        ShowHeader();
        ShowProfile(ui_.Slider1->value());
        Keep();
    }
    ui_.Label5->setText(QStringLiteral("termine"));
    if (missing > 0)
        ui_.statusbar->showMessage(
            QStringLiteral("Fichier incomplet : %1 lignes y manquent et comptent comme vides").arg(missing));
    else
        ui_.statusbar->showMessage(QStringLiteral("Fichier lu : %1").arg(path));
}

// ---- what is on screen

void Exteepr::ShowImage()
{
    ui_.ImageLines->clear();
    for (int i = 0; i < EepromSize / 16; ++i) {
        QString line = Shown(ImageTable.Entries()[static_cast<size_t>(i)]);
        std::ranges::replace_if(line, [](QChar character) { return !character.isPrint(); }, QChar(u'·'));
        ui_.ImageLines->addItem(QStringLiteral("%1  %2").arg(i, 3).arg(line));
    }
}

void Exteepr::ShowHeader()
{
    ui_.Text4->setText(Shown(ProfileTable.Header()));
}

void Exteepr::Slider1_Change(int number)
{
    StoreScreen();
    ShowProfile(number);
}

void Exteepr::ShowProfile(int number)
{
    const QSignalBlocker quiet(ui_.Slider1);
    ui_.Slider1->setValue(number);
    profile_->Follow();
    ui_.Label4->setText(number::Str(number));
    ShowFields(ProfileTable.Name(number), profile::Fields::Of(ProfileTable.Text(number)));
    chosen_ = number;
    EnableEntries();
    shownName_ = Typed(ui_.Text1);
    ProfileText = ScreenText();
}

/// The fields hold a sample until a profile is chosen.
void Exteepr::ShowNoProfile(const profile::Fields &sample)
{
    chosen_ = 0;
    ui_.Label4->clear();
    ShowFields({}, sample);
    EnableEntries();
}

/// The slider's handle has a place, but not that of its value: whoever sets a value, as assistive tools do, can also
/// set the one that is there.
void Exteepr::FreeSlider()
{
    const QSignalBlocker quiet(ui_.Slider1);
    ui_.Slider1->setValue(ui_.Slider1->minimum());
    ui_.Slider1->setTracking(false);
    ui_.Slider1->setSliderPosition(ui_.Slider1->minimum() + 1);
    ui_.Slider1->setTracking(true);
    profile_->Empty();
}

void Exteepr::ShowFields(const QByteArray &name, const profile::Fields &fields)
{
    ui_.Text1->setText(Shown(name));
    ui_.Text6->setText(Shown(fields.type));
    ui_.TxnbElem->setText(Shown(fields.cells));
    ui_.TNbrCycles->setText(Shown(fields.cycles));
    ui_.EdICharg->setText(Shown(fields.charge)); // the masks add comma, last digit and unit
    ui_.EdIDech->setText(Shown(fields.discharge));
    ui_.EdDuree->setText(Shown(fields.hours + fields.minutes));
    ui_.EdVDech->setText(Shown(fields.volts));
    const int flags = fields.flags.toInt();
    for (size_t i = 0; i < options_.size(); ++i)
        options_[i]->setChecked((flags & profile::optionBits[i]) != 0);
    Text6_Change();
}

void Exteepr::Text6_Change()
{
    const QByteArray type = Type(ui_.Text6);
    const bool lithium = type == "2";
    ui_.Label8->setText(lithium       ? QStringLiteral("Lith")
                        : type == "0" ? QStringLiteral("Ni-Mh")
                                      : QStringLiteral("Ni-Cd"));
    ui_.Label12->setText(lithium ? QStringLiteral("Ajus. VMAX") : QStringLiteral("V Dech"));
    ui_.Check1->setText(lithium ? QStringLiteral("Fin rapide") : QStringLiteral("No Topping ch"));
    ui_.Check2->setText(lithium ? QStringLiteral("C à V = 4.1v") : QStringLiteral("No Prech > disch"));
    ui_.Check3->setText(lithium ? QStringLiteral("Prech @chrg") : QStringLiteral("No dV/dT @ch"));
}

QByteArray Exteepr::ScreenText() const
{
    int flags = 0;
    for (size_t i = 0; i < options_.size(); ++i)
        flags += options_[i]->isChecked() ? profile::optionBits[i] : 0;
    const QString duration = ui_.EdDuree->displayText();
    const profile::Fields typed{
        .flags = QByteArray::number(flags).rightJustified(3, '0'),
        .type = Type(ui_.Text6),
        .cells = Count(ui_.TxnbElem->text(), 2),
        .charge = Decimal(ui_.EdICharg),
        .discharge = Decimal(ui_.EdIDech),
        .hours = Count(duration.left(2), 2),
        .minutes = Count(duration.right(2), 2),
        .cycles = Count(ui_.TNbrCycles->text(), 2),
        .volts = Decimal(ui_.EdVDech),
    };
    return profile::Fields::Of(typed.Text()).Text(); // a place left empty counts as 0
}

/// Puts what was edited on screen into the table. A profile that was only looked at stays as it is: its flags may have
/// bits without a box, and the EEPROM's bytes digits without a field.
void Exteepr::StoreScreen()
{
    if (HeaderEdited())
        ProfileTable.SetHeader(Typed(ui_.Text4));
    if (!ProfileEdited())
        return;
    shownName_ = Typed(ui_.Text1);
    ProfileText = ScreenText();
    ProfileTable.Set(chosen_, shownName_, ProfileText);
}

bool Exteepr::HeaderEdited() const
{
    return Typed(ui_.Text4) != ProfileTable.Header();
}

bool Exteepr::ProfileEdited() const
{
    return chosen_ != 0 &&
           (profile::Padded(Typed(ui_.Text1)) != profile::Padded(shownName_) || ScreenText() != ProfileText);
}

// ---- what is edited and nowhere else

void Exteepr::Keep()
{
    kept_ = ProfileTable.Save();
    ShowEdits();
}

bool Exteepr::Edited() const
{
    return HeaderEdited() || ProfileEdited() || ProfileTable.Save() != kept_;
}

void Exteepr::ShowEdits()
{
    edits_->setVisible(Edited());
}
