#include "base/LineEnds.h"

QString withLineFeeds(QString text) {
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}
