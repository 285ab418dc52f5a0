#pragma once

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <memory>

#include "recording/RecordingServices.h"

namespace Ui {
class TapedeckWindow;
}

namespace takebox {

class ApplicationCommands;
class CDVDevice;

/// The window of one deck: picture, levels, time code and the recording's controls, and the sheet
/// with the deck's settings. It shows the outlets of its controller and passes on what the user
/// does; it decides nothing. Closing it hides it; the deck goes on. Main thread.
class TapedeckWindow : public QMainWindow, public DeviceWindow {
    Q_OBJECT

public:
    /// Both must outlive the window.
    TapedeckWindow(CDVDeviceWindowController& controller, ApplicationCommands& commands);
    ~TapedeckWindow() override;

    // As DeviceWindow says.
    [[nodiscard]] QRect frame() const override;
    void setFrameTopLeftPoint(int x, int y) override;
    void show() override;
    [[nodiscard]] bool isShowing() const override { return isVisible() && !isMinimized(); }
    void showSettingsSheet() override;
    void closeSettingsSheet() override;
    void chooseFolder(const QString& title, const QString& folder,
                      std::function<void(const QString&)> chosen) override;

protected:
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void makeMenus();
    void bindControls();
    void bindSettingsSheet();
    void styleMonitor();
    void styleButtons();
    void showPreviewImage();
    void showRecordingState();
    void showRefusedFiles();
    void showLosses();
    void showSettingsHint();
    void checkSignal();
    void showLevelsAsLive(bool areLive);
    [[nodiscard]] static QString whyNoSignal(const CDVDevice& device);

    CDVDeviceWindowController& mController;
    ApplicationCommands& mCommands;
    std::unique_ptr<Ui::TapedeckWindow> mUi;
    QTimer mSignalTimer{this};
    QElapsedTimer mSinceLastFrame;
    std::uint64_t mReceivedFrames = 0;
};

}  // namespace takebox
