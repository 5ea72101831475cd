#include "support/Rig.h"

#include <QFile>

void Rig::start(const char* variant, const Tester::StartSettings& settings) {
    tester.reset();
    board = qstrcmp(variant, "bare") == 0
                ? std::make_unique<SimulatedBoard>()
                : SimulatedBoard::fromVariant(QString::fromLatin1(variant));
    tester = std::make_unique<Tester>(panel, *board, dialogs);
    tester->startUp(settings);
}

void Rig::cells(int sequence, const QStringList& texts) {
    for (int k = 1; k <= 4; ++k)
        panel.setText(FrontPanel::cell(sequence, k), texts.value(k - 1, QStringLiteral("Stop")));
}

QString Rig::texts(std::initializer_list<Ctl> controls) const {
    QStringList all;
    for (Ctl c : controls)
        all << panel.text(c);
    return all.join(u'|');
}

QString Rig::state() const {
    return QString(tester->powerOn() ? "ON" : "OFF") + (board->isOpen() ? " open" : " closed") +
           (tester->analysisOn() ? " analysing" : "");
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// clang-format off
const std::vector<StartState> kStartState = {
    {Ctl::Fo, "I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"}, {Ctl::Panel2, "Sequence 1: Stop"},
    {Ctl::Megjegyzes, "Note:  ", "Sequences Comment"},         {Ctl::Panel3, "Sequence 2: Stop"},
    {Ctl::Panel1, "Port: 1", "Serial Port"},     {Ctl::Panel4, ""}, {Ctl::Panel8, " 1000mS"},
    {Ctl::Panel7, "", "Command 4 Acknowledge"},  {Ctl::Panel9, "I2C"},
    {Ctl::Panel10, "S:ON", nullptr, false},      {Ctl::Panel11, "3750.00 uS", nullptr, false},
    {Ctl::PowerG, "Power OFF", "Panel Power ON/OFF"},      {Ctl::Go1, "Go", "Run Commands"},
    {Ctl::Frame1, "Sequence 1", "&hHexa / Xbit serial"},   {Ctl::Label3, "Start", ""},
    {Ctl::Frame2, "Sequence 2", "&hHexa / Xbit serial"},   {Ctl::Label4, "A", "Acknowledge"},
    {Ctl::Label8, "A Stop", "Acknowledge & Stop"},         {Ctl::Label14, "A Stop"},
    {Ctl::C1, "Stop", "Command 1"},     {Ctl::C2, "Stop", nullptr, false},
    {Ctl::C3, "Stop", "Command 3", false},  {Ctl::C4, "Stop", nullptr, false}, {Ctl::D1, "Stop"},
    {Ctl::D2, "Stop", nullptr, false},  {Ctl::D4, "Stop", nullptr, false},
    {Ctl::Noff, "Off", nullptr, true, true}, {Ctl::Ns12, "Seq12"}, {Ctl::Analog_ki, nullptr, "Potmeter"},
    {Ctl::Anal_be, "&Observation", nullptr, true, true},   {Ctl::Mset_micro, "&Microwire serial"},
    {Ctl::Mset_start, "&Start bit", nullptr, false},       {Ctl::Mset_reset, "&Reset keeping", nullptr, false},
    {Ctl::Mset_Device, "&Device Detect"}};
// clang-format on

QString startState(const StartState& s, const ControlState* c) {
    const auto field = [](const char* want, const QString& shown, bool given) {
        return !want ? QStringLiteral("*") : given ? shown : QString::fromUtf8(want);
    };
    const ControlState none{};
    const ControlState& shown = c ? *c : none;
    const bool enabled = c ? c->enabled : s.enabled, checked = c ? c->checked : s.checked;
    return QStringList{field(s.text, shown.text, c), field(s.toolTip, shown.toolTip, c),
                       enabled ? "enabled" : "disabled", checked ? "checked" : "unchecked"}
        .join(u'|');
}
