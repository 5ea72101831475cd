#pragma once

#include <QByteArray>
#include <QIcon>

// The program's icons, each drawn in this one place: the chip that the desktop entry installs
// and the main window carries, and the explanation window's own icon.
namespace ProgramIcons {

// The chip as the SVG file that an installation and "Associate .scm File" write.
QByteArray programSvg();
// The same chip for a window's title bar and task switcher (needs a GUI application).
QIcon program();
// The explanation window's icon: the two traces of the observation, data over clock.
QIcon explanation();

} // namespace ProgramIcons
