// The main window's controls at their fixed places, its status bar and its menus.
#include "ui/MainWindow.h"

#include "actions/Tester.h"
#include "ui/ReadoutBox.h"

#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QToolTip>

namespace {

constexpr int kTwipsPerPixel = 15;

// Positions in pixels of the client area, top to bottom as the window is arranged.
constexpr int kMargin = 8;
constexpr int kFrameWidth = MainWindow::kClientWidth - 2 * kMargin;
constexpr int kRowHeight = 50;
constexpr int kReadoutTop = 128;
constexpr int kReadoutHeight = 148;
// The observation picture: 8052 x 612 twips at (120, 6240) twips.
// Rounded to whole pixels; inside its 2-pixel sunken border the picture is 533 x 37.
constexpr QRect kPictureRect(120 / kTwipsPerPixel, 6240 / kTwipsPerPixel, 537, 41);

} // namespace

QLabel* MainWindow::makeLabel(QWidget* parent, Ctl c, int x, int y, int w, int h) {
    auto* label = new ClickLabel(parent);
    label->setGeometry(x, y, w, h);
    widgets_[static_cast<int>(c)] = label;
    return label;
}

QComboBox* MainWindow::makeCell(QWidget* parent, Ctl c, int x, int y) {
    auto* cell = new QComboBox(parent);
    cell->setEditable(true);
    cell->setInsertPolicy(QComboBox::NoInsert);
    // A cell holds exactly what was typed until an item is picked from the list: no completion
    // (the default completer would turn "stop" into the keyword "Stop").
    cell->setCompleter(nullptr);
    cell->setGeometry(x, y, 84, 22);
    widgets_[static_cast<int>(c)] = cell;
    connect(cell, &QComboBox::editTextChanged, this,
            [this, c](const QString& text) { panel_.setText(c, text); });
    connect(cell->lineEdit(), &QLineEdit::returnPressed, this,
            [this, c] { tester_.runs().cellEnterPressed(c); });
    return cell;
}

void MainWindow::buildControls(QWidget* client) {
    buildRows(client);
    buildReadouts(client);
    buildOptions(client);
    buildIndicators(client);
}

void MainWindow::buildRows(QWidget* client) {
    // The two sequence rows: Start, cell, A, cell, A, cell, A, cell, A Stop, Go.
    struct Row {
        Ctl frame, start, cells[4], legends[4], go;
    };
    const Row rows[2] = {
        {Ctl::Frame1,
         Ctl::Label3,
         {Ctl::C1, Ctl::C2, Ctl::C3, Ctl::C4},
         {Ctl::Label4, Ctl::Label6, Ctl::Label7, Ctl::Label8},
         Ctl::Go1},
        {Ctl::Frame2,
         Ctl::Label10,
         {Ctl::D1, Ctl::D2, Ctl::D3, Ctl::D4},
         {Ctl::Label11, Ctl::Label12, Ctl::Label13, Ctl::Label14},
         Ctl::Go2},
    };
    for (int r = 0; r < 2; ++r) {
        auto* frame = new QGroupBox(client);
        frame->setGeometry(kMargin, 2 + r * (kRowHeight + 4), kFrameWidth, kRowHeight);
        widgets_[static_cast<int>(rows[r].frame)] = frame;
        makeLabel(frame, rows[r].start, 6, 22, 28, 16);
        int x = 36;
        for (int k = 0; k < 4; ++k) {
            makeCell(frame, rows[r].cells[k], x, 19);
            x += 86;
            const int legendWidth = k < 3 ? 14 : 44;
            makeLabel(frame, rows[r].legends[k], x, 22, legendWidth, 16);
            x += legendWidth + 2;
        }
        auto* go = new QPushButton(frame);
        go->setGeometry(x + 2, 17, kFrameWidth - x - 10, 26);
        widgets_[static_cast<int>(rows[r].go)] = go;
    }
}

void MainWindow::buildReadouts(QWidget* client) {
    // Captions, clear buttons and the note button above the read-outs.
    makeLabel(client, Ctl::Label1, kMargin + 2, 110, 60, 16);
    makeLabel(client, Ctl::Label2, 206, 110, 60, 16);
    const struct {
        Ctl c;
        int x;
    } buttons[] = {{Ctl::Cl1, 134}, {Ctl::Cl2, 332}, {Ctl::Note, 404}};
    for (const auto& b : buttons) {
        auto* button = new QPushButton(client);
        button->setGeometry(b.x, 106, 64, 20);
        widgets_[static_cast<int>(b.c)] = button;
    }

    // The four read-out boxes side by side.
    const struct {
        Ctl c;
        int x, w;
    } readouts[] = {{Ctl::Dump1, kMargin, 120},
                    {Ctl::Hex1, 130, 70},
                    {Ctl::Dump2, 204, 120},
                    {Ctl::Hex2, 326, 70}};
    for (const auto& r : readouts) {
        auto* box = new ReadoutBox(client);
        box->setGeometry(r.x, kReadoutTop, r.w, kReadoutHeight);
        widgets_[static_cast<int>(r.c)] = box;
    }
}

void MainWindow::buildOptions(QWidget* client) {
    // The non-stop options and the power button at the right.
    auto* frame3 = new QGroupBox(client);
    frame3->setGeometry(402, kReadoutTop - 2, 70, 108);
    widgets_[static_cast<int>(Ctl::Frame3)] = frame3;
    const Ctl options[] = {Ctl::Noff, Ctl::Ns1, Ctl::Ns2, Ctl::Ns12};
    for (int i = 0; i < 4; ++i) {
        auto* option = new QRadioButton(frame3);
        option->setAutoExclusive(false); // the model keeps at most one selected
        option->setGeometry(8, 20 + i * 21, 58, 18);
        widgets_[static_cast<int>(options[i])] = option;
        connect(option, &QRadioButton::clicked, this,
                [this, c = options[i]] { tester_.runs().selectOption(c); });
    }
    auto* power = new QPushButton(client);
    // Its own copy of the window's font: a style sheet set again for the next colour would
    // otherwise put the application's default font on it.
    power->setFont(font());
    power->setGeometry(478, kReadoutTop + 2, 69, 104);
    widgets_[static_cast<int>(Ctl::PowerG)] = power;
}

