#include "app/RecordRun.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include "support/OrdinaryUser.h"

namespace takebox {
namespace {

TEST(RecordRun, saysThatItMayNotWriteIntoTheFolder) {
    const QTemporaryDir folder;
    QFile::setPermissions(folder.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    const test::OrdinaryUser user;
    RecordRun run(1, folder.path());
    QObject::connect(&run, &RecordRun::finished,
                     [](int status) { QCoreApplication::exit(status); });
    testing::internal::CaptureStderr();
    run.start();
    EXPECT_EQ(QCoreApplication::exec(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "takebox: cannot write into the folder " +
                                                          folder.path().toStdString() +
                                                          ": Permission denied\n");
}

}  // namespace
}  // namespace takebox
