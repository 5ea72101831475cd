#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>

// Every control, menu item and status panel of the main window, by the name it has in the
// documentation of the window. The enumerators are the controls' names, so the code reads as
// the window is described: panel.setText(Ctl::Dump1, ...), panel.isChecked(Ctl::Anal_be).
// clang-format off
#define TAMSOLVIX_CONTROLS(X)                                                                      \
    /* the window itself; its text is the title */                                                 \
    X(Fo)                                                                                          \
    /* the two sequence rows */                                                                    \
    X(Frame1) X(Label3) X(C1) X(Label4) X(C2) X(Label6) X(C3) X(Label7) X(C4) X(Label8) X(Go1)     \
    X(Frame2) X(Label10) X(D1) X(Label11) X(D2) X(Label12) X(D3) X(Label13) X(D4) X(Label14)       \
    X(Go2)                                                                                         \
    /* read-outs, non-stop options, power, note, indicator, slider */                              \
    X(Label1) X(Label2) X(Dump1) X(Hex1) X(Dump2) X(Hex2) X(Cl1) X(Cl2) X(Note)                    \
    X(Frame3) X(Noff) X(Ns1) X(Ns2) X(Ns12) X(PowerG)                                              \
    X(Megjegyzes) X(Analog_be_sz) X(Analog_be) X(Analog_ki)                                        \
    /* menus and their items; Rep1 is the observation picture's pop-up menu */                     \
    X(Mfile) X(Mfile_open) X(Mfile_save) X(Fexport) X(Mfile_about) X(Mfile_exit)                   \
    X(Msetup) X(Mset_micro) X(Mset_start) X(Mset_reset) X(Mset_asoc) X(Mset_Test) X(Mset_timer)    \
    X(Mset_port) X(Mset_adapter) X(Mset_devices)                                                   \
    X(Anal) X(Anal_be) X(Mset_Device) X(Anal_vcd) X(Anal_exp) X(Anal_eeprom)                       \
    X(Rep1) X(Rep_Clear) X(Rep_export) X(Rep_exp)                                                  \
    /* status bar panels 1 to 11 */                                                                \
    X(Panel1) X(Panel2) X(Panel3) X(Panel4) X(Panel5) X(Panel6) X(Panel7) X(Panel8) X(Panel9)      \
    X(Panel10) X(Panel11)
// clang-format on

enum class Ctl {
#define TAMSOLVIX_ENUMERATOR(name) name,
    TAMSOLVIX_CONTROLS(TAMSOLVIX_ENUMERATOR)
#undef TAMSOLVIX_ENUMERATOR
    Count
};

// What one control shows. Not every field means something for every kind of control: a
// label has text and tooltip, a menu item text, check mark and enabled flag, the progress bar
// and the slider a value, the Power button a colour as well.
struct ControlState {
    QString text;
    QString toolTip;
    bool enabled = true;
    bool checked = false;
    int value = 0;
    QColor colour; // invalid: the platform's default
};

// The model of everything the main window shows. The window mirrors it and forwards user
// events; the tests and the command-line tool use it without any widget. Every change that
// alters a control emits changed() with that control, except an append to a read-out, which
// emits appended() with the piece added.
class FrontPanel : public QObject {
    Q_OBJECT
public:
    static constexpr int kControls = static_cast<int>(Ctl::Count);
    static constexpr int kPanels = 11;
    static constexpr int kCells = 8;

    FrontPanel();

    const ControlState& operator[](Ctl c) const { return state_[index(c)]; }
    const QString& text(Ctl c) const { return (*this)[c].text; }
    bool isEnabled(Ctl c) const { return (*this)[c].enabled; }
    bool isChecked(Ctl c) const { return (*this)[c].checked; }
    int value(Ctl c) const { return (*this)[c].value; }

    void setText(Ctl c, const QString& text);
    void setToolTip(Ctl c, const QString& toolTip);
    void setEnabled(Ctl c, bool enabled);
    void setChecked(Ctl c, bool checked);
    void setValue(Ctl c, int value);
    void setColour(Ctl c, const QColor& colour);
    // Adds more to the end of the text in place: it costs the same however long the text is.
    void appendText(Ctl c, const QString& more);

    // Status bar panels, numbered 1 to 11 from the left.
    static Ctl panel(int number) { return static_cast<Ctl>(index(Ctl::Panel1) + number - 1); }
    static int panelWidthTwips(int number);
    // The eight command cells, C1..C4 then D1..D4; cell(s, k) for sequence s, cell k.
    static Ctl cell(int sequence, int k);
    // The keyword list offered by every cell.
    const QStringList& cellItems() const { return cellItems_; }
    void setCellItems(const QStringList& items);

    static QString name(Ctl c);

signals:
    void changed(Ctl control);
    void appended(Ctl control, const QString& more);
    void cellItemsChanged();

private:
    static int index(Ctl c) { return static_cast<int>(c); }
    ControlState& at(Ctl c) { return state_[index(c)]; }

    std::array<ControlState, kControls> state_;
    QStringList cellItems_;
};
