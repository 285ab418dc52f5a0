#include "recording/CDVDeviceSettings.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <memory>

#include "platform/defaults/Defaults.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

const QString kGUID = u"0800460104b2c3d4"_s;
const QString kKey = u"Device Settings 0800460104b2c3d4"_s;

class CDVDeviceSettingsTest : public ::testing::Test {
protected:
    CDVDeviceSettingsTest() {
        Defaults::standard().reopen(mFolder.filePath(QStringLiteral("settings.plist")));
    }

    static void store(const QVariantMap& entry) { Defaults::standard().setObject(kKey, entry); }
    static QVariantMap stored() { return Defaults::standard().objectForKey(kKey).toMap(); }

    // Every field different from what init and loading give it.
    static void fill(CDVDeviceSettings& settings) {
        settings.setDeviceGUID(kGUID);
        settings.setDeviceName(u"Deck"_s);
        settings.setAutoNameRecordings(true);
        settings.setMonoTracks(true);
        settings.setLoopRecording(true);
        settings.setReferenceMovieDuration(12.5);
        settings.setRawRecordingFolderPath(u"/raw"_s);
        settings.setSelfContainedRecordingFolderPath(u"/self"_s);
        settings.setReferenceMovieFolderPath(u"/ref"_s);
        settings.setRecordingName(u"Show"_s);
        settings.setCreateReferenceMovie(false);
        settings.setCreateSelfContainedMovie(true);
        settings.setTimecodeSourceIndex(kTimecodeSourcePreset);
        settings.setPresetTimecode(3723.5);
    }

    static void expectThoseOfAnUnknownDevice(const CDVDeviceSettings& settings) {
        EXPECT_FALSE(settings.autoNameRecordings());
        EXPECT_FALSE(settings.monoTracks());
        EXPECT_FALSE(settings.loopRecording());
        EXPECT_EQ(settings.referenceMovieDuration(), 3600.0);
        EXPECT_EQ(settings.rawRecordingFolderPath(), u"/"_s);
        EXPECT_EQ(settings.selfContainedRecordingFolderPath(), u"/"_s);
        EXPECT_EQ(settings.referenceMovieFolderPath(), u"/"_s);
        EXPECT_EQ(settings.recordingName(), u"Untitled"_s);
        EXPECT_TRUE(settings.createReferenceMovie());
        EXPECT_FALSE(settings.createSelfContainedMovie());
    }

    const QTemporaryDir mFolder;
};

}  // namespace

TEST(CDVDeviceSettings, aValueThatIsNoTextCountsAsAbsent) {
    const CDVDeviceSettings settings(
        {{u"Recording Name"_s, QVariantList{1, 2}}, {u"Device Name"_s, u"Deck"_s}});
    EXPECT_EQ(settings.recordingName(), u"Untitled"_s);
    EXPECT_EQ(settings.settingsDictionary().size(), 13);
}

TEST_F(CDVDeviceSettingsTest, freshOnesHaveNoKindOfMovieAndNoDuration) {
    const CDVDeviceSettings settings;
    EXPECT_EQ(settings.recordingName(), u"Untitled"_s);
    EXPECT_EQ(settings.rawRecordingFolderPath(), u"/"_s);
    EXPECT_EQ(settings.selfContainedRecordingFolderPath(), u"/"_s);
    EXPECT_EQ(settings.referenceMovieFolderPath(), u"/"_s);
    EXPECT_EQ(settings.referenceMovieDuration(), 0.0);
    EXPECT_FALSE(settings.createReferenceMovie());
    EXPECT_FALSE(settings.createSelfContainedMovie());
    EXPECT_FALSE(settings.autoNameRecordings());
    EXPECT_FALSE(settings.monoTracks());
    EXPECT_FALSE(settings.loopRecording());
    EXPECT_EQ(settings.timecodeSourceIndex(), kTimecodeSourceDevice);
    EXPECT_EQ(settings.presetTimecode(), 0.0);
    EXPECT_TRUE(settings.deviceName().isNull());
    EXPECT_TRUE(settings.deviceGUID().isNull());
}

TEST_F(CDVDeviceSettingsTest, deviceNeverSeenBeforeRecordsAReferenceMovieOfAnHour) {
    CDVDeviceSettings settings;
    fill(settings);
    settings.loadSettings();
    expectThoseOfAnUnknownDevice(settings);
    // These stay as they are.
    EXPECT_EQ(settings.deviceName(), u"Deck"_s);
    EXPECT_EQ(settings.presetTimecode(), 3723.5);
    EXPECT_EQ(settings.timecodeSourceIndex(), kTimecodeSourcePreset);
}

