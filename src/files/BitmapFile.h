#pragma once

#include "base/SafeSave.h"

#include <QImage>
#include <QString>

// Saves an image as a Windows bitmap (24 bits per pixel). The file is written beside the
// target and renamed over it only when complete, so a failed save leaves an existing file as
// it was (see saveWith for streams). Returns 0, or the run-time error number of the failure
// and, in why, its reason.
int saveBitmap(const QImage& image, const QString& path, Streams streams = Streams::Refuse,
               QString* why = nullptr);
