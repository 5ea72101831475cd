#pragma once

#include <QString>

// The run's message texts as the user reads them, written out here once so that a test notices
// when the program's own copy changes.
inline const QString kI2cBadConstant =
    QStringLiteral("Error! Wrong Constans value!\r\nValid value 0...255 or &h0...&hFF");
inline const QString kMicrowireBadConstant =
    QStringLiteral("Error! Wrong Constans value!\r\nValid value 0...255");
inline const QString kIllegalBit =
    QStringLiteral("Wrong command! Illegal character in string!\r\nValid characters 0 and 1 !");