TEST_F(CDVDeviceSettingsTest, allFieldsComeBackFromTheFile) {
    {
        CDVDeviceSettings settings;
        fill(settings);
        settings.saveSettings();
    }
    Defaults::standard().reopen(Defaults::standard().path());
    const CDVDeviceSettings again(stored());
    EXPECT_TRUE(again.autoNameRecordings());
    EXPECT_TRUE(again.monoTracks());
    EXPECT_TRUE(again.loopRecording());
    EXPECT_EQ(again.referenceMovieDuration(), 12.5);
    EXPECT_EQ(again.rawRecordingFolderPath(), u"/raw"_s);
    EXPECT_EQ(again.selfContainedRecordingFolderPath(), u"/self"_s);
    EXPECT_EQ(again.referenceMovieFolderPath(), u"/ref"_s);
    EXPECT_EQ(again.recordingName(), u"Show"_s);
    EXPECT_EQ(again.deviceName(), u"Deck"_s);
    EXPECT_FALSE(again.createReferenceMovie());
    EXPECT_TRUE(again.createSelfContainedMovie());
    EXPECT_EQ(again.timecodeSourceIndex(), kTimecodeSourcePreset);
    EXPECT_EQ(again.presetTimecode(), 3723.5);
}

TEST_F(CDVDeviceSettingsTest, dictionaryHasTheTypesOfThePropertyListAndNotTheGUID) {
    CDVDeviceSettings settings;
    fill(settings);
    const QVariantMap dictionary = settings.settingsDictionary();
    EXPECT_EQ(dictionary.size(), 13);
    const auto typeOf = [&](const QString& key) { return dictionary.value(key).typeId(); };
    for (const auto& key : {u"Auto Name Recordings"_s, u"Mono Tracks"_s, u"Loop Recording"_s,
                            u"Create Reference Movie"_s, u"Create Self-Contained Movie"_s}) {
        EXPECT_EQ(typeOf(key), QMetaType::Bool) << key.toStdString();
    }
    for (const auto& key : {u"Reference Movie Duration"_s, u"Preset Timecode"_s}) {
        EXPECT_EQ(typeOf(key), QMetaType::Double) << key.toStdString();
    }
    for (const auto& key :
         {u"Raw Recording Folder Path"_s, u"Self-Contained Recording Folder Path"_s,
          u"Reference Movie Folder Path"_s, u"Recording Name"_s, u"Device Name"_s}) {
        EXPECT_EQ(typeOf(key), QMetaType::QString) << key.toStdString();
    }
    EXPECT_EQ(typeOf(u"Timecode Source Index"_s), QMetaType::LongLong);
}

TEST_F(CDVDeviceSettingsTest, emptyEntryLoadsTheDefaultsOfEachAbsentKey) {
    store({});
    CDVDeviceSettings settings;
    fill(settings);
    settings.loadSettings();
    expectThoseOfAnUnknownDevice(settings);
    EXPECT_EQ(settings.timecodeSourceIndex(), 0);
    EXPECT_EQ(settings.presetTimecode(), 0.0);
    EXPECT_EQ(settings.deviceName(), u"Deck"_s);  // the one without a default
}

TEST_F(CDVDeviceSettingsTest, missingKeysAmongOthersTakeTheirDefaults) {
    store({{u"Recording Name"_s, u"Show"_s}, {u"Create Self-Contained Movie"_s, true}});
    CDVDeviceSettings settings;
    settings.setDeviceGUID(kGUID);
    settings.loadSettings();
    EXPECT_EQ(settings.recordingName(), u"Show"_s);
    EXPECT_EQ(settings.referenceMovieDuration(), 3600.0);
    EXPECT_TRUE(settings.createReferenceMovie());
    EXPECT_TRUE(settings.createSelfContainedMovie());
}

TEST_F(CDVDeviceSettingsTest, valuesOfNeighbouringTypesAreConverted) {
    const CDVDeviceSettings settings({{u"Auto Name Recordings"_s, qint64{1}},
                                      {u"Mono Tracks"_s, u"YES"_s},
                                      {u"Reference Movie Duration"_s, u"90"_s},
                                      {u"Preset Timecode"_s, qint64{7}},
                                      {u"Timecode Source Index"_s, 2.0},
                                      {u"Create Reference Movie"_s, qint64{0}}});
    EXPECT_TRUE(settings.autoNameRecordings());
    EXPECT_TRUE(settings.monoTracks());
    EXPECT_EQ(settings.referenceMovieDuration(), 90.0);
    EXPECT_EQ(settings.presetTimecode(), 7.0);
    EXPECT_EQ(settings.timecodeSourceIndex(), 2);
    EXPECT_FALSE(settings.createReferenceMovie());
}

// What is written ends at the first string that is absent.

