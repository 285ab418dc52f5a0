#pragma once

#include <QByteArray>
#include <QString>

namespace takebox {

/// Puts the contents in the place of the file at the path, or makes it. Whoever opens the path,
/// also after a crash or a power failure at any moment, finds the old or the new contents whole:
/// they are written to a temporary file beside it (".NAME.PROCESS.new"), flushed to the disk and
/// renamed over it, and the folder is flushed. A symbolic link at the path stays and its target is
/// replaced. The file's permissions stay; a new file is its owner's only. Blocks for the disk.
/// @return 0 or an errno value; the old file is untouched then and no temporary file is left.
[[nodiscard]] int replaceFile(const QString& path, const QByteArray& contents);

/// Removes the temporary files that processes left beside the path when they were killed.
void removeAbandonedReplacements(const QString& path);

}  // namespace takebox
