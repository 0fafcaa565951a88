// SPDX-License-Identifier: GPL-3.0-or-later
#include "fetat.h"

#include "base/number.h"
#include "base/paint.h"
#include "link/measurement.h"
#include "link/settingbox.h"

#include <QCloseEvent>

namespace {
constexpr int refreshMs = 1000;
constexpr int firstFrequency = 40;

const QColor green(0, 255, 0);
const QColor red(255, 0, 0);
const QColor unknown(128, 128, 128);

/// An output is red while its bit is set. Gives the bit.
int ShowOutput(QLabel *indicator, quint8 port, quint8 mask)
{
    const bool set = (port & mask) != 0;
    paint::Lamp(indicator, set ? red : green);
    return set ? 1 : 0;
}

void ShowValue(QLabel *label, double value, const QString &unit = {})
{
    label->setText(number::Str(value) + unit);
}

/// A current setting; without a scale from the board the setting stands alone.
void ShowSetting(QLineEdit *box, int value, quint8 scale)
{
    QString text = number::Str(value);
    if (scale != 0)
        text += QStringLiteral(" <=> ") + number::Str(measurement::CurrentSettingAmps(value, scale));
    box->setText(text);
}
} // namespace

/// Keeps TmrEtat disabled. With automatic refresh on it is enabled again once the last of overlapping handlers is done.
class FEtat::Hold
{
public:
    explicit Hold(FEtat &window) : window_(window), counts_(window.loads_.Present())
    {
        ++window_.holds_;
        window_.tmrEtat_.SetEnabled(false);
    }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold()
    {
        if (counts_() && --window_.holds_ == 0 && window_.Autoon == 1)
            window_.tmrEtat_.SetEnabled(true);
    }

private:
    FEtat &window_;
    std::function<bool()> counts_;
};

/// One refresh: REF is 1 while it lasts.
class FEtat::Pass
{
public:
    explicit Pass(FEtat &window) : window_(window), lasts_(window.opening_.Lasts()) { window_.REF = 1; }
    Pass(const Pass &) = delete;
    Pass &operator=(const Pass &) = delete;
    ~Pass()
    {
        if (!lasts_())
            return;
        window_.REF = 0;
        // Later: those who wait must not run in the middle of the refresh that ends.
        FEtat *window = &window_;
        QMetaObject::invokeMethod(window, [window] { window->passOver_.Wake(); }, Qt::QueuedConnection);
    }

private:
    FEtat &window_;
    std::function<bool()> lasts_;
};

