#pragma once

#include <QPalette>

namespace takebox {

/// Colours for a desktop that prefers dark windows.
[[nodiscard]] QPalette darkPalette();

/// Asks the desktop whether it prefers dark windows and, where the toolkit has not followed by
/// itself, uses darkPalette(). Desktops that cannot say stay as they are. Needs a QApplication.
void followDesktopTheme();

}  // namespace takebox