void MainWindow::buildIndicators(QWidget* client) {
    // The note across the whole width, the indicator, the slider, the observation picture.
    QLabel* note = makeLabel(client, Ctl::Megjegyzes, kMargin, 282, kFrameWidth, 30);
    note->setWordWrap(true);
    note->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    note->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    makeLabel(client, Ctl::Analog_be_sz, kMargin, 316, 60, 16);
    auto* indicator = new QProgressBar(client);
    indicator->setRange(0, 255);
    indicator->setTextVisible(false);
    indicator->setGeometry(kMargin, 334, kFrameWidth, 18);
    widgets_[static_cast<int>(Ctl::Analog_be)] = indicator;
    auto* slider = new QSlider(Qt::Horizontal, client);
    slider->setRange(0, 255);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setTickInterval(16);
    slider->setGeometry(kMargin, 360, kFrameWidth, 32);
    widgets_[static_cast<int>(Ctl::Analog_ki)] = slider;
    connect(slider, &QSlider::valueChanged, this, [this, slider](int v) {
        panel_.setValue(Ctl::Analog_ki, v);
        showSliderValue(slider, v);
    });

    observation_ = new ObservationView(client);
    observation_->setGeometry(kPictureRect);
    Trace& trace = tester_.trace();
    observation_->setImage(&trace.image());
    observation_->painted = [&trace] { trace.changeShown(); };
    trace.setChangeListener([this] { observation_->update(); });
}

void MainWindow::showSliderValue(QSlider* slider, int v) {
    // The byte "Potmeter" sends, shown at the handle while the user moves it.
    QStyleOptionSlider option;
    option.initFrom(slider);
    option.orientation = slider->orientation();
    option.minimum = slider->minimum();
    option.maximum = slider->maximum();
    option.sliderPosition = v;
    option.sliderValue = v;
    const QRect handle = slider->style()->subControlRect(QStyle::CC_Slider, &option,
                                                         QStyle::SC_SliderHandle, slider);
    QToolTip::showText(
        slider->mapToGlobal(handle.topLeft()),
        QString::number(v) + QStringLiteral(" = &h") + QString::number(v, 16).toUpper(), slider);
}

void MainWindow::buildStatusBar(QWidget* client) {
    // Eleven sunken panels along the bottom edge, below the observation picture.
    const int top = kPictureRect.bottom() + 1;
    int x = 0;
    for (int n = 1; n <= FrontPanel::kPanels; ++n) {
        const int w = FrontPanel::panelWidthTwips(n) / kTwipsPerPixel;
        auto* label = static_cast<ClickLabel*>(
            makeLabel(client, FrontPanel::panel(n), x, top, w, kClientHeight - top));
        label->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        label->setIndent(2);
        connect(label, &ClickLabel::doubleClicked, this,
                [this, n] { tester_.setup().Status_PanelDblClick(n); });
        x += w;
    }
}

QAction* MainWindow::makeAction(QMenu* menu, Ctl c, bool checkable) {
    QAction* action = menu->addAction(QString());
    action->setCheckable(checkable);
    actions_[static_cast<int>(c)] = action;
    return action;
}

void MainWindow::buildMenus() {
    auto addMenu = [this](Ctl c) {
        QMenu* menu = menuBar()->addMenu(QString());
        menus_[static_cast<int>(c)] = menu;
        return menu;
    };
    QMenu* file = addMenu(Ctl::Mfile);
    makeAction(file, Ctl::Mfile_open);
    makeAction(file, Ctl::Mfile_save);
    file->addSeparator();
    makeAction(file, Ctl::Fexport);
    file->addSeparator();
    makeAction(file, Ctl::Mfile_about);
    file->addSeparator();
    makeAction(file, Ctl::Mfile_exit);

    QMenu* setup = addMenu(Ctl::Msetup);
    makeAction(setup, Ctl::Mset_micro, true);
    makeAction(setup, Ctl::Mset_start, true);
    makeAction(setup, Ctl::Mset_reset);
    setup->addSeparator();
    makeAction(setup, Ctl::Mset_asoc);
    makeAction(setup, Ctl::Mset_Test);
    makeAction(setup, Ctl::Mset_timer);
    makeAction(setup, Ctl::Mset_port);
    makeAction(setup, Ctl::Mset_adapter);
    makeAction(setup, Ctl::Mset_devices);

    QMenu* analyse = addMenu(Ctl::Anal);
    makeAction(analyse, Ctl::Anal_be, true);
    makeAction(analyse, Ctl::Mset_Device);
    makeAction(analyse, Ctl::Anal_vcd);
    analyse->addSeparator();
    makeAction(analyse, Ctl::Anal_exp);
    analyse->addSeparator();
    makeAction(analyse, Ctl::Anal_eeprom);

    // Rep1: the picture's pop-up menu, not in the menu bar.
    popup_ = new QMenu(this);
    menus_[static_cast<int>(Ctl::Rep1)] = popup_;
    makeAction(popup_, Ctl::Rep_Clear);
    makeAction(popup_, Ctl::Rep_export);
    makeAction(popup_, Ctl::Rep_exp);
}
