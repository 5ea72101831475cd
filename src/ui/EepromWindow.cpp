#include "ui/EepromWindow.h"

#include "actions/Tester.h"
#include "eeprom/MicrowireEepromProgrammer.h"
#include "model/EepromTexts.h"

#include <QAbstractTableModel>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

// The buffer as 16 hex columns and an ASCII column, 16 bytes a row; the hex cells are edited
// in place (one or two hex digits), and the first difference of a failed verify is marked.
class HexModel : public QAbstractTableModel {
public:
    explicit HexModel(EepromActions& actions, QObject* parent)
        : QAbstractTableModel(parent), actions_(actions) {}

    void reload() {
        beginResetModel();
        marked_ = -1;
        endResetModel();
    }
    void mark(int address) {
        marked_ = address;
        if (address >= 0)
            emit dataChanged(index(address / 16, address % 16), index(address / 16, address % 16));
    }
    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>((actions_.buffer().size() + 15) / 16);
    }
    int columnCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : 17; }
    Qt::ItemFlags flags(const QModelIndex& index) const override {
        const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
        return index.column() < 16 ? flags | Qt::ItemIsEditable : flags;
    }
    QVariant data(const QModelIndex& index, int role) const override {
        const QByteArray& bytes = actions_.buffer();
        const int at = index.row() * 16 + index.column();
        if (role == Qt::BackgroundRole && at == marked_ && index.column() < 16)
            return QColor(255, 128, 128);
        if (role == Qt::TextAlignmentRole)
            return QVariant::fromValue(index.column() < 16 ? Qt::Alignment(Qt::AlignCenter)
                                                           : Qt::AlignVCenter | Qt::AlignLeft);
        if (role != Qt::DisplayRole && role != Qt::EditRole)
            return {};
        if (index.column() < 16)
            return at < bytes.size()
                       ? QStringLiteral("%1")
                             .arg(static_cast<std::uint8_t>(bytes[at]), 2, 16, QLatin1Char('0'))
                             .toUpper()
                       : QString();
        QString text;
        for (int i = index.row() * 16; i < index.row() * 16 + 16 && i < bytes.size(); ++i) {
            const auto b = static_cast<std::uint8_t>(bytes[i]);
            text += b >= 0x20 && b < 0x7F ? QChar(b) : QChar(u'.');
        }
        return text;
    }
    bool setData(const QModelIndex& index, const QVariant& value, int role) override {
        bool ok = false;
        const QString text = value.toString().trimmed();
        const int v = text.toInt(&ok, 16);
        if (role != Qt::EditRole || index.column() >= 16 || !ok || v < 0 || v > 255 ||
            text.size() > 2)
            return false;
        actions_.setByte(index.row() * 16 + index.column(), v);
        emit dataChanged(index, this->index(index.row(), 16));
        return true;
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (role != Qt::DisplayRole)
            return {};
        if (orientation == Qt::Vertical)
            return QStringLiteral("%1").arg(section * 16, 4, 16, QLatin1Char('0')).toUpper();
        return section < 16 ? QString::number(section, 16).toUpper() : EepromTexts::kAscii;
    }

private:
    EepromActions& actions_;
    int marked_ = -1;
};

EepromWindow::EepromWindow(Tester& tester, QWidget* parent)
    : QWidget(parent, Qt::Window), tester_(tester), actions_(tester.eeprom()) {
    setWindowTitle(EepromTexts::kTitle);
    model_ = new HexModel(actions_, this);
    hex_ = new QTableView(this);
    hex_->setModel(model_);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    hex_->setFont(fixed);
    const QFontMetrics metrics(fixed);
    hex_->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    hex_->horizontalHeader()->setMinimumSectionSize(1);
    for (int c = 0; c < 16; ++c)
        hex_->setColumnWidth(c, metrics.horizontalAdvance(QStringLiteral("000")) + 4);
    hex_->setColumnWidth(16, metrics.horizontalAdvance(QString(18, u'0')));
    hex_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    hex_->verticalHeader()->setDefaultSectionSize(metrics.height() + 4);
    hex_->verticalHeader()->setFont(fixed);
    hex_->setSelectionMode(QAbstractItemView::SingleSelection);
    int width = hex_->verticalHeader()->sizeHint().width() + 24;
    for (int c = 0; c < 17; ++c)
        width += hex_->columnWidth(c);
    hex_->setMinimumSize(width, 16 * (metrics.height() + 4));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildChoices());
    layout->addWidget(buildButtons());
    layout->addWidget(hex_, 1);
    layout->addWidget(buildProgress());

    connect(&actions_, &EepromActions::bufferChanged, model_, &HexModel::reload);
    connect(&actions_, &EepromActions::progressed, this, [this](int done, int total) {
        progress_->setRange(0, total);
        progress_->setValue(done);
    });
    syncChoices();
}