FEtat::FEtat(Codebas &link)
    : Window(QStringLiteral("FEtat")), link_(link), tmrEtat_(QStringLiteral("TmrEtat"), refreshMs, this)
{
    ui_.setupUi(this);
    for (QLabel *label : {ui_.Label2, ui_.Label4, ui_.Label12}) { // nothing moves when they appear
        QSizePolicy policy = label->sizePolicy();
        policy.setRetainSizeWhenHidden(true);
        label->setSizePolicy(policy);
    }
    RememberDesign();
    freshness_.Add({ui_.LbTempcad, ui_.LbTemp, ui_.LbValimcad, ui_.LBValim, ui_.LBVdblCad, ui_.LBVdbl, ui_.LBInvCad,
                    ui_.LBVinv, ui_.LBTembatCad, ui_.LbIchargCad, ui_.Icharg, ui_.LbIdechCad, ui_.LbIDech,
                    ui_.LbVdeltaCad, ui_.LbVbatinCad, ui_.LbVbatin, ui_.Label28});
    new SettingBox(ui_.Slider1, link, SettingBox::Amperes(link, 4));
    new SettingBox(ui_.Slider2, link, SettingBox::Amperes(link, 5));
    for (QSlider *slider : {ui_.Slider3, ui_.Slider4, ui_.SliderPWMFreq, ui_.SliderPWMDelta})
        new SettingBox(slider, link);
    connect(&tmrEtat_, &Timer::Tick, this, [this] { Start(TmrEtat_Timer()); });
    OnClick(ui_.Cbcutch, &FEtat::Cbcutch_Click);
    OnClick(ui_.CbCutdech, &FEtat::CbCutdech_Click);
    OnClick(ui_.CbCutpwr, &FEtat::CbCutpwr_Click);
    OnClick(ui_.Cbgndbat, &FEtat::Cbgndbat_Click);
    OnClick(ui_.CbLed, &FEtat::CbLed_Click);
    OnClick(ui_.Cbventillo, &FEtat::Cbventillo_Click);
    OnClick(ui_.CbCutDBl, &FEtat::CbCutDBl_Click);
    OnClick(ui_.CbBeep, &FEtat::CbBeep_Click);
    OnClick(ui_.CBmanuel, &FEtat::CBmanuel_Click);
    connect(ui_.CBAUTO, &QPushButton::clicked, this, &FEtat::CBAUTO_Click);
    connect(ui_.CBfermeretat, &QPushButton::clicked, this, &FEtat::CBfermeretat_Click);
    connect(ui_.Check1, &QCheckBox::toggled, this, &FEtat::Check1_Click);
    const auto onMove = [this](QSlider *slider, Task<void> (FEtat::*handler)(int)) {
        connect(slider, &QSlider::valueChanged, this, [this, handler](int value) { Start((this->*handler)(value)); });
    };
    onMove(ui_.Slider1, &FEtat::Slider1_Change);
    onMove(ui_.Slider2, &FEtat::Slider2_Change);
    onMove(ui_.Slider3, &FEtat::Slider3_Change);
    onMove(ui_.Slider4, &FEtat::Slider4_Change);
    onMove(ui_.SliderPWMFreq, &FEtat::SliderPWMFreq_Change);
    onMove(ui_.SliderPWMDelta, &FEtat::SliderPWMDelta_Change);
}

void FEtat::Load()
{
    adjustSize();
    move(static_cast<int>(link_.MainLeft), static_cast<int>(link_.MainTop));
    tmrEtat_.SetInterval(refreshMs);
    tmrEtat_.SetEnabled(false);
    opening_.Begin();
    loads_.Next();
    holds_ = 0;
    REF = Autoon = 0;
    CutVdbl = boost = CutPower = Cutchrg = Cutdech = Cutventilo = Gndbat = LedState = 0;
    PotFreq = firstFrequency;
    PotDelta = 0;
    portClosed_.Forget();
    freshness_.Forget();
    for (QLabel *indicator : {ui_.Label5, ui_.Label3, ui_.Label21, ui_.Label20, ui_.Label19, ui_.Label18, ui_.Label17,
                              ui_.Label6, ui_.Label7, ui_.Label8, ui_.Label9, ui_.Label10, ui_.Label11})
        paint::Lamp(indicator, unknown);
    ShowBooster(false);
    Start(Form_Load());
}

Task<void> FEtat::Form_Load()
{
    Task<QByteArray> exchange = link_.Exchange(Request(command::Opening), Reply::Stored(), opening_.Lasts());
    co_await exchange;
}

/// Nothing of this opening of the window re-arms the timer, goes on refreshing or waits for a refresh.
void FEtat::Leave()
{
    tmrEtat_.SetEnabled(false);
    Autoon = 0;
    REF = 0;
    opening_.End();
    link_.line.Reconsider(); // nobody waits for what a silent board owes it
    QMetaObject::invokeMethod(this, [this] { passOver_.Wake(); }, Qt::QueuedConnection);
}

void FEtat::closeEvent(QCloseEvent *event)
{
    Leave();
    event->accept();
}

void FEtat::CBfermeretat_Click()
{
    close();
}

void FEtat::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error)) {
        Window::Failed(error);
        return;
    }
    Leave();
    EndProgram(error);
}

// ---- outputs

