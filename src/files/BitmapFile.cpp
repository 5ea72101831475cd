#include "files/BitmapFile.h"

#include "base/RunTimeError.h"
#include "base/SafeSave.h"

#include <QBuffer>

int saveBitmap(const QImage& image, const QString& path, Streams streams, QString* why) {
    QByteArray content;
    QBuffer buffer(&content);
    buffer.open(QIODevice::WriteOnly);
    if (!image.convertToFormat(QImage::Format_RGB888).save(&buffer, "BMP")) {
        if (why)
            *why = QStringLiteral("the picture could not be encoded");
        return RunTimeError::forWrite(path, QFileDevice::WriteError);
    }
    return saveWhole(path, content, streams, why);
}
