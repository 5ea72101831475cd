#include "files/BitmapFile.h"

#include "files/RunTimeError.h"

#include <QSaveFile>

int saveBitmap(const QImage& image, const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return RunTimeError::forWrite(path, file.error());
    if (!image.convertToFormat(QImage::Format_RGB888).save(&file, "BMP")) {
        file.cancelWriting();
        return RunTimeError::forWrite(path, QFileDevice::WriteError);
    }
    if (!file.commit())
        return RunTimeError::forWrite(path, file.error());
    return 0;
}
