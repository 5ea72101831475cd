#include "ui/MainWindow.h"

#include "files/ProgramIcons.h"
#include "ui/Tester.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QResizeEvent>
#include <QScrollBar>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTextBlock>
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

// A read-out's last block is cut once it is longer than this; the blocks before it keep about
// this many characters each.
constexpr int kBlockLength = 64;
// The state of a block that continues the line of the block before it (no line break between).
constexpr int kContinuation = 1;

} // namespace

void ClickLabel::mouseDoubleClickEvent(QMouseEvent* event) {
    QLabel::mouseDoubleClickEvent(event);
    emit doubleClicked();
}

ObservationView::ObservationView(QWidget* parent) : QFrame(parent) {
    setFrameStyle(QFrame::Panel | QFrame::Sunken);
    setLineWidth(2);
}

void ObservationView::setImage(const QImage* image) {
    image_ = image;
    update();
}

void ObservationView::paintEvent(QPaintEvent* event) {
    QFrame::paintEvent(event);
    QPainter p(this);
    if (image_)
        p.drawImage(contentsRect().topLeft(), *image_);
    else
        p.fillRect(contentsRect(), QColor(128, 128, 128));
    if (painted)
        painted();
}

void ObservationView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton)
        emit rightButtonReleased(event->globalPosition().toPoint());
    QFrame::mouseReleaseEvent(event);
}

ReadoutBox::ReadoutBox(QWidget* parent) : QPlainTextEdit(parent) {
    setReadOnly(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    document()->setUndoRedoEnabled(false); // nothing to undo, and no history to grow
}

void ReadoutBox::setText(const QString& text) {
    clear();
    insertAtEnd(text);
}

void ReadoutBox::append(const QString& more) {
    // A CR LF split over two appends still becomes one line break.
    if (more.startsWith(u'\n') &&
        document()->characterAt(document()->characterCount() - 2) == u'\r') {
        QTextCursor end(document());
        end.movePosition(QTextCursor::End);
        end.deletePreviousChar();
    }
    insertAtEnd(more);
}

void ReadoutBox::insertAtEnd(const QString& text) {
    QString shown = text;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    for (qsizetype at = 0; at < shown.size(); at += kBlockLength) {
        end.insertText(shown.mid(at, kBlockLength));
        if (document()->lastBlock().length() > kBlockLength)
            cutLastBlock();
    }
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void ReadoutBox::cutLastBlock() {
    const QTextBlock last = document()->lastBlock();
    document()->documentLayout()->blockBoundingRect(last); // lays it out at the box's width
    const QTextLayout* lines = last.layout();
    // Cut before the last line, and before every line that starts kBlockLength characters or
    // more after the previous cut. Lines wrap where they did before: the picture is the same.
    QList<int> cuts;
    for (int i = 1, previous = 0; i < lines->lineCount(); ++i) {
        const int start = lines->lineAt(i).textStart();
        if (start - previous >= kBlockLength || i == lines->lineCount() - 1) {
            cuts.append(last.position() + start);
            previous = start;
        }
    }
    QTextCursor cursor(document());
    for (auto cut = cuts.crbegin(); cut != cuts.crend(); ++cut) {
        cursor.setPosition(*cut);
        cursor.insertBlock();
        cursor.block().setUserState(kContinuation);
    }
}

QString ReadoutBox::textBetween(int from, int to) const {
    QString text;
    for (QTextBlock b = document()->findBlock(from); b.isValid() && b.position() <= to;
         b = b.next()) {
        if (b.position() > from && b.userState() != kContinuation)
            text += u'\n';
        const int start = std::max(from - b.position(), 0);
        text += b.text().mid(start, to - b.position() - start);
    }
    return text;
}

QMimeData* ReadoutBox::createMimeDataFromSelection() const {
    auto* copied = new QMimeData;
    copied->setText(textBetween(textCursor().selectionStart(), textCursor().selectionEnd()));
    return copied;
}

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
            [this, c] { tester_.cellEnterPressed(c); });
    return cell;
}

