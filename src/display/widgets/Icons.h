#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace takebox {

/// An application icon: "TapedeckIcon", "TapedeckPausedIcon" or "TapedeckStoppedIcon".
[[nodiscard]] QIcon applicationIcon(const QString& name);

/// A one-coloured glyph ("record", "stop", ...). It takes the colour of the button texts of the
/// desktop's palette, also when that changes, and is sharp at every scale.
[[nodiscard]] QIcon symbolicIcon(const QString& name);

/// The same in a colour of its own; greyed while its control is disabled.
[[nodiscard]] QIcon symbolicIcon(const QString& name, const QColor& color);

}  // namespace takebox
