#pragma once

#include <QTemporaryDir>
#include <memory>

#include "app/CTapedeckApplication.h"
#include "app/HeadlessInterface.h"
#include "recording/CDVDeviceWindowController.h"

namespace takebox::test {

/// The whole program without windows, with two virtual decks (PAL, then NTSC) that record into a
/// folder which is removed at the end.
class RunningRecorder {
public:
    static inline const QString kPALGuid = QStringLiteral("00000000000000a1");
    static inline const QString kNTSCGuid = QStringLiteral("00000000000000b2");

    /// @param isSetUp the decks have been given names and folders.
    explicit RunningRecorder(bool isSetUp = true);
    ~RunningRecorder();
    RunningRecorder(const RunningRecorder&) = delete;
    RunningRecorder& operator=(const RunningRecorder&) = delete;

    [[nodiscard]] CTapedeckApplication& application() { return *mApplication; }
    [[nodiscard]] CDVDeviceWindowController& deck(int index) const;
    [[nodiscard]] QString filePath(const QString& name) const { return mFolder.filePath(name); }

    /// Puts a script into the user's actions folder and loads the actions anew.
    void putAction(const QString& fileName, const QByteArray& text);

private:
    QTemporaryDir mFolder;
    HeadlessInterface mInterface;
    std::unique_ptr<CTapedeckApplication> mApplication;
};

}  // namespace takebox::test
