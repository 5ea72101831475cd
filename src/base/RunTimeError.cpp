#include "base/RunTimeError.h"

#include <QDir>
#include <QFileInfo>

namespace RunTimeError {

namespace {
// What is wrong with the place itself, when something is: 0 when the place looks usable.
int placeProblem(const QString& path, bool writing) {
    const QFileInfo file(path);
    if (file.fileName().isEmpty())
        return BadFileName;
    const QFileInfo folder(file.absolutePath());
    if (!folder.exists() || !folder.isDir())
        return PathNotFound;
    if (file.isDir())
        return PathFileAccess;
    if (writing && (!folder.isWritable() || (file.exists() && !file.isWritable())))
        return PermissionDenied;
    if (!writing && !file.exists())
        return FileNotFound;
    if (!writing && !file.isReadable())
        return PermissionDenied;
    return 0;
}
} // namespace

int forWrite(const QString& path, QFileDevice::FileError error) {
    if (const int problem = placeProblem(path, true))
        return problem;
    switch (error) {
    case QFileDevice::WriteError:
    case QFileDevice::ResizeError:
        return DiskFull;
    case QFileDevice::PermissionsError:
        return PermissionDenied;
    default:
        return PathFileAccess;
    }
}

int forRead(const QString& path, QFileDevice::FileError error) {
    if (const int problem = placeProblem(path, false))
        return problem;
    return error == QFileDevice::PermissionsError ? PermissionDenied : PathFileAccess;
}

int whileReading(QFileDevice::FileError error) {
    return error == QFileDevice::PermissionsError ? PermissionDenied : DeviceIoError;
}

} // namespace RunTimeError
