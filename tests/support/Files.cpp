#include "support/Files.h"

#include <gtest/gtest.h>

#include <QFile>

namespace takebox::test {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& contents) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    EXPECT_EQ(file.write(contents), contents.size()) << path.toStdString();
}

}  // namespace takebox::test