Task<void> FEtat::Toggle(Output output)
{
    const Hold hold(*this);
    const auto wanted = loads_.Present();
    while (wanted() && REF == 1)
        co_await passOver_;
    // The state is looked at when the line is ours, so that presses that follow each other fast take turns.
    const std::function<QByteArray()> press = [this, output, wanted] {
        if (!wanted())
            return QByteArray();
        const Change &change = *output.state == 1 ? output.from1 : output.from0;
        *output.state = *output.state == 1 ? 0 : 1;
        paint::Lamp(output.indicator, change.colour);
        link_.outputs.Told(output.command, change.sent);
        if (output.command != command::Booster)
            return Request(output.command, change.sent);
        boost = CutVdbl;
        return THardware == 1 ? BoosterRequest(change.sent) : Request(command::Booster, change.sent);
    };
    Task<QByteArray> exchange = link_.Exchange(press, Reply::Acknowledge());
    co_await exchange;
}

Task<void> FEtat::Cbcutch_Click()
{
    return Toggle({command::CutCharge, &Cutchrg, ui_.Label21, {1, green}, {0, red}});
}

Task<void> FEtat::CbCutdech_Click()
{
    return Toggle({command::CutDischarge, &Cutdech, ui_.Label20, {1, green}, {0, red}});
}

Task<void> FEtat::CbCutpwr_Click()
{
    return Toggle({command::CutPower, &CutPower, ui_.Label3, {1, green}, {0, red}});
}

Task<void> FEtat::Cbgndbat_Click()
{
    return Toggle({command::GroundBattery, &Gndbat, ui_.Label5, {1, red}, {0, green}});
}

Task<void> FEtat::CbLed_Click()
{
    return Toggle({command::Led, &LedState, ui_.Label17, {0, green}, {1, red}});
}

Task<void> FEtat::Cbventillo_Click()
{
    return Toggle({command::Fan, &Cutventilo, ui_.Label19, {0, green}, {1, red}});
}

Task<void> FEtat::CbCutDBl_Click()
{
    return Toggle({command::Booster, &CutVdbl, ui_.Label18, {1, red}, {0, green}});
}

Task<void> FEtat::CbBeep_Click()
{
    constexpr quint8 length = 10;
    const auto wanted = loads_.Present();
    while (wanted() && REF == 1) // like the others: nothing goes between the readings of a refresh
        co_await passOver_;
    Task<QByteArray> exchange = link_.Exchange(Request(command::Beep, length), Reply::Acknowledge(), wanted);
    co_await exchange;
}

// ---- booster and settings

void FEtat::Check1_Click()
{
    ShowBooster(ui_.Check1->isChecked());
}

void FEtat::ShowBooster(bool selected)
{
    THardware = selected ? 1 : 0;
    ui_.SliderPWMFreq->setEnabled(selected);
    ui_.SliderPWMDelta->setEnabled(selected);
    for (QLabel *label : {ui_.Label12, ui_.Label2, ui_.Label4})
        label->setVisible(selected);
    for (QLabel *label : {ui_.nameSliderPWMFreq, ui_.nameSliderPWMDelta}) // in their places
        label->setVisible(!selected);
    ui_.CbCutDBl->setText(selected ? QStringLiteral("BOOSTER") : QStringLiteral("CUT VDBL"));
}

/// Command 51 as boards with a booster take it: the width goes high byte first.
QByteArray FEtat::BoosterRequest(quint8 cut) const
{
    return Request(command::Booster, cut, PotFreq, PotDelta / 256, PotDelta % 256);
}

Task<void> FEtat::SendSlider(QSlider *slider, std::function<void()> show, std::function<QByteArray()> request)
{
    const auto wanted = [newest = moves_[slider].Next(), sameLoad = loads_.Present()] {
        return sameLoad() && newest();
    };
    const Hold hold(*this);
    while (wanted() && REF == 1)
        co_await passOver_;
    if (!wanted())
        co_return;
    show();
    const std::function<QByteArray()> newest = [wanted, request] { return wanted() ? request() : QByteArray(); };
    Task<QByteArray> exchange = link_.Exchange(newest, Reply::Acknowledge());
    co_await exchange;
}

