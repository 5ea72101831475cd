#pragma once

#include <QWidget>

class EepromActions;
class HexModel;
class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableView;
class Tester;

// The EEPROM programmer: a window of its own beside the main window (whose layout stays as it
// is), a view of EepromActions. The chip, its address (24Cxx) and, on the simulated board,
// the socket's chip; Read, Write, Verify, Erase, Load File, Save File; the buffer in an
// editable hex view of 16 columns and the ASCII column; a progress bar with Cancel.
//
// While the work goes on the window yields to the event loop between pages, so it repaints
// and shows the progress, but every user input except on Cancel is held back (in this window
// and in the main window: one bus action at a time), and neither window can be closed.
class EepromWindow : public QWidget {
    Q_OBJECT
public:
    EepromWindow(Tester& tester, QWidget* parent);

    // For the tests and the screenshot.
    QTableView* hexView() const { return hex_; }
    QPushButton* cancelButton() const { return cancel_; }
    QComboBox* socketBox() const { return socket_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildChoices();
    QWidget* buildButtons();
    QWidget* buildProgress();
    // Runs a piece of work with the input held back and shows its result.
    template <typename Work> void run(Work work);
    void showResult();
    void syncChoices();

    Tester& tester_;
    EepromActions& actions_;
    HexModel* model_ = nullptr;
    QComboBox* chip_ = nullptr;
    QComboBox* address_ = nullptr;
    QComboBox* socket_ = nullptr;
    QLabel* chipInfo_ = nullptr;
    QCheckBox* verifyAfter_ = nullptr;
    QTableView* hex_ = nullptr;
    QLabel* status_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QList<QWidget*> controls_; // disabled while the work goes on
    bool working_ = false;
};
