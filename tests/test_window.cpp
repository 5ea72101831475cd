// The window: a view of the model that forwards the user's events to the actions.
#include "files/ProgramIcons.h"
#include "model/FileTexts.h"
#include "model/Trace.h"
#include "support/Rig.h"
#include "ui/ExplanationPicture.h"
#include "ui/ExplanationWindow.h"
#include "ui/MainWindow.h"
#include "ui/ReadoutBox.h"

#include <QAbstractTextDocumentLayout>
#include <QTest>
#include <QtWidgets>

namespace {

struct WindowTest : RigTest {
    std::unique_ptr<MainWindow> window;
    void SetUp() override {
        window = std::make_unique<MainWindow>(panel, *tester);
        window->show();
    }
    template <class W> W* get(Ctl c) {
        auto* w = qobject_cast<W*>(window->widget(c));
        EXPECT_NE(w, nullptr) << FrontPanel::name(c).toStdString();
        return w;
    }
    // What the widget or menu item of a control shows.
    ControlState shown(Ctl c) {
        ControlState s;
        if (c == Fo) {
            s.text = window->windowTitle();
        } else if (QAction* a = window->action(c)) {
            s = {a->text(), {}, a->isEnabled(), a->isChecked(), 0, {}};
        } else if (QWidget* w = window->widget(c)) {
            s = {{}, w->toolTip(), w->isEnabled(), w->property("checked").toBool(), 0, {}};
            for (const char* text :
                 {"plainText", "text", "title", "currentText"}) // the last one found
                s.text = w->property(text).isValid() ? w->property(text).toString() : s.text;
        }
        return s;
    }
    // The texts the controls' widgets show, joined by "|".
    QString seen(std::initializer_list<Ctl> controls) {
        QStringList all;
        for (Ctl c : controls)
            all << shown(c).text;
        return all.join(u'|');
    }
    // The lines a document is laid out in.
    static int lineCount(const QTextDocument* d) {
        int n = 0;
        for (QTextBlock b = d->begin(); b.isValid(); b = b.next()) {
            d->documentLayout()->blockBoundingRect(b); // lays the block out
            n += b.layout()->lineCount();
        }
        return n;
    }
};

} // namespace

TEST_F(WindowTest, EveryControlStartsMirroringTheModel) {
    for (const StartState& s : kStartState) {
        const ControlState c = shown(s.control);
        EXPECT_EQ(startState(s, &c), startState(s)) << FrontPanel::name(s.control).toStdString();
    }
    EXPECT_FALSE(window->windowIcon().isNull());
    for (int i = 0; i < FrontPanel::kControls; ++i) {
        const auto c = static_cast<Ctl>(i);
        const bool inMenus = c == Mfile || c == Msetup || c == Anal || c == Rep1;
        EXPECT_TRUE(c == Fo || inMenus || window->widget(c) || window->action(c))
            << FrontPanel::name(c).toStdString() << " has no widget";
    }
    EXPECT_EQ(get<QComboBox>(C1)->count(), 6);
    EXPECT_EQ(get<QComboBox>(D4)->itemText(5), u"Constans"_s);
    EXPECT_EQ(get<QLabel>(FrontPanel::panel(2))->width(), 1440 / 15);
    EXPECT_EQ(window->popupMenu()->actions().size(), 3);
    // The size is fixed and snaps back after a resize; the observation picture's inner area is
    // inside its sunken border.
    const QSize size = window->size();
    EXPECT_EQ(window->centralWidget()->size(), QSize(555, 475));
    window->resize(size + QSize(200, 150));
    window->showMinimized();
    window->showNormal();
    EXPECT_EQ(window->size(), size);
    EXPECT_EQ(window->windowFlags() & (Qt::WindowMaximizeButtonHint | Qt::WindowMinimizeButtonHint),
              Qt::WindowMinimizeButtonHint);
    EXPECT_EQ(window->observation()->contentsRect().size(), Trace::kPictureSize);
}

TEST_F(WindowTest, ModelChangesReachTheWidgetsAndTheUsersEditsTheModelAsTyped) {
    power().TogglePower();
    panel.setText(Dump1, u"Acknowledge Found !\r\nAddres:   160\r\n"_s);
    EXPECT_EQ(seen({PowerG, Dump1}), u"Power ON|Acknowledge Found !\nAddres:   160\n"_s);
    EXPECT_TRUE(get<QPushButton>(PowerG)->styleSheet().contains(u"#ff8080"_s));
    EXPECT_EQ(get<QPushButton>(PowerG)->font(), window->font()); // the colour keeps the font
    EXPECT_FALSE(window->action(Mset_micro)->isEnabled());
    // Appended bytes go into blocks cut where the lines wrap anyway: the lines are those of
    // the whole text in one box, and a copy gives the text back.
    auto* box = get<ReadoutBox>(Hex2);
    for (int i = 0; i < 600; ++i)
        panel.appendText(Hex2, i % 7 ? u"0A "_s : u"FF "_s);
    EXPECT_GT(box->document()->blockCount(), 4);
    EXPECT_EQ(box->textBetween(0, box->document()->characterCount()), panel.text(Hex2));
    QPlainTextEdit whole(panel.text(Hex2));
    whole.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    whole.setFont(box->font());
    whole.setFixedSize(box->size());
    whole.show();
    EXPECT_EQ(lineCount(box->document()), lineCount(whole.document()));

    get<QComboBox>(C1)->setEditText(u"&hA0"_s);
    EXPECT_TRUE(panel.text(C1) == u"&hA0" && get<QComboBox>(C2)->isEnabled());
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    for (const QString& typed : {u"stop"_s, u"D"_s}) {
        QLineEdit* edit = get<QComboBox>(C2)->lineEdit();
        edit->clear();
        edit->setFocus(); // the completion the old cells did needs the focus
        QTest::keyClicks(edit, typed);
        QTest::keyClick(edit, Qt::Key_Tab);
        EXPECT_EQ(panel.text(C2), typed);
        EXPECT_TRUE(get<QComboBox>(C3)->isEnabled()) << typed.toStdString();
    }
    get<QSlider>(Analog_ki)->setValue(77);
    QTest::mouseClick(get<QRadioButton>(Ns12), Qt::LeftButton);
    EXPECT_EQ(std::pair(panel.value(Analog_ki), tester->timerSelection()), std::pair(77, 12));
    EXPECT_EQ(QToolTip::text() + ' ' + shown(Analog_ki).toolTip, u"77 = &h4D Potmeter"_s);
    EXPECT_FALSE(get<QRadioButton>(Noff)->isChecked());
}

