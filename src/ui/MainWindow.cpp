#include "ui/MainWindow.h"

#include "actions/Tester.h"
#include "files/ProgramIcons.h"
#include "ui/EepromWindow.h"
#include "ui/ReadoutBox.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QResizeEvent>
#include <QScrollBar>
#include <QSlider>

MainWindow::MainWindow(FrontPanel& panel, Tester& tester) : panel_(panel), tester_(tester) {
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    // A small sans serif with Arial's metrics keeps the texts inside their fixed places.
    QFont font(QStringLiteral("Liberation Sans"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(11);
    setFont(font);
    setWindowIcon(ProgramIcons::program());

    auto* client = new QWidget(this);
    client->setFixedSize(kClientWidth, kClientHeight);
    setCentralWidget(client);
    buildControls(client);
    buildStatusBar(client);
    buildMenus();
    connectActions();

    for (int i = 0; i < FrontPanel::kControls; ++i)
        sync(static_cast<Ctl>(i));
    syncCellItems();
    connect(&panel_, &FrontPanel::changed, this, &MainWindow::sync);
    connect(&panel_, &FrontPanel::appended, this, [this](Ctl c, const QString& more) {
        if (auto* box = qobject_cast<ReadoutBox*>(widget(c)))
            box->append(more);
    });
    connect(&panel_, &FrontPanel::cellItemsChanged, this, &MainWindow::syncCellItems);

    adjustSize();
    fixedSize_ = size();
    setFixedSize(fixedSize_);
}

void MainWindow::connectActions() {
    auto onClick = [this](Ctl c, auto handler) {
        if (auto* button = qobject_cast<QPushButton*>(widget(c)))
            connect(button, &QPushButton::clicked, this, handler);
        else if (QAction* a = action(c))
            connect(a, &QAction::triggered, this, handler);
    };
    onClick(Ctl::PowerG, [this] { tester_.power().TogglePower(); });
    onClick(Ctl::Note, [this] { tester_.setup().EditNote(); });
    onClick(Ctl::Mset_port, [this] { tester_.power().ChoosePort(); });
    onClick(Ctl::Mset_adapter, [this] { tester_.adapter().Mset_adapter_Click(); });
    onClick(Ctl::Mset_devices, [this] { tester_.adapter().Mset_devices_Click(); });
    onClick(Ctl::Mset_micro, [this] { tester_.setup().Mset_micro_Click(); });
    onClick(Ctl::Mset_start, [this] { tester_.setup().Mset_start_Click(); });
    onClick(Ctl::Mfile_exit, [this] { close(); });
    connect(static_cast<ClickLabel*>(widget(Ctl::Megjegyzes)), &ClickLabel::doubleClicked, this,
            [this] { tester_.setup().EditNote(); });
    connect(observation_, &ObservationView::rightButtonReleased, this,
            [this](QPoint at) { popup_->popup(at); });
    onClick(Ctl::Anal_be, [this] { tester_.observation().Anal_be_Click(); });
    onClick(Ctl::Rep_Clear, [this] { tester_.observation().Rep_Clear_Click(); });
    onClick(Ctl::Fexport, [this] { tester_.observation().ExportObservation(); });
    onClick(Ctl::Rep_export, [this] { tester_.observation().ExportObservation(); });
    onClick(Ctl::Anal_vcd, [this] { tester_.observation().ExportObservationVcd(); });
    onClick(Ctl::Anal_exp, [this] { tester_.observation().ShowExplanation(); });
    onClick(Ctl::Rep_exp, [this] { tester_.observation().ShowExplanation(); });
    onClick(Ctl::Mfile_about, [this] { tester_.files().Mfile_about_Click(); });
    onClick(Ctl::Mset_reset, [this] { tester_.setup().Mset_reset_Click(); });
    onClick(Ctl::Mset_Device, [this] { tester_.diagnostics().DeviceDetect(); });
    onClick(Ctl::Mset_Test, [this] { tester_.diagnostics().LineProbe(); });
    onClick(Ctl::Go1, [this] { tester_.runs().Go1_Click(); });
    onClick(Ctl::Go2, [this] { tester_.runs().Go2_Click(); });
    onClick(Ctl::Cl1, [this] { tester_.runs().Cl1_Click(); });
    onClick(Ctl::Cl2, [this] { tester_.runs().Cl2_Click(); });
    onClick(Ctl::Mset_timer, [this] { tester_.setup().Mset_timer_Click(); });
    onClick(Ctl::Mfile_open, [this] { tester_.files().Mfile_open_Click(); });
    onClick(Ctl::Mfile_save, [this] { tester_.files().Mfile_save_Click(); });
    onClick(Ctl::Mset_asoc, [this] { tester_.files().Mset_asoc_Click(); });
    onClick(Ctl::Anal_eeprom, [this] {
        if (!eeprom_)
            eeprom_ = new EepromWindow(tester_, this);
        eeprom_->show();
        eeprom_->raise();
        eeprom_->activateWindow();
    });
}

void MainWindow::repaintIndicator() {
    widget(Ctl::Analog_be)->repaint();
    widget(Ctl::Analog_be_sz)->repaint();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    emit closing();
    QMainWindow::closeEvent(event);
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    // The size snaps back whenever the border is dragged; a minimised window is left alone.
    if (fixedSize_.isValid() && !isMinimized() && size() != fixedSize_)
        resize(fixedSize_);
}

void MainWindow::syncCellItems() {
    for (int s = 1; s <= 2; ++s) {
        for (int k = 1; k <= 4; ++k) {
            const Ctl c = FrontPanel::cell(s, k);
            auto* cell = static_cast<QComboBox*>(widget(c));
            const QSignalBlocker block(cell);
            cell->clear();
            cell->addItems(panel_.cellItems());
            cell->setEditText(panel_.text(c));
        }
    }
}

void MainWindow::sync(Ctl c) {
    const ControlState& s = panel_[c];
    if (c == Ctl::Fo) {
        setWindowTitle(s.text);
        return;
    }
    if (QAction* a = action(c)) {
        a->setText(s.text);
        a->setChecked(s.checked);
        a->setEnabled(s.enabled);
        return;
    }
    if (QMenu* m = menus_[static_cast<int>(c)]) {
        m->setTitle(s.text);
        return;
    }
    if (QWidget* w = widget(c))
        syncWidget(w, s);
}

void MainWindow::syncWidget(QWidget* w, const ControlState& s) {
    w->setToolTip(s.toolTip);
    w->setEnabled(s.enabled);
    if (auto* cell = qobject_cast<QComboBox*>(w)) {
        if (cell->currentText() != s.text) {
            const QSignalBlocker block(cell);
            cell->setEditText(s.text);
        }
    } else if (auto* label = qobject_cast<QLabel*>(w)) {
        label->setText(s.text);
    } else if (auto* frame = qobject_cast<QGroupBox*>(w)) {
        frame->setTitle(s.text);
    } else if (auto* option = qobject_cast<QRadioButton*>(w)) {
        option->setText(s.text);
        option->setChecked(s.checked);
    } else if (auto* button = qobject_cast<QPushButton*>(w)) {
        button->setText(s.text);
        if (s.colour.isValid())
            button->setStyleSheet(
                QStringLiteral(
                    "background-color: %1; border: 1px solid #606060; border-radius: 3px;")
                    .arg(s.colour.name()));
    } else if (auto* box = qobject_cast<ReadoutBox*>(w)) {
        box->setText(s.text);
    } else if (auto* bar = qobject_cast<QProgressBar*>(w)) {
        bar->setValue(s.value);
    } else if (auto* slider = qobject_cast<QSlider*>(w)) {
        const QSignalBlocker block(slider);
        slider->setValue(s.value);
    }
}