Task<void> FEtat::Slider1_Change(int value)
{
    return SendSlider(
        ui_.Slider1, [this, value] { ShowSetting(ui_.TxIch, value, link_.SlaveEeprom[4]); },
        [value] { return Request(command::ChargeSetting, value); });
}

Task<void> FEtat::Slider2_Change(int value)
{
    return SendSlider(
        ui_.Slider2, [this, value] { ShowSetting(ui_.TxIdech, value, link_.SlaveEeprom[5]); },
        [value] { return Request(command::DischargeSetting, value); });
}

Task<void> FEtat::Slider3_Change(int value)
{
    return SendSlider(
        ui_.Slider3, [this, value] { ui_.TxVdelta->setText(number::Str(value)); },
        [value] { return Request(command::DeltaOffset, value); });
}

Task<void> FEtat::Slider4_Change(int value)
{
    return SendSlider(
        ui_.Slider4, [this, value] { ui_.TxVdecal->setText(number::Str(value)); },
        [value] { return Request(command::DeltaGain, value); });
}

Task<void> FEtat::SliderPWMFreq_Change(int value)
{
    const auto show = [this, value] {
        PotFreq = value;
        ui_.Label12->setText(QStringLiteral("MAX : ") + number::Str(4 * PotFreq));
    };
    return SendSlider(ui_.SliderPWMFreq, show, [this] { return BoosterRequest(boost == 1 ? 0 : 1); });
}

Task<void> FEtat::SliderPWMDelta_Change(int value)
{
    return SendSlider(
        ui_.SliderPWMDelta, [this, value] { PotDelta = value; }, [this] { return BoosterRequest(boost == 1 ? 0 : 1); });
}

// ---- refresh

void FEtat::CBAUTO_Click()
{
    Autoon = Autoon == 1 ? 0 : 1; // TmrEtat itself is disabled for a moment whenever a handler runs
    tmrEtat_.SetEnabled(Autoon == 1 && holds_ == 0);
    ui_.Label1->setText(Autoon == 1 ? QStringLiteral("Auto = on") : QStringLiteral("Auto = off"));
}

Task<void> FEtat::CBmanuel_Click()
{
    return StRefresh();
}

