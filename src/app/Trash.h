#pragma once

#include <QString>

namespace takebox {

/// Moves a file to the desktop's trash; where there is none, to a folder "Removed Recordings"
/// beside it. @return false, and the file stays, when neither can be done.
bool moveToTrash(const QString& path);

}  // namespace takebox
