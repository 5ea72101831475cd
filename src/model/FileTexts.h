#pragma once

#include <QString>

#include <cstddef>

// What the file commands, the exports and the About box show the user.
namespace FileTexts {

// The product's name for the desktop and the registry, and the About box's first line.
inline const QString kProductName = QStringLiteral("Tamsolvix and Explorer");

// The question before a file is replaced: "'name' is exist ! Overwrite ?".
QString overwriteQuestion(const QString& fileName);
// A command file that is not there: "'name' is NOT exist !".
QString notExisting(const QString& fileName);
// A failed file command: "Eror in File funktions ! Error Code: 62".
QString fileError(int error);
inline const QString kNotCompatible = QStringLiteral("Not compatible file format version !");
// The VCD export without line events.
inline const QString kNoLineEvents =
    QStringLiteral("There are no line events to export: switch Observation on in the Analyse "
                   "menu and run a sequence.");
// What an export says when the run had more line events than the log keeps.
QString droppedEvents(std::size_t dropped, std::size_t kept);
// The About box.
QString aboutText();

} // namespace FileTexts
