#pragma once

#include <QMenuBar>

namespace takebox {

class ApplicationCommands;

/// Fills the menu bar of a window with the menus that every window has: File, Edit, Window and
/// Help. A menu of the window's own stands between Edit and Window.
/// @param ownMenu may be null; the menu bar takes it over.
void makeMainMenu(QMenuBar& menuBar, ApplicationCommands& commands, QMenu* ownMenu);

}  // namespace takebox