Task<void> FEtat::TmrEtat_Timer()
{
    const Hold hold(*this);
    std::optional<PortClosed> closed;
    try {
        co_await StRefresh();
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (portClosed_.Begins(closed.has_value()))
        Window::Failed(*closed);
}

Task<void> FEtat::StRefresh()
{
    const auto open = opening_.Lasts();
    while (open() && REF == 1)
        co_await passOver_;
    if (!open())
        co_return;
    const Pass pass(*this);
    try {
        co_await ReadAnalogue();
        co_await ReadStates();
        co_await ReadClock();
        co_await ReadPushButtons();
        freshness_.Read();
    } catch (const Opening::Over &) {
        // its labels are no longer ours
    }
}

Task<QByteArray> FEtat::Mgetsrl(quint8 command, int dataBytes, bool clearFirst)
{
    const auto open = opening_.Lasts();
    Reply form = Reply::Framed(dataBytes);
    form.clearFirst = clearFirst;
    Task<QByteArray> exchange = link_.Exchange(Request(command), form, open, Exchanges::Overtaking::Refused);
    const QByteArray reply = co_await exchange;
    if (!open())
        throw Opening::Over();
    co_return reply;
}

Task<int> FEtat::ReadCount(quint8 channel, QLabel *rawLabel)
{
    Task<QByteArray> exchange = Mgetsrl(channel, 2);
    const QByteArray reply = co_await exchange;
    const int count = measurement::Count(static_cast<quint8>(reply.at(0)), static_cast<quint8>(reply.at(1)), channel);
    ShowValue(rawLabel, count);
    co_return count;
}

Task<void> FEtat::ReadAnalogue()
{
    Task<void> temperature = ReadQuantity(Quantity::temperature, ui_.LbTempcad, ui_.LbTemp);
    co_await temperature;
    Task<void> supply = ReadQuantity(Quantity::supply, ui_.LbValimcad, ui_.LBValim);
    co_await supply;
    Task<void> doubler = ReadQuantity(Quantity::doubler, ui_.LBVdblCad, ui_.LBVdbl);
    co_await doubler;
    int count = co_await ReadCount(command::InverterState, ui_.LBInvCad);
    ui_.LBVinv->setText(count < 100 ? QStringLiteral("inv") : QStringLiteral("norm"));
    co_await ReadCount(command::BatteryTemperature, ui_.LBTembatCad);
    Task<void> charge = ReadQuantity(Quantity::chargeCurrent, ui_.LbIchargCad, ui_.Icharg);
    co_await charge;
    Task<void> discharge = ReadQuantity(Quantity::dischargeCurrent, ui_.LbIdechCad, ui_.LbIDech);
    co_await discharge;
    co_await ReadCount(command::DeltaVoltage, ui_.LbVdeltaCad);
    count = co_await ReadCount(command::BatteryVoltage, ui_.LbVbatinCad);
    ui_.LbVbatin->setText(number::Str(measurement::CadBatteryVolts(link_, count)) + u'V');
}

Task<void> FEtat::ReadQuantity(const Quantity &quantity, QLabel *rawLabel, QLabel *valueLabel)
{
    const int count = co_await ReadCount(quantity.channel, rawLabel);
    quantity.Show(link_, count, rawLabel, valueLabel);
}

Task<quint8> FEtat::ReadPort(quint8 command, bool clearFirst)
{
    Task<QByteArray> exchange = Mgetsrl(command, 1, clearFirst);
    const QByteArray reply = co_await exchange;
    co_return static_cast<quint8>(reply.at(0));
}

Task<void> FEtat::ReadStates()
{
    // A 27 that ended the reply before is taken for the beginning of this one.
    const quint8 outputs = co_await ReadPort(command::OutputPort, false);
    LedState = ShowOutput(ui_.Label17, outputs, 2);
    ShowOutput(ui_.Label18, outputs, 1);
    ShowOutput(ui_.Label19, outputs, 32); // the board's bit says nothing of what the next press sends
    const quint8 switches = co_await ReadPort(command::SwitchPort);
    Cutdech = ShowOutput(ui_.Label20, switches, 1);
    Cutchrg = ShowOutput(ui_.Label21, switches, 2);
    CutPower = ShowOutput(ui_.Label3, switches, 4);
    link_.outputs.WereRead(switches);
}

Task<void> FEtat::ReadClock()
{
    Task<QByteArray> exchange = Mgetsrl(command::Clock, 3);
    const QByteArray reply = co_await exchange;
    QStringList fields;
    for (const char field : reply.first(3))
        fields.append(number::Str(static_cast<quint8>(field)));
    ui_.Label28->setText(fields.join(QStringLiteral(" , ")));
}

Task<void> FEtat::ReadPushButtons()
{
    const quint8 buttons = co_await ReadPort(command::SwitchPort);
    const struct
    {
        QLabel *indicator;
        quint8 mask;
        QColor set;
        QColor clear;
    } lamps[] = {
        {ui_.Label6, 8, red, green},  {ui_.Label7, 16, green, red},   {ui_.Label8, 32, green, red},
        {ui_.Label9, 64, red, green}, {ui_.Label10, 128, green, red},
    };
    for (const auto &lamp : lamps)
        paint::Lamp(lamp.indicator, (buttons & lamp.mask) != 0 ? lamp.set : lamp.clear);
    const quint8 sixth = co_await ReadPort(command::SixthButtonPort);
    paint::Lamp(ui_.Label11, (sixth & 1) != 0 ? green : red);
}
