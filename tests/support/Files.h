#pragma once

#include <QByteArray>
#include <QString>

namespace takebox::test {

/// What a file holds. The test fails, and the result is empty, when it cannot be read.
[[nodiscard]] QByteArray contentsOf(const QString& path);
/// Makes a file or replaces what it holds. The test fails when it cannot be written.
void writeFile(const QString& path, const QByteArray& contents);

}  // namespace takebox::test
