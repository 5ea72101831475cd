#pragma once

#include <QString>

// The texts of the tool join their lines with CR LF, as the read-outs, the messages and the
// files keep them; a terminal or a Qt widget wants a plain line feed.
QString withLineFeeds(QString text);