QWidget* EepromWindow::buildChoices() {
    auto* box = new QWidget(this);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    const auto label = [box, row](const QString& text, QWidget* buddy) {
        auto* l = new QLabel(text, box);
        l->setBuddy(buddy);
        row->addWidget(l);
        row->addWidget(buddy);
    };
    chip_ = new QComboBox(box);
    for (const EepromChip& chip : EepromChip::all())
        chip_->addItem(chip.title());
    label(EepromTexts::kChip, chip_);
    address_ = new QComboBox(box);
    for (int a = 0xA0; a <= 0xAE; a += 2)
        address_->addItem(QStringLiteral("0x%1").arg(a, 2, 16).toUpper().replace(u'X', u'x'), a);
    label(EepromTexts::kAddress, address_);
    controls_ << chip_ << address_;
    if (actions_.hasSocket()) {
        socket_ = new QComboBox(box);
        socket_->addItem(EepromTexts::kEmptySocket);
        for (const EepromChip& chip : EepromChip::all())
            socket_->addItem(chip.title());
        label(EepromTexts::kSocket, socket_);
        controls_ << socket_;
        connect(socket_, &QComboBox::activated, this, [this](int i) {
            const auto chips = EepromChip::all();
            actions_.PlugSocket(
                i == 0 ? std::nullopt
                       : std::optional<EepromChip>(chips[static_cast<std::size_t>(i - 1)]));
            syncChoices();
            status_->setText(actions_.status());
        });
    }
    chipInfo_ = new QLabel(box);
    row->addWidget(chipInfo_, 1);
    connect(chip_, &QComboBox::activated, this, [this](int i) {
        actions_.setChip(EepromChip::all()[static_cast<std::size_t>(i)]);
        syncChoices();
    });
    connect(address_, &QComboBox::activated, this, [this](int i) {
        actions_.setAddress(address_->itemData(i).toInt());
        syncChoices();
    });
    return box;
}

QWidget* EepromWindow::buildButtons() {
    auto* box = new QWidget(this);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    const auto button = [this, box, row](const QString& text, auto handler) {
        auto* b = new QPushButton(text, box);
        row->addWidget(b);
        controls_ << b;
        connect(b, &QPushButton::clicked, this, handler);
    };
    button(EepromTexts::kRead, [this] { run([this] { actions_.Read(); }); });
    button(EepromTexts::kWrite,
           [this] { run([this] { actions_.Write(verifyAfter_->isChecked()); }); });
    button(EepromTexts::kVerify, [this] { run([this] { actions_.Verify(); }); });
    button(EepromTexts::kErase, [this] { run([this] { actions_.Erase(); }); });
    verifyAfter_ = new QCheckBox(EepromTexts::kVerifyAfterWrite, box);
    verifyAfter_->setChecked(true);
    row->addWidget(verifyAfter_);
    controls_ << verifyAfter_;
    row->addStretch(1);
    button(EepromTexts::kLoad, [this] {
        actions_.LoadFile();
        status_->setText(actions_.status());
    });
    button(EepromTexts::kSave, [this] {
        actions_.SaveFile();
        status_->setText(actions_.status());
    });
    return box;
}

QWidget* EepromWindow::buildProgress() {
    auto* box = new QWidget(this);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    status_ = new QLabel(box);
    status_->setWordWrap(true);
    progress_ = new QProgressBar(box);
    progress_->setValue(0);
    cancel_ = new QPushButton(EepromTexts::kCancel, box);
    cancel_->setEnabled(false);
    connect(cancel_, &QPushButton::clicked, this, [this] { actions_.Cancel(); });
    row->addWidget(status_, 1);
    row->addWidget(progress_);
    row->addWidget(cancel_);
    return box;
}

void EepromWindow::syncChoices() {
    const EepromChip& chip = actions_.chip();
    const auto chips = EepromChip::all();
    for (std::size_t i = 0; i < chips.size(); ++i)
        if (chips[i].title() == chip.title())
            chip_->setCurrentIndex(static_cast<int>(i));
    const bool i2c = chip.bus == EepromChip::Bus::I2c;
    address_->setCurrentIndex((actions_.address() - 0xA0) / 2);
    address_->setEnabled(i2c && !working_);
    if (socket_) {
        const auto& in = actions_.socketChip();
        int current = 0;
        for (std::size_t i = 0; in && i < chips.size(); ++i)
            if (chips[i].title() == in->title())
                current = static_cast<int>(i) + 1;
        socket_->setCurrentIndex(current);
    }
    const int resetValue = tester_.resetTension();
    chipInfo_->setText(
        i2c ? QStringLiteral("%1 bytes, pages of %2").arg(chip.size).arg(chip.pageSize)
            : QStringLiteral("%1 bytes, %2")
                  .arg(chip.size)
                  .arg(EepromTexts::selectWindow(resetValue,
                                                 MicrowireEepromProgrammer::windowNs(resetValue))));
}

bool EepromWindow::eventFilter(QObject* watched, QEvent* event) {
    // Installed on the application while the work goes on: user input reaches Cancel (and a
    // message box) only, and no window closes. Input comes to a window first, then to its
    // widget: the widget decides.
    if (!watched->isWidgetType() || QApplication::activeModalWidget())
        return false;
    switch (event->type()) {
    case QEvent::Close:
        event->ignore();
        return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
        return watched != cancel_;
    default:
        return false;
    }
}

template <typename Work> void EepromWindow::run(Work work) {
    working_ = true;
    for (QWidget* w : controls_)
        w->setEnabled(false);
    cancel_->setEnabled(true);
    progress_->setValue(0);
    status_->clear();
    qApp->installEventFilter(this);
    work();
    qApp->removeEventFilter(this);
    working_ = false;
    for (QWidget* w : controls_)
        w->setEnabled(true);
    cancel_->setEnabled(false);
    syncChoices();
    showResult();
}

void EepromWindow::showResult() {
    status_->setText(actions_.status());
    const EepromResult& r = actions_.lastResult();
    if (r.firstDifference < 0)
        return;
    model_->mark(r.firstDifference);
    const QModelIndex at = model_->index(r.firstDifference / 16, r.firstDifference % 16);
    // The cell gets the focus but no selection, which would cover its mark.
    hex_->selectionModel()->setCurrentIndex(at, QItemSelectionModel::Clear);
    hex_->scrollTo(at, QAbstractItemView::PositionAtCenter);
}
