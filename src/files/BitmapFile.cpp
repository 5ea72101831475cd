#include "files/BitmapFile.h"

#include "base/RunTimeError.h"
#include "base/SafeSave.h"

#include <QBuffer>

int saveBitmap(const QImage& image, const QString& path) {
    QByteArray content;
    QBuffer buffer(&content);
    buffer.open(QIODevice::WriteOnly);
    if (!image.convertToFormat(QImage::Format_RGB888).save(&buffer, "BMP"))
        return RunTimeError::forWrite(path, QFileDevice::WriteError);
    return saveWhole(path, content);
}
