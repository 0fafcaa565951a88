// SPDX-License-Identifier: GPL-3.0-or-later
#include "reglipo.h"

#include "base/messages.h"
#include "base/number.h"
#include "correction.h"
#include "link/command.h"
#include "link/settingbox.h"

namespace {
constexpr int readingMs = 500;
constexpr int samples = 4;

// In the master's EEPROM. With a base of 0 all this lies over the words of the temperature and of the supplies.
constexpr quint8 base = 0;
constexpr quint8 offsetTrimAddress = base;
constexpr quint8 gainTrimAddress = base + 1;
constexpr quint8 firstPointAddress = base + 2;
constexpr quint8 gainAddress = base + 12;
constexpr quint8 offsetAddress = base + 14;

constexpr quint8 PointAddress(size_t row)
{
    return static_cast<quint8>(firstPointAddress + 2 * row);
}
} // namespace

/// The writes of one of the buttons; as long as they last those of the others wait.
class RegLIPO::Work
{
public:
    explicit Work(RegLIPO &window) : window_(window), lasts_(window.works_.Present()) { window_.working_ = true; }
    Work(const Work &) = delete;
    Work &operator=(const Work &) = delete;
    ~Work()
    {
        if (!Lasts())
            return;
        window_.working_ = false;
        // Later: the next one must not run in the middle of the one that ends.
        RegLIPO *window = &window_;
        QMetaObject::invokeMethod(window, [window] { window->workOver_.Wake(); }, Qt::QueuedConnection);
    }
    /// False once the window was left or another number of cells was chosen.
    bool Lasts() const { return lasts_(); }

private:
    RegLIPO &window_;
    std::function<bool()> lasts_;
};

/// Keeps TimerLipo stopped until the last of overlapping handlers is done.
class RegLIPO::Hold
{
public:
    explicit Hold(RegLIPO &window) : window_(window), lasts_(window.opening_.Lasts())
    {
        ++window_.holds_;
        window_.timer_.SetEnabled(false);
    }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold()
    {
        if (lasts_() && --window_.holds_ == 0)
            window_.timer_.SetEnabled(true);
    }

private:
    RegLIPO &window_;
    std::function<bool()> lasts_;
};

RegLIPO::RegLIPO(Codebas &link) : ReadingWindow(QStringLiteral("RegLIPO"), link, QStringLiteral("TimerLipo"), readingMs)
{
    ui_.setupUi(this);
    SetNote(ui_.note);
    SetReading(ui_.deltaCount);
    rows_ = {{{ui_.BtnV4_4, ui_.reference1, ui_.Check1, ui_.stored1},
              {ui_.BtnV4_2, ui_.reference2, ui_.Check2, ui_.stored2},
              {ui_.BtnV4_1, ui_.reference3, ui_.Check3, ui_.stored3},
              {ui_.BtnV3_0, ui_.reference4, ui_.Check4, ui_.stored4},
              {ui_.Btn2_7, ui_.reference5, ui_.Check5, ui_.stored5}}};
    checks_ = {ui_.Check1, ui_.Check2, ui_.Check3, ui_.Check4, ui_.Check5, ui_.Check6, ui_.Check7};
    for (QCheckBox *check : checks_)
        check->setAttribute(Qt::WA_TransparentForMouseEvents); // indicators
    RememberDesign();
    for (QSlider *trim : {ui_.REGDelta, ui_.REGOfs})
        new SettingBox(trim, link);
    connect(ui_.List1, &QListWidget::currentRowChanged, this, &RegLIPO::List1_Click);
    connect(ui_.List1, &QListWidget::itemClicked, this, [this] { List1_Click(ui_.List1->currentRow()); });
    for (size_t row = 0; row < rows_.size(); ++row)
        connect(rows_[row].button, &QPushButton::clicked, this, [this, row] { Start(MeasurePoint(row)); });
    OnClick(ui_.BtnCoef, &RegLIPO::BtnCoef_Click);
    OnClick(ui_.BtnPot, &RegLIPO::BtnPot_Click);
    connect(ui_.BtnRetour, &QPushButton::clicked, this, &QWidget::close);
    connect(ui_.REGDelta, &QSlider::valueChanged, this, [this](int value) { Start(REGDelta_Change(value)); });
    connect(ui_.REGOfs, &QSlider::valueChanged, this, [this](int value) { Start(REGOfs_Change(value)); });
}

