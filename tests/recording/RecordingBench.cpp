#include "recording/RecordingBench.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/Files.h"
#include "support/WaitUntil.h"

namespace takebox::test {

std::unique_ptr<DeviceWindow> FakeServices::makeDeviceWindow(
    CDVDeviceWindowController& /*controller*/) {
    return nullptr;
}

std::int32_t FakeServices::switchPlayout(const QString& address, bool on) {
    switched.emplace_back(address, on);
    whenSwitched();
    return switchResult;
}

bool FakeServices::executeActionWithName(const QString& name) {
    actions << name;
    return true;
}

bool FakeServices::recycle(const QString& path) {
    recycled << path;
    return recycles && QFile::rename(path, path + QStringLiteral(".recycled"));
}

RecordingBench::RecordingBench() {
    Defaults::standard().reopen(mFolder.filePath(QStringLiteral("defaults.plist")));
}

RecordingBench::~RecordingBench() {
    gDVDevicesController.reset();
    WriterThreads::waitUntilFinished();
}

FakeDevice& RecordingBench::addDeck(std::uint8_t dvMode) {
    auto device = std::make_unique<FakeDevice>(mDecks.size() + 1, dvMode);
    mDecks.push_back(device.get());
    mToOffer.push_back(std::move(device));
    return *mDecks.back();
}

void RecordingBench::makeControllers() {
    gDVDevicesController = std::make_unique<CDVDevicesController>(fakeBackends(std::move(mToOffer)),
                                                                  *this, services.manualClock);
}

std::shared_ptr<DeviceWindowController> RecordingBench::makeWindowController(
    std::shared_ptr<CDVDevice> device) {
    auto made = std::make_shared<CDVDeviceWindowController>(std::move(device), services);
    made->settings().setRawRecordingFolderPath(path(QStringLiteral("raw/")));
    made->settings().setReferenceMovieFolderPath(path(QStringLiteral("reference/")));
    made->settings().setSelfContainedRecordingFolderPath(path(QStringLiteral("movies/")));
    return made;
}

CDVDeviceWindowController& RecordingBench::controller(std::size_t index) const {
    return dynamic_cast<CDVDeviceWindowController&>(*gDVDevicesController->devices().at(index));
}

void RecordingBench::want(bool referenceMovie, bool selfContainedMovie) const {
    controller().settings().setCreateReferenceMovie(referenceMovie);
    controller().settings().setCreateSelfContainedMovie(selfContainedMovie);
}

void RecordingBench::send(int frames, std::size_t index) {
    const bool isPAL = deck(index).dvMode() == kPALMode;
    for (int i = 0; i < frames; ++i) {
        deck(index).sendFrame(fakeFrame(isPAL, mFramesSent++));
        QCoreApplication::processEvents();
    }
}

void RecordingBench::finishWriting() {
    WriterThreads::waitUntilFinished();
}

QString RecordingBench::path(const QString& name) const {
    const QString full = mFolder.filePath(name);
    QDir().mkpath(name.endsWith(QLatin1Char('/')) ? full : QFileInfo(full).path());
    return QDir::cleanPath(full);
}

void RecordingBench::make(const QString& name, const QByteArray& content) const {
    writeFile(path(name), content);
}

QByteArray RecordingBench::contents(const QString& name) const {
    return contentsOf(mFolder.filePath(name));
}

bool RecordingBench::exists(const QString& name) const {
    return QFileInfo::exists(mFolder.filePath(name));
}

void RecordingBench::makeUnremovable(const QString& name) const {
    make(name + QStringLiteral("/inside"));
}

}  // namespace takebox::test