TEST_F(CDVDeviceSettingsTest, withoutDeviceNameTheKindsOfMovieAndTheTimeCodeAreNotKept) {
    {
        CDVDeviceSettings settings;
        fill(settings);
        settings.setDeviceName(QString());
    }
    const QVariantMap entry = stored();
    EXPECT_EQ(entry.size(), 8);
    EXPECT_EQ(entry.value(u"Recording Name"_s), u"Show"_s);
    for (const auto& key :
         {u"Device Name"_s, u"Create Reference Movie"_s, u"Create Self-Contained Movie"_s,
          u"Timecode Source Index"_s, u"Preset Timecode"_s}) {
        EXPECT_FALSE(entry.contains(key)) << key.toStdString();
    }
    const CDVDeviceSettings again(entry);
    EXPECT_FALSE(again.createSelfContainedMovie());
    EXPECT_TRUE(again.createReferenceMovie());
}

TEST_F(CDVDeviceSettingsTest, eachAbsentStringCutsOffItsOwnAndLaterKeys) {
    const auto keysWithout = [](void (CDVDeviceSettings::*set)(const QString&)) {
        CDVDeviceSettings settings;
        fill(settings);
        settings.setDeviceGUID(QString());
        (settings.*set)(QString());
        return settings.settingsDictionary().size();
    };
    EXPECT_EQ(keysWithout(&CDVDeviceSettings::setRawRecordingFolderPath), 4);
    EXPECT_EQ(keysWithout(&CDVDeviceSettings::setSelfContainedRecordingFolderPath), 5);
    EXPECT_EQ(keysWithout(&CDVDeviceSettings::setReferenceMovieFolderPath), 6);
    EXPECT_EQ(keysWithout(&CDVDeviceSettings::setRecordingName), 7);
    EXPECT_EQ(keysWithout(&CDVDeviceSettings::setDeviceName), 8);
}

TEST_F(CDVDeviceSettingsTest, emptyStringIsWrittenAsOne) {
    CDVDeviceSettings settings;
    fill(settings);
    settings.setDeviceName(u""_s);
    settings.setRecordingName(u""_s);
    EXPECT_EQ(settings.settingsDictionary().size(), 13);
}

TEST_F(CDVDeviceSettingsTest, copyTakesOverWhatBelongsToTheDeckOnly) {
    CDVDeviceSettings settings;
    fill(settings);
    CDVDeviceSettings copy(settings);
    EXPECT_TRUE(copy.monoTracks());
    EXPECT_TRUE(copy.loopRecording());
    EXPECT_TRUE(copy.autoNameRecordings());
    EXPECT_EQ(copy.deviceGUID(), kGUID);
    EXPECT_EQ(copy.deviceName(), u"Deck"_s);
    EXPECT_EQ(copy.rawRecordingFolderPath(), u"/raw"_s);
    EXPECT_EQ(copy.selfContainedRecordingFolderPath(), u"/self"_s);
    EXPECT_EQ(copy.referenceMovieFolderPath(), u"/ref"_s);
    EXPECT_EQ(copy.referenceMovieDuration(), 12.5);
    // And not these.
    EXPECT_EQ(copy.recordingName(), u"Untitled"_s);
    EXPECT_FALSE(copy.createReferenceMovie());
    EXPECT_FALSE(copy.createSelfContainedMovie());
    EXPECT_EQ(copy.presetTimecode(), 0.0);
    EXPECT_EQ(copy.timecodeSourceIndex(), 0);
    copy.setDeviceGUID(QString());  // so that the copy's end does not save
}

TEST_F(CDVDeviceSettingsTest, theirEndSavesThem) {
    {
        CDVDeviceSettings settings;
        fill(settings);
        EXPECT_TRUE(stored().isEmpty());
    }
    EXPECT_EQ(stored().value(u"Recording Name"_s), u"Show"_s);
    const Defaults file(Defaults::standard().path());
    EXPECT_EQ(file.objectForKey(kKey).toMap(), stored());
}

TEST_F(CDVDeviceSettingsTest, withoutGUIDNothingIsSaved) {
    { const CDVDeviceSettings settings; }
    EXPECT_FALSE(Defaults::standard().objectForKey(u"Device Settings "_s).isValid());
}

TEST_F(CDVDeviceSettingsTest, nameOfADeviceIsFoundByItsGUIDWithLeadingZeros) {
    EXPECT_EQ(CDVDeviceSettings::nameForDeviceWithGUID(1), u"<unnamed device>"_s);
    Defaults::standard().setObject(u"Device Settings 0000000000000001"_s,
                                   QVariantMap{{u"Device Name"_s, u"Studio B"_s}});
    EXPECT_EQ(CDVDeviceSettings::nameForDeviceWithGUID(1), u"Studio B"_s);
    store({{u"Device Name"_s, u"Deck"_s}});
    EXPECT_EQ(CDVDeviceSettings::nameForDeviceWithGUID(0x0800460104b2c3d4), u"Deck"_s);
}

TEST_F(CDVDeviceSettingsTest, storedEntryWithoutNameGivesNoName) {
    store({{u"Recording Name"_s, u"Show"_s}});
    EXPECT_TRUE(CDVDeviceSettings::nameForDeviceWithGUID(0x0800460104b2c3d4).isNull());
}

}  // namespace takebox