void MainWindow::buildControls(QWidget* client) {
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
                [this, c = options[i]] { tester_.selectOption(c); });
    }
    auto* power = new QPushButton(client);
    // Its own copy of the window's font: a style sheet set again for the next colour would
    // otherwise put the application's default font on it.
    power->setFont(font());
    power->setGeometry(478, kReadoutTop + 2, 69, 104);
    widgets_[static_cast<int>(Ctl::PowerG)] = power;

    // The note across the whole width, the indicator, the slider.
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
        QToolTip::showText(slider->mapToGlobal(handle.topLeft()),
                           QString::number(v) + QStringLiteral(" = &h") +
                               QString::number(v, 16).toUpper(),
                           slider);
    });

    observation_ = new ObservationView(client);
    observation_->setGeometry(kPictureRect);
    Trace& trace = tester_.trace();
    observation_->setImage(&trace.image());
    observation_->painted = [&trace] { trace.changeShown(); };
    trace.setChangeListener([this] { observation_->update(); });
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
                [this, n] { tester_.Status_PanelDblClick(n); });
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

    QMenu* analyse = addMenu(Ctl::Anal);
    makeAction(analyse, Ctl::Anal_be, true);
    makeAction(analyse, Ctl::Mset_Device);
    makeAction(analyse, Ctl::Anal_vcd);
    analyse->addSeparator();
    makeAction(analyse, Ctl::Anal_exp);

    // Rep1: the picture's pop-up menu, not in the menu bar.
    popup_ = new QMenu(this);
    menus_[static_cast<int>(Ctl::Rep1)] = popup_;
    makeAction(popup_, Ctl::Rep_Clear);
    makeAction(popup_, Ctl::Rep_export);
    makeAction(popup_, Ctl::Rep_exp);
}

void MainWindow::connectActions() {
    auto onClick = [this](Ctl c, auto handler) {
        if (auto* button = qobject_cast<QPushButton*>(widget(c)))
            connect(button, &QPushButton::clicked, this, handler);
        else if (QAction* a = action(c))
            connect(a, &QAction::triggered, this, handler);
    };
    onClick(Ctl::PowerG, [this] { tester_.TogglePower(); });
    onClick(Ctl::Note, [this] { tester_.EditNote(); });
    onClick(Ctl::Mset_port, [this] { tester_.ChoosePort(); });
    onClick(Ctl::Mset_micro, [this] { tester_.Mset_micro_Click(); });
    onClick(Ctl::Mset_start, [this] { tester_.Mset_start_Click(); });
    onClick(Ctl::Mfile_exit, [this] { close(); });
    connect(static_cast<ClickLabel*>(widget(Ctl::Megjegyzes)), &ClickLabel::doubleClicked, this,
            [this] { tester_.EditNote(); });
    connect(observation_, &ObservationView::rightButtonReleased, this,
            [this](QPoint at) { popup_->popup(at); });
    onClick(Ctl::Anal_be, [this] { tester_.Anal_be_Click(); });
    onClick(Ctl::Rep_Clear, [this] { tester_.Rep_Clear_Click(); });
    onClick(Ctl::Fexport, [this] { tester_.ExportObservation(); });
    onClick(Ctl::Rep_export, [this] { tester_.ExportObservation(); });
    onClick(Ctl::Anal_vcd, [this] { tester_.ExportObservationVcd(); });
    onClick(Ctl::Anal_exp, [this] { tester_.ShowExplanation(); });
    onClick(Ctl::Rep_exp, [this] { tester_.ShowExplanation(); });
    onClick(Ctl::Mfile_about, [this] { tester_.Mfile_about_Click(); });
    onClick(Ctl::Mset_reset, [this] { tester_.Mset_reset_Click(); });
    onClick(Ctl::Mset_Device, [this] { tester_.DeviceDetect(); });
    onClick(Ctl::Mset_Test, [this] { tester_.LineProbe(); });
    onClick(Ctl::Go1, [this] { tester_.Go1_Click(); });
    onClick(Ctl::Go2, [this] { tester_.Go2_Click(); });
    onClick(Ctl::Cl1, [this] { tester_.Cl1_Click(); });
    onClick(Ctl::Cl2, [this] { tester_.Cl2_Click(); });
    onClick(Ctl::Mset_timer, [this] { tester_.Mset_timer_Click(); });
    onClick(Ctl::Mfile_open, [this] { tester_.Mfile_open_Click(); });
    onClick(Ctl::Mfile_save, [this] { tester_.Mfile_save_Click(); });
    onClick(Ctl::Mset_asoc, [this] { tester_.Mset_asoc_Click(); });
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
    QWidget* w = widget(c);
    if (!w)
        return;
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