void RegLIPO::Load()
{
    ReadingWindow::Load();
    ui_.List1->clear();
    for (int cells = 1; cells <= lipo::mostCells; ++cells)
        ui_.List1->addItem(number::Plain(cells));
    timer_.SetEnabled(false);
    Points = {};
    latestCount_ = 0;
    holds_ = 0;
    ui_.List1->setCurrentRow(0);
    const auto measure = [this, open = opening_.Lasts()] {
        if (open() && holds_ == 0)
            timer_.SetEnabled(true);
    };
    lines_ = link_.outputs.Begin({{command::CutPower, 0}, {command::CutDischarge, 0}, {command::CutCharge, 0}});
    link_.outputs.Queue(
        lines_,
        {{command::CutPower, 0}, {command::CutDischarge, 1}, {command::CutCharge, 0}, {command::GroundBattery, 1}},
        measure);
}

void RegLIPO::closeEvent(QCloseEvent *event)
{
    ReadingWindow::closeEvent(event);
    link_.line.Reconsider(); // nobody waits for what a silent board owes it
    EndWork();
    link_.outputs.Queue(
        lines_,
        {{command::CutPower, 0}, {command::CutDischarge, 1}, {command::CutCharge, 1}, {command::GroundBattery, 0}});
    link_.outputs.Leave(lines_);
}

void RegLIPO::ShowStored()
{
    for (size_t row = 0; row < rows_.size(); ++row)
        ShowWord(rows_[row].stored, &BoardEeproms::Master, PointAddress(row));
    ShowByte(ui_.storedGainTrim, &BoardEeproms::Master, gainTrimAddress);
    ShowByte(ui_.storedOffsetTrim, &BoardEeproms::Master, offsetTrimAddress);
    ShowWord(ui_.storedGain, &BoardEeproms::Master, gainAddress);
    ShowWord(ui_.storedOffset, &BoardEeproms::Master, offsetAddress);
}

/// An action that waits ends, and so does what is left of one that writes.
void RegLIPO::EndWork()
{
    works_.Next();
    working_ = false;
    freshSample_.Wake();
    workOver_.Wake();
}

/// Waits until the writes of the other buttons are over; false when what wants to write has been called off meanwhile.
Task<bool> RegLIPO::Turn()
{
    const auto lasts = works_.Present();
    while (working_ && lasts())
        co_await workOver_;
    co_return lasts();
}

// ---- points

void RegLIPO::List1_Click(int row)
{
    if (row < 0)
        return; // the list is being filled
    EndWork();
    Say({});
    for (QCheckBox *check : checks_)
        check->setChecked(false);
    ui_.Label10->setText(QStringLiteral("0"));
    ui_.Label11->setText(QStringLiteral("0"));
    const int cells = row + 1;
    const auto captions = lipo::Captions(cells);
    const auto references = lipo::References(cells);
    for (size_t point = 0; point < rows_.size(); ++point) {
        rows_[point].button->setText(captions[point]);
        rows_[point].reference->setText(QString::number(references[point], 'f', 1).replace(u'.', u',') +
                                        QStringLiteral(" V"));
        Points[point].volts = references[point];
    }
}

Task<void> RegLIPO::MeasurePoint(size_t row)
{
    const auto lasts = works_.Present();
    Say(QStringLiteral("Mesure du point %1 en attente…").arg(rows_[row].reference->text()));
    freshSample_.Clear();
    while (lasts() && !freshSample_.IsSet())
        co_await freshSample_;
    if (!lasts())
        co_return;
    rows_[row].measured->setChecked(true);
    Points[row].count = latestCount_;
    Task<bool> turn = Turn();
    if (!co_await turn)
        co_return;
    const Work work(*this);
    Task<void> writes = WriteWord(PointAddress(row), Points[row].count, sets_.Next());
    co_await writes;
    if (!work.Lasts())
        co_return;
    rows_[row].button->setText(number::Plain(Points[row].count));
    Say(QStringLiteral("Point %1 écrit.").arg(rows_[row].reference->text()));
}

// ---- coefficients and trims

