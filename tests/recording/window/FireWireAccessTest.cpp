#include "recording/window/FireWireAccess.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "support/OrdinaryUser.h"

namespace takebox {
namespace {

void makeFile(const QString& path, bool isUsable) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    file.setPermissions(isUsable ? QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                 : QFileDevice::Permissions());
}

TEST(FireWireAccess, findsNoAdapterWithoutDeviceFiles) {
    const QTemporaryDir folder;
    EXPECT_EQ(fireWireAccess(folder.path()), FireWireAccess::kNoAdapter);
    makeFile(folder.filePath(QStringLiteral("fwupd")), true);
    EXPECT_EQ(fireWireAccess(folder.path()), FireWireAccess::kNoAdapter);
    EXPECT_EQ(fireWireAccess(folder.filePath(QStringLiteral("none"))), FireWireAccess::kNoAdapter);
}

TEST(FireWireAccess, tellsWhetherTheUserMayUseOne) {
    const QTemporaryDir folder;
    makeFile(folder.filePath(QStringLiteral("fw0")), false);
    {
        const test::OrdinaryUser user;
        EXPECT_EQ(fireWireAccess(folder.path()), FireWireAccess::kNoPermission);
    }
    makeFile(folder.filePath(QStringLiteral("fw1")), true);
    EXPECT_EQ(fireWireAccess(folder.path()), FireWireAccess::kReady);
}

}  // namespace
}  // namespace takebox
