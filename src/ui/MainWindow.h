#pragma once

#include "ui/FrontPanel.h"

#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>

#include <array>
#include <functional>

class QAction;
class QComboBox;
class QImage;
class QMenu;
class Tester;

// A label that reports double-clicks: the status bar panels and the note label.
class ClickLabel : public QLabel {
    Q_OBJECT
public:
    using QLabel::QLabel;
signals:
    void doubleClicked();

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
};

// The observation strip: a sunken picture that shows the trace's persistent image and opens
// the pop-up menu on a release of the right mouse button.
class ObservationView : public QFrame {
    Q_OBJECT
public:
    explicit ObservationView(QWidget* parent);
    void setImage(const QImage* image);
    // Called after every paint (the trace then reports its next change again).
    std::function<void()> painted;
signals:
    void rightButtonReleased(QPoint globalPos);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    const QImage* image_ = nullptr;
};

// A read-out box (Dump1, Hex1, Dump2, Hex2): read-only text that grows at its end, a byte at a
// time, for as long as the non-stop timer runs. Its text is kept as a chain of blocks, each cut
// where a line wraps anyway, so an append lays out only the short last block and costs the same
// at the millionth byte as at the first; a copy joins the chain back into the text it shows.
class ReadoutBox : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit ReadoutBox(QWidget* parent);
    // The whole text; a CR LF in it is a line break.
    void setText(const QString& text);
    void append(const QString& more);
    // The text between two positions as the box shows it (line breaks as LF).
    QString textBetween(int from, int to) const;

protected:
    QMimeData* createMimeDataFromSelection() const override;

private:
    void insertAtEnd(const QString& text);
    void cutLastBlock();
};

// The main window Fo: a view of the FrontPanel model. It builds the controls at their fixed
// places, mirrors every change of the model into them and forwards the user's actions to the
// Tester. It holds no state of its own.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    // The client area below the menu bar: 8328 x 7128 twips at 15 twips per pixel.
    static constexpr int kClientWidth = 555;
    static constexpr int kClientHeight = 475;

    MainWindow(FrontPanel& panel, Tester& tester);

    // The widget or menu action that shows a control (for the tests).
    QWidget* widget(Ctl c) const { return widgets_[static_cast<int>(c)]; }
    QAction* action(Ctl c) const { return actions_[static_cast<int>(c)]; }
    ObservationView* observation() const { return observation_; }
    QMenu* popupMenu() const { return popup_; }

signals:
    void exitRequested();
    // The window is closing (close box or "Exit"): the settings are written now.
    void closing();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls(QWidget* client);
    void buildMenus();
    void buildStatusBar(QWidget* client);
    void connectActions();
    QComboBox* makeCell(QWidget* parent, Ctl c, int x, int y);
    QLabel* makeLabel(QWidget* parent, Ctl c, int x, int y, int w, int h);
    QAction* makeAction(QMenu* menu, Ctl c, bool checkable = false);
    void sync(Ctl c);
    void syncCellItems();

    FrontPanel& panel_;
    Tester& tester_;
    std::array<QWidget*, FrontPanel::kControls> widgets_{};
    std::array<QAction*, FrontPanel::kControls> actions_{};
    std::array<QMenu*, FrontPanel::kControls> menus_{};
    ObservationView* observation_ = nullptr;
    QMenu* popup_ = nullptr;
    QSize fixedSize_;
};
