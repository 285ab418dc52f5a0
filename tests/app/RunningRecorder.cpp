#include "RunningRecorder.h"

#include <gtest/gtest.h>

#include <QDir>

#include "app/CActionsManager.h"
#include "platform/defaults/Defaults.h"
#include "support/Files.h"
#include "support/WaitUntil.h"

namespace takebox::test {

using namespace Qt::StringLiterals;

RunningRecorder::RunningRecorder(bool isSetUp) {
    Defaults::standard().reopen(mFolder.filePath(u"preferences.plist"_s));
    CTapedeckApplication::initialize();
    Options options;
    options.controlPort = 0;
    QString error;
    for (const QString& deck :
         {u"pal,name=Studio,guid="_s + kPALGuid, u"ntsc,name=Field,guid="_s + kNTSCGuid}) {
        options.virtualDecks.push_back(avc::parseVirtualDeckSettings(deck, error).value());
    }
    mApplication = std::make_unique<CTapedeckApplication>(options, mInterface);
    EXPECT_TRUE(mApplication->finishLaunching());
    EXPECT_EQ(gDVDevicesController->countDevices(), 2);
    for (int i = 0; isSetUp && i < 2; ++i) {
        deck(i).setRecordingName(u"Show %1"_s.arg(i));
        deck(i).setRawRecordingFolderPath(mFolder.path());
        deck(i).setReferenceMovieFolderPath(mFolder.path());
        deck(i).setSelfContainedRecordingFolderPath(mFolder.path());
        EXPECT_TRUE(waitUntil([this, i] { return deck(i).device()->receivedFrames() > 0; }));
    }
}

RunningRecorder::~RunningRecorder() {
    mApplication.reset();
    for (const QString& folder : CActionsManager::actionsFolders()) {
        QDir(folder).removeRecursively();
    }
}

CDVDeviceWindowController& RunningRecorder::deck(int index) const {
    return *CTapedeckApplication::controllerAtIndex(index);
}

void RunningRecorder::putAction(const QString& fileName, const QByteArray& text) {
    const QString folder = CActionsManager::actionsFolders().last();
    ASSERT_TRUE(QDir().mkpath(folder));
    writeFile(folder + u'/' + fileName, text);
    gActionsManager->loadActions();
}

}  // namespace takebox::test
