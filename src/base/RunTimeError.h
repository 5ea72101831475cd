#pragma once

#include <QFileDevice>
#include <QString>

// The run-time error numbers by which the file commands and the export identify a failure,
// and the one place where the platform's failures are mapped onto them.
namespace RunTimeError {

constexpr int Overflow = 6;
constexpr int TypeMismatch = 13;
constexpr int OutOfStringSpace = 14; // a command-file field longer than the reader takes
constexpr int BadFileName = 52;
constexpr int FileNotFound = 53;
constexpr int DeviceIoError = 57;
constexpr int DiskFull = 61;
constexpr int InputPastEndOfFile = 62;
constexpr int PermissionDenied = 70;
constexpr int DiskNotReady = 71;
constexpr int PathFileAccess = 75;
constexpr int PathNotFound = 76;
constexpr int InvalidPropertyValue = 380;
constexpr int Cancel = 32755;

// The number for a failure to write path (error: what the file device reported).
int forWrite(const QString& path, QFileDevice::FileError error);
// The number for a failure to open path for reading.
int forRead(const QString& path, QFileDevice::FileError error);
// The number for a read that fails on a file that opened (error: what the device reported).
int whileReading(QFileDevice::FileError error);

} // namespace RunTimeError
