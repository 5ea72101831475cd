#pragma once

#include "model/FrontPanel.h"
#include "ui/ObservationView.h"

#include <QMainWindow>

#include <array>

class EepromWindow;
class QAction;
class QComboBox;
class QLabel;
class QMenu;
class QSlider;
class Tester;

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
    // Paints the indicator and its number now, without the event loop (a long scan).
    void repaintIndicator();
    // The EEPROM programmer's window, made when the menu item first opens it.
    EepromWindow* eepromWindow() const { return eeprom_; }

signals:
    // The window is closing (close box or "Exit"): the settings are written now.
    void closing();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    // MainWindowLayout.cpp: the controls at their fixed places, the status bar, the menus.
    void buildControls(QWidget* client);
    void buildRows(QWidget* client);
    void buildReadouts(QWidget* client);
    void buildOptions(QWidget* client);
    void buildIndicators(QWidget* client);
    void buildMenus();
    void buildStatusBar(QWidget* client);
    static void showSliderValue(QSlider* slider, int v);
    QComboBox* makeCell(QWidget* parent, Ctl c, int x, int y);
    QLabel* makeLabel(QWidget* parent, Ctl c, int x, int y, int w, int h);
    QAction* makeAction(QMenu* menu, Ctl c, bool checkable = false);

    void connectActions();
    // Mirrors a control's state into its widget, menu or menu item.
    void sync(Ctl c);
    void syncWidget(QWidget* w, const ControlState& s);
    void syncCellItems();

    FrontPanel& panel_;
    Tester& tester_;
    std::array<QWidget*, FrontPanel::kControls> widgets_{};
    std::array<QAction*, FrontPanel::kControls> actions_{};
    std::array<QMenu*, FrontPanel::kControls> menus_{};
    ObservationView* observation_ = nullptr;
    QMenu* popup_ = nullptr;
    EepromWindow* eeprom_ = nullptr;
    QSize fixedSize_;
};
