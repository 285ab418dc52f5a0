#include "PreferenceController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QListView>
#include <QPushButton>
#include <QVariant>
#include <cstdlib>

#include "capture/PreferenceKeys.h"
#include "display/widgets/Icons.h"
#include "display/widgets/WindowFit.h"
#include "platform/defaults/Defaults.h"
#include "ui_Preferences.h"

namespace takebox {
namespace {

void write(const QString& key, const QVariant& value) {
    Defaults::standard().setObject(key, value);
    // A store that cannot be written has been logged; the value holds until the program ends.
    static_cast<void>(Defaults::standard().synchronize());
}

}  // namespace

PreferenceController::PreferenceController() = default;

PreferenceController::~PreferenceController() = default;

void PreferenceController::showWindow() {
    if (!mWindow) {
        mUi = std::make_unique<Ui::Preferences>();
        mWindow = std::make_unique<QWidget>();
        mUi->setupUi(mWindow.get());
        mWindow->setWindowIcon(applicationIcon(QStringLiteral("TapedeckIcon")));
        mUi->addCastlineButton->setIcon(symbolicIcon(QStringLiteral("add")));
        mUi->deleteCastlineButton->setIcon(symbolicIcon(QStringLiteral("remove")));
        windowDidLoad();
        connectControls();
        fitToScreen(*mWindow);
    }
    mWindow->show();
    mWindow->raise();
    mWindow->activateWindow();
}

void PreferenceController::windowDidLoad() {
    const Defaults& defaults = Defaults::standard();
    mUi->castlineAddressesTableView->setModel(&castlineAddresses);
    if (defaults.objectForKey(OxaPrefCastlineAddressesKey).isValid()) {
        QStringList addresses;
        for (const QVariant& address : defaults.arrayForKey(OxaPrefCastlineAddressesKey)) {
            addresses << Defaults::stringOf(address);
        }
        setCastlineAddressesArray(addresses);
    }
    setShouldSwitchCastline(defaults.boolForKey(OxaPrefShouldSwitchCastlineKey));
    setStartStopVTR(defaults.boolForKey(OxaPrefStartStopVTRKey));
    setEraseExistingFiles(defaults.boolForKey(OxaPrefEraseExistingFilesKey));
    setLaunchStartRecordingScript(defaults.boolForKey(OxaPrefLaunchStartRecordingScriptKey));
    setLaunchStopRecordingScript(defaults.boolForKey(OxaPrefLaunchStopRecordingScriptKey));
    setStartRecordingScriptDelay(defaults.integerForKey(OxaPrefStartRecordingScriptDelayKey));
    setStopRecordingScriptDelay(defaults.integerForKey(OxaPrefStopRecordingScriptDelayKey));
}

void PreferenceController::connectControls() {
    struct CheckBoxOfKey {
        QCheckBox* checkBox;
        const QString& key;
    };
    for (const auto& [checkBox, key] : {
             CheckBoxOfKey{mUi->switchCastlineCheckBox, OxaPrefShouldSwitchCastlineKey},
             CheckBoxOfKey{mUi->startStopVTRCheckBox, OxaPrefStartStopVTRKey},
             CheckBoxOfKey{mUi->eraseExistingFilesCheckBox, OxaPrefEraseExistingFilesKey},
             CheckBoxOfKey{mUi->launchStartRecordingScriptCheckBox,
                           OxaPrefLaunchStartRecordingScriptKey},
             CheckBoxOfKey{mUi->launchStopRecordingScriptCheckBox,
                           OxaPrefLaunchStopRecordingScriptKey},
         }) {
        connect(checkBox, &QCheckBox::clicked, this, [&key = key](bool isOn) { write(key, isOn); });
    }
    connect(mUi->startRecordingScriptDelayField, &QLineEdit::editingFinished, this, [this] {
        delayFieldChanged(*mUi->startRecordingScriptDelayField,
                          OxaPrefStartRecordingScriptDelayKey);
    });
    connect(mUi->stopRecordingScriptDelayField, &QLineEdit::editingFinished, this, [this] {
        delayFieldChanged(*mUi->stopRecordingScriptDelayField, OxaPrefStopRecordingScriptDelayKey);
    });
    connect(mUi->recordingFormatPopUpButton, &QComboBox::activated, this,
            [](int index) { write(OxaPrefRecordingFormatKey, qint64{index}); });
    connect(mUi->addCastlineButton, &QPushButton::clicked, this,
            &PreferenceController::addCastlineButtonPushed);
    connect(mUi->deleteCastlineButton, &QPushButton::clicked, this,
            &PreferenceController::deleteCastlineButtonPushed);
    connect(&castlineAddresses, &QStringListModel::dataChanged, this,
            &PreferenceController::writeAddresses);
}

void PreferenceController::setCastlineAddressesArray(const QStringList& addresses) {
    castlineAddresses.setStringList(addresses);
}

void PreferenceController::setShouldSwitchCastline(bool shouldSwitch) {
    mUi->switchCastlineCheckBox->setChecked(shouldSwitch);
}

void PreferenceController::setStartStopVTR(bool startStop) {
    mUi->startStopVTRCheckBox->setChecked(startStop);
}

void PreferenceController::setEraseExistingFiles(bool erase) {
    mUi->eraseExistingFilesCheckBox->setChecked(erase);
}

void PreferenceController::setLaunchStartRecordingScript(bool launch) {
    mUi->launchStartRecordingScriptCheckBox->setChecked(launch);
}

void PreferenceController::setLaunchStopRecordingScript(bool launch) {
    mUi->launchStopRecordingScriptCheckBox->setChecked(launch);
}

void PreferenceController::setStartRecordingScriptDelay(std::int64_t seconds) {
    showDelay(*mUi->startRecordingScriptDelayField, seconds);
}

void PreferenceController::setStopRecordingScriptDelay(std::int64_t seconds) {
    showDelay(*mUi->stopRecordingScriptDelayField, seconds);
}

void PreferenceController::showDelay(QLineEdit& field, std::int64_t seconds) {
    field.setText(QString::number(seconds));
}

void PreferenceController::delayFieldChanged(QLineEdit& field, const QString& key) {
    if (!field.isModified()) {
        return;
    }
    // The whole number at the start of what was typed: 2.7 is 2.
    const std::int64_t seconds = std::strtoll(field.text().toUtf8().constData(), nullptr, 10);
    showDelay(field, seconds);
    write(key, qint64{seconds});
}

void PreferenceController::addCastlineButtonPushed() {
    const int row = castlineAddresses.rowCount();
    setCastlineAddressesArray(castlineAddressesArray() << QStringLiteral("127.0.0.1"));
    const QModelIndex added = castlineAddresses.index(row);
    mUi->castlineAddressesTableView->setCurrentIndex(added);
    mUi->castlineAddressesTableView->edit(added);
}

void PreferenceController::deleteCastlineButtonPushed() {
    const auto selected = mUi->castlineAddressesTableView->selectionModel()->selectedIndexes();
    if (selected.isEmpty()) {
        return;
    }
    QStringList addresses = castlineAddressesArray();
    addresses.removeAt(selected.first().row());
    setCastlineAddressesArray(addresses);
    writeAddresses();
}

void PreferenceController::writeAddresses() {
    // Written to the disk with the next preference that is changed, or at the end of the program.
    QVariantList addresses;
    for (const QString& address : castlineAddressesArray()) {
        addresses << address;
    }
    Defaults::standard().setObject(OxaPrefCastlineAddressesKey, addresses);
}

}  // namespace takebox
