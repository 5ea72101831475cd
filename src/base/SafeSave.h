#pragma once

#include <QByteArray>
#include <QString>

// Writes content to path beside the target and renames it over the target only when every
// byte is written, so that a failed save leaves an existing file as it was. Returns 0, or the
// run-time error number of the failure.
int saveWhole(const QString& path, const QByteArray& content);
