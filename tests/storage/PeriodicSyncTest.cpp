#include "storage/PeriodicSync.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <atomic>
#include <cerrno>

#include "storage/WriterThreads.h"
#include "support/DiskCalls.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

TEST(PeriodicSync, saysOnceThatTheDiskRefusesAndGoesOnTrying) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.dv"));
    test::writeFile(path, "frames");
    std::atomic<int> flushes{0};
    const test::FakeFlush flush([&flushes] {
        ++flushes;
        errno = EIO;
        return -1;
    });
    test::LogCapture log;
    const auto sync = PeriodicSync::start(path.toStdString());
    EXPECT_TRUE(test::waitUntil([&flushes] { return flushes >= 2; }));
    sync->stop();
    WriterThreads::waitUntilFinished();
    EXPECT_EQ(log.count("Cannot flush " + path.toStdString() + ": Input/output error"), 1);
}

}  // namespace
}  // namespace takebox
