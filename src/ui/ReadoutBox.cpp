#include "ui/ReadoutBox.h"

#include "base/LineEnds.h"

#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>

namespace {

// A read-out's last block is cut once it is longer than this; the blocks before it keep about
// this many characters each.
constexpr int kBlockLength = 64;
// The state of a block that continues the line of the block before it (no line break between).
constexpr int kContinuation = 1;

} // namespace

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
    const QString shown = withLineFeeds(text);
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