Task<void> RegLIPO::BtnCoef_Click()
{
    Task<bool> turn = Turn();
    if (!co_await turn)
        co_return;
    const auto isMissing = [](const Row &row) { return !row.measured->isChecked(); };
    if (std::ranges::any_of(rows_, isMissing)) {
        messages::Show(this, QMessageBox::Critical, QStringLiteral("ERREUR"),
                       QStringLiteral("Valeurs manquantes, opération annulée"));
        co_return;
    }
    ui_.Check7->setChecked(true);
    const lipo::Coefficients coefficients = lipo::Compute(Points);
    const Work work(*this);
    ui_.Label10->setText(number::Str(coefficients.gain));
    ui_.Label11->setText(number::Str(coefficients.offset));
    const bool fit = lipo::FitTwoBytes(coefficients);
    Say(fit ? QStringLiteral("Écriture…")
            : QStringLiteral(
                  "Valeur hors limites (0 à 65535) : la carte n'en garde que les 8 bits bas de chaque octet."));
    const auto newest = sets_.Next();
    Task<void> gain = WriteWord(gainAddress, coefficients.gain, newest);
    co_await gain;
    Task<void> offset = WriteWord(offsetAddress, coefficients.offset, newest);
    co_await offset;
    if (fit && work.Lasts())
        Say(QStringLiteral("Coefficients écrits."));
}

Task<void> RegLIPO::BtnPot_Click()
{
    Task<bool> turn = Turn();
    if (!co_await turn)
        co_return;
    const Work work(*this);
    ui_.Check6->setChecked(true);
    const auto offset = static_cast<quint8>(ui_.REGOfs->value());
    const auto gain = static_cast<quint8>(ui_.REGDelta->value());
    const auto newest = sets_.Next();
    Say(QStringLiteral("Écriture…"));
    const Hold hold(*this);
    co_await ReadingOver();
    Task<void> offsetWrite = WriteMaster(offsetTrimAddress, offset, newest);
    co_await offsetWrite;
    Task<void> gainWrite = WriteMaster(gainTrimAddress, gain, newest);
    co_await gainWrite;
    if (work.Lasts())
        Say(QStringLiteral("Potentiomètres écrits."));
}

Task<void> RegLIPO::WriteWord(quint8 address, double value, std::function<bool()> wanted)
{
    const Hold hold(*this);
    co_await ReadingOver();
    const calibration::HiLo word = calibration::SplitLowBits(value);
    Task<void> high = WriteMaster(address, word.ValHi, wanted);
    co_await high;
    Task<void> low = WriteMaster(static_cast<quint8>(address + 1), word.ValLo, wanted);
    co_await low;
}

Task<void> RegLIPO::WriteMaster(quint8 address, quint8 value, std::function<bool()> wanted)
{
    return WriteByte(command::WriteMasterEeprom, address, value, Reply::Acknowledge(), std::move(wanted));
}

// The trim that this window calls the gain is the one that the charge window calls the offset, and the other way round.
Task<void> RegLIPO::REGDelta_Change(int value)
{
    ui_.gainTrim->setText(number::Str(value));
    return SendTrim(ui_.REGDelta, command::DeltaOffset, value);
}

Task<void> RegLIPO::REGOfs_Change(int value)
{
    ui_.offsetTrim->setText(number::Str(value));
    return SendTrim(ui_.REGOfs, command::DeltaGain, value);
}

Task<void> RegLIPO::SendTrim(QSlider *slider, quint8 trim, int value)
{
    const auto newest = moves_[slider].Next();
    const Hold hold(*this);
    co_await ReadingOver();
    Task<QByteArray> exchange = link_.Exchange(Request(trim, value), Reply::Acknowledge(), newest);
    co_await exchange;
}

// ---- the measurement

Task<void> RegLIPO::Read()
{
    latestCount_ = co_await Lgetsrl();
    ui_.deltaCount->setText(number::Str(latestCount_));
    freshSample_.Set();
}

/// Nothing goes between the samples, and nobody overtakes them while the window is open.
Task<int> RegLIPO::Lgetsrl()
{
    const auto open = opening_.Lasts();
    const Reply count = Reply::Framed(2);
    Task<QByteArray> exchange =
        link_.Repeat(samples, Request(command::DeltaVoltage), count, open, Exchanges::Overtaking::Refused);
    const QByteArray counts = co_await exchange;
    if (!open())
        throw Opening::Over();
    int sum = 0;
    for (qsizetype i = 0; i < counts.size(); i += count.length)
        sum += static_cast<quint8>(counts[i]) * 256 + static_cast<quint8>(counts[i + 1]);
    co_return sum / samples;
}
