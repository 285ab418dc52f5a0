#pragma once

#include <QObject>
#include <QStringList>
#include <QStringListModel>
#include <cstdint>
#include <memory>

class QLineEdit;
class QWidget;

namespace Ui {
class Preferences;
}

namespace takebox {

/// The preferences window. Each change is written to the defaults at once, with the exceptions that
/// the address list makes. Main thread; made once by the application.
class PreferenceController : public QObject {
    Q_OBJECT

public:
    PreferenceController();
    ~PreferenceController() override;

    /// Shows the window; the first time it is loaded with what the defaults hold.
    void showWindow();
    /// Null before it was shown.
    [[nodiscard]] QWidget* window() const { return mWindow.get(); }

    // What the controls show. They write nothing.
    void setCastlineAddressesArray(const QStringList& addresses);
    [[nodiscard]] QStringList castlineAddressesArray() const {
        return castlineAddresses.stringList();
    }
    void setShouldSwitchCastline(bool shouldSwitch);
    void setStartStopVTR(bool startStop);
    void setEraseExistingFiles(bool erase);
    void setLaunchStartRecordingScript(bool launch);
    void setLaunchStopRecordingScript(bool launch);
    void setStartRecordingScriptDelay(std::int64_t seconds);
    void setStopRecordingScriptDelay(std::int64_t seconds);

    /// Appends an address to edit. It is not written before the next edit or deletion.
    void addCastlineButtonPushed();
    /// Removes the selected address; does nothing without one.
    void deleteCastlineButtonPushed();

private:
    void windowDidLoad();
    void connectControls();
    void showDelay(QLineEdit& field, std::int64_t seconds);
    void delayFieldChanged(QLineEdit& field, const QString& key);
    void writeAddresses();

    QStringListModel castlineAddresses;
    std::unique_ptr<Ui::Preferences> mUi;
    std::unique_ptr<QWidget> mWindow;
};

}  // namespace takebox
