#pragma once

#include <QStringList>

namespace takebox {

/// --recover FILE...: makes a complete movie of each, with a progress bar on a terminal, and tells
/// what became of it.
/// @return 0 when every file is complete now; else the highest of what happened to one of them:
///         1 cannot be written, 3 no movie of ours, 4 cannot be read, 5 disk full, 6 still being
///         recorded, 130 interrupted.
[[nodiscard]] int runRecover(const QStringList& paths);

}  // namespace takebox
