#include "model/FrontPanel.h"

namespace {

struct Design {
    Ctl control;
    const char* text;
    const char* toolTip;
};

// The captions and tooltips the window is designed with. Texts that depend on the state
// (panels, the note label, the title) are set at start-up.
constexpr Design kDesign[] = {
    {Ctl::Frame1, "Sequence 1", "&hHexa / Xbit serial"},
    {Ctl::Label3, "Start", ""},
    {Ctl::C1, "", "Command 1"},
    {Ctl::Label4, "A", "Acknowledge"},
    {Ctl::C2, "", "Command 2"},
    {Ctl::Label6, "A", "Acknowledge"},
    {Ctl::C3, "", "Command 3"},
    {Ctl::Label7, "A", "Acknowledge"},
    {Ctl::C4, "", "Command 4"},
    {Ctl::Label8, "A  Stop", "Acknowledge & Stop"},
    {Ctl::Go1, "Go", "Run Commands"},
    {Ctl::Frame2, "Sequence 2", "&hHexa / Xbit serial"},
    {Ctl::Label10, "Start", ""},
    {Ctl::D1, "", "Command 1"},
    {Ctl::Label11, "A", "Acknowledge"},
    {Ctl::D2, "", "Command 2"},
    {Ctl::Label12, "A", "Acknowledge"},
    {Ctl::D3, "", "Command 3"},
    {Ctl::Label13, "A", "Acknowledge"},
    {Ctl::D4, "", "Command 4"},
    {Ctl::Label14, "A  Stop", "Acknowledge & Stop"},
    {Ctl::Go2, "Go", "Run Commands"},
    {Ctl::Label1, "Dump1", "Read to Line"},
    {Ctl::Label2, "Dump2", "Read to Line"},
    {Ctl::Cl1, "Clear", "Dump1 Clear"},
    {Ctl::Cl2, "Clear", "Dump2 Clear"},
    {Ctl::Note, "Note", "Edit Notes"},
    {Ctl::Frame3, "Non-Stop", "Timer Function"},
    {Ctl::Noff, "Off", ""},
    {Ctl::Ns1, "Seq1", ""},
    {Ctl::Ns2, "Seq2", ""},
    {Ctl::Ns12, "Seq12", ""},
    {Ctl::PowerG, "Power OFF", "Panel Power ON/OFF"},
    {Ctl::Megjegyzes, "", "Sequences Comment"},
    {Ctl::Analog_be_sz, "0", ""},
    {Ctl::Analog_be, "", "Indicator"},
    {Ctl::Analog_ki, "", "Potmeter"},
    {Ctl::Mfile, "&File", ""},
    {Ctl::Mfile_open, "&Open Commands", ""},
    {Ctl::Mfile_save, "&Save Commands", ""},
    {Ctl::Fexport, "&Export Observation to BMP", ""},
    {Ctl::Mfile_about, "About Tamsolvix", ""},
    {Ctl::Mfile_exit, "E&xit", ""},
    {Ctl::Msetup, "&Setup", ""},
    {Ctl::Mset_micro, "&Microwire serial", ""},
    {Ctl::Mset_start, "&Start bit", ""},
    {Ctl::Mset_reset, "&Reset keeping", ""},
    {Ctl::Mset_asoc, "&Associate .scm File", ""},
    {Ctl::Mset_Test, "&Line Test", ""},
    {Ctl::Mset_timer, "&Non-Stop Timer", ""},
    {Ctl::Mset_port, "Serial &Port", ""},
    {Ctl::Mset_adapter, "Adapter &Timing...", ""},
    {Ctl::Mset_devices, "Serial &Devices...", ""},
    {Ctl::Anal, "&Analyse", ""},
    {Ctl::Anal_be, "&Observation", ""},
    {Ctl::Mset_Device, "&Device Detect", ""},
    {Ctl::Anal_vcd, "Export Observation to &VCD", ""},
    {Ctl::Anal_exp, "Exp&lanation", ""},
    {Ctl::Anal_eeprom, "&EEPROM Programmer...", ""},
    {Ctl::Rep1, "a", ""},
    {Ctl::Rep_Clear, "Clear", ""},
    {Ctl::Rep_export, "Export to Bitmap", ""},
    {Ctl::Rep_exp, "Explanation", ""},
    {Ctl::Panel1, "", "Serial Port"},
    {Ctl::Panel2, "", "Sequence 1 Status"},
    {Ctl::Panel3, "", "Sequence 2 Status"},
    {Ctl::Panel4, "", "Command 1 Acknowledge"},
    {Ctl::Panel5, "", "Command 2 Acknowledge"},
    {Ctl::Panel6, "", "Command 3 Acknowledge"},
    {Ctl::Panel7, "", "Command 4 Acknowledge"},
    {Ctl::Panel8, "", "Non-Stop Timer Interval"},
    {Ctl::Panel9, "", "Function"},
    {Ctl::Panel10, "", "Microwire Start bit status"},
    {Ctl::Panel11, "", "Microwire Reset Time"},
};

constexpr int kPanelWidthTwips[FrontPanel::kPanels] = {600, 1440, 1440, 300, 300, 300,
                                                       300, 800,  800,  570, 900};

constexpr Ctl kCellOrder[FrontPanel::kCells] = {Ctl::C1, Ctl::C2, Ctl::C3, Ctl::C4,
                                                Ctl::D1, Ctl::D2, Ctl::D3, Ctl::D4};

} // namespace

FrontPanel::FrontPanel() {
    for (const Design& d : kDesign) {
        at(d.control).text = QString::fromUtf8(d.text);
        at(d.control).toolTip = QString::fromUtf8(d.toolTip);
    }
}

int FrontPanel::panelWidthTwips(int number) {
    return kPanelWidthTwips[number - 1];
}

Ctl FrontPanel::cell(int sequence, int k) {
    return kCellOrder[(sequence - 1) * 4 + (k - 1)];
}

QString FrontPanel::name(Ctl c) {
    static const char* const names[] = {
#define TAMSOLVIX_NAME(name) #name,
        TAMSOLVIX_CONTROLS(TAMSOLVIX_NAME)
#undef TAMSOLVIX_NAME
    };
    return QString::fromLatin1(names[index(c)]);
}

void FrontPanel::setText(Ctl c, const QString& text) {
    if (at(c).text == text)
        return;
    at(c).text = text;
    emit changed(c);
}

void FrontPanel::appendText(Ctl c, const QString& more) {
    if (more.isEmpty())
        return;
    at(c).text += more;
    emit appended(c, more);
}

void FrontPanel::setToolTip(Ctl c, const QString& toolTip) {
    if (at(c).toolTip == toolTip)
        return;
    at(c).toolTip = toolTip;
    emit changed(c);
}

void FrontPanel::setEnabled(Ctl c, bool enabled) {
    if (at(c).enabled == enabled)
        return;
    at(c).enabled = enabled;
    emit changed(c);
}

void FrontPanel::setChecked(Ctl c, bool checked) {
    if (at(c).checked == checked)
        return;
    at(c).checked = checked;
    emit changed(c);
}

void FrontPanel::setValue(Ctl c, int value) {
    if (at(c).value == value)
        return;
    at(c).value = value;
    emit changed(c);
}

void FrontPanel::setColour(Ctl c, const QColor& colour) {
    if (at(c).colour == colour)
        return;
    at(c).colour = colour;
    emit changed(c);
}

void FrontPanel::setCellItems(const QStringList& items) {
    cellItems_ = items;
    emit cellItemsChanged();
}
