#pragma once

#include <QPlainTextEdit>

class QMimeData;

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
