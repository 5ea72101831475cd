#include "base/SafeSave.h"

#include "base/RunTimeError.h"

#include <QSaveFile>

int saveWhole(const QString& path, const QByteArray& content) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return RunTimeError::forWrite(path, file.error());
    // A short write can come without an error (a file size limit, a full disk): commit()
    // would then put the truncated file in place, so the count is what decides.
    if (file.write(content) != content.size()) {
        const QFileDevice::FileError error =
            file.error() == QFileDevice::NoError ? QFileDevice::WriteError : file.error();
        file.cancelWriting();
        return RunTimeError::forWrite(path, error);
    }
    if (!file.commit())
        return RunTimeError::forWrite(path, file.error());
    return 0;
}