TEST_F(WindowTest, ButtonsMenusAndDoubleClicksReachTheirActions) {
    for (const bool on : {true, false}) {
        QTest::mouseClick(get<QPushButton>(PowerG), Qt::LeftButton);
        EXPECT_EQ(tester->powerOn(), on);
    }
    dialogs.thenInput(u"2"_s).thenInput(u"bench rig"_s);
    QTest::mouseDClick(get<QLabel>(FrontPanel::panel(1)), Qt::LeftButton);
    QTest::mouseDClick(get<QLabel>(Megjegyzes), Qt::LeftButton);
    window->action(Mset_micro)->trigger();
    EXPECT_EQ(seen({Panel1, Megjegyzes, Label4}), u"Port: 2|Note: bench rig|+"_s);
    EXPECT_TRUE(panel.isChecked(Mset_micro) && window->action(Mset_micro)->isChecked());

    window->action(Anal_exp)->trigger();
    window->popupMenu()->actions()[2]->trigger(); // Explanation
    EXPECT_EQ(dialogs.explanations, 2);
    dialogs.thenMessage();
    window->action(Mfile_about)->trigger();
    const QStringList about = dialogs.messages().last().split(u"\r\n"_s); // six lines, each CR LF
    ASSERT_EQ(about.size(), 7);
    EXPECT_EQ(QStringList({about[0], about[1], about[3], about[6]}),
              QStringList({"Tamsolvix and Explorer",
                           "I2C and Microwire ICs system monitor and commander.",
                           "Use PonyProg Base Board and Test Board.", ""}));
    window->action(Anal_be)->trigger();
    EXPECT_FALSE(tester->analysisOn() || window->action(Anal_be)->isChecked());
    dialogs.thenSaveFile(std::nullopt).thenSaveFile(std::nullopt).thenMessage();
    window->action(Fexport)->trigger();
    window->popupMenu()->actions()[1]->trigger(); // Export to Bitmap
    window->action(Anal_vcd)->trigger();          // nothing has run
    EXPECT_EQ(dialogs.messages().last(), FileTexts::kNoLineEvents);
    // A right-button release over the picture opens the pop-up menu; other buttons do not.
    QTest::mouseRelease(window->observation(), Qt::LeftButton, {}, QPoint(10, 10));
    EXPECT_FALSE(window->popupMenu()->isVisible());
    QTest::mouseRelease(window->observation(), Qt::RightButton, {}, QPoint(10, 10));
    EXPECT_TRUE(window->popupMenu()->isVisible());
    window->popupMenu()->close();
}

TEST(ExplanationWindow, BeepsOnOpeningAndAnyClickOnItClosesIt) {
    const QImage picture = explanationPicture();
    EXPECT_EQ(picture.size(), QSize(669, 267));
    // The strips inside are real traces: both line colours are there.
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB32);
    const QList<QRgb> pixels(reinterpret_cast<const QRgb*>(rgb.constBits()),
                             reinterpret_cast<const QRgb*>(rgb.constBits()) + 669 * 267);
    EXPECT_GT(
        std::min(pixels.count(Trace::kDataColour.rgb()), pixels.count(Trace::kClockColour.rgb())),
        500);
    for (int target = 0; target < 3; ++target) {
        int beeps = 0;
        ExplanationWindow he(nullptr, [&] { ++beeps; });
        EXPECT_EQ(std::pair(beeps, he.windowTitle()), std::pair(1, u"Explanation"_s));
        EXPECT_EQ(he.width(), 8076 / 15);
        EXPECT_EQ(he.picture()->size(), QSize(8076 / 15, 3252 / 15));
        EXPECT_FALSE(he.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
        EXPECT_EQ(he.okButton()->geometry(), QRect(2880 / 15, 3360 / 15, 129, 17));
        EXPECT_EQ(he.geometry().center(), he.screen()->availableGeometry().center());
        EXPECT_NE(he.windowIcon().pixmap(32).toImage(),
                  ProgramIcons::program().pixmap(32).toImage());
        he.show();
        QWidget* clicked = target == 0   ? static_cast<QWidget*>(he.okButton())
                           : target == 1 ? static_cast<QWidget*>(he.picture())
                                         : static_cast<QWidget*>(&he);
        QTest::mouseClick(clicked, Qt::LeftButton, {}, target == 2 ? QPoint(5, 235) : QPoint());
        EXPECT_FALSE(he.isVisible()) << "click " << target;
        EXPECT_EQ(he.result(), QDialog::Accepted);
    }
}
