#include "app/ScriptingService.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>

#include "RunningRecorder.h"
#include "SessionBus.h"
#include "app/DeckProperties.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::busctl;
using test::runClient;
using test::RunningRecorder;
using test::waitUntil;

const QString kService = u"com.marvanemedia.TakeboxDV"_s;
const QString kPath = u"/com/marvanemedia/TakeboxDV"_s;
const QString kApplication = u"com.marvanemedia.TakeboxDV.Application"_s;
const QString kDevice = u"com.marvanemedia.TakeboxDV.Device"_s;
const QString kPALPath = kPath + u"/devices/"_s + RunningRecorder::kPALGuid;
const QString kNTSCPath = kPath + u"/devices/"_s + RunningRecorder::kNTSCGuid;

/// What busctl shows for a property of a deck; its message when there is an error.
QByteArray propertyOf(const QString& path, const QString& name) {
    return busctl({u"get-property"_s, kService, path, kDevice, name}).output.trimmed();
}

struct NoDecks : ScriptedApplication {
    [[nodiscard]] bool hasWindows() const override { return true; }
    [[nodiscard]] bool runCommand(const QString& /*command*/) override { return false; }
};

TEST(ScriptingService, applicationListsItsDevices) {
    const RunningRecorder recorder;
    EXPECT_EQ(busctl({u"get-property"_s, kService, kPath, kApplication, u"Devices"_s}).output,
              "ao 2 \"" + kPALPath.toUtf8() + "\" \"" + kNTSCPath.toUtf8() + "\"\n");
    const QByteArray tree = busctl({u"tree"_s, u"--list"_s, kService}).output;
    for (const QString& path : {kPath, kPath + u"/devices"_s, kPALPath, kNTSCPath}) {
        EXPECT_TRUE(tree.contains(path.toUtf8() + '\n')) << tree.constData();
    }
}

TEST(ScriptingService, everyPropertyIsIntrospectedAndRead) {
    const RunningRecorder recorder;
    const QByteArray members = busctl({u"introspect"_s, kService, kPALPath, kDevice}).output;
    const QByteArray all =
        runClient(u"gdbus"_s,
                  {u"call"_s, u"--session"_s, u"--dest"_s, kService, u"--object-path"_s, kPALPath,
                   u"--method"_s, u"org.freedesktop.DBus.Properties.GetAll"_s, kDevice})
            .output;
    for (const DeckProperty& property : deckProperties()) {
        const QByteArray name = property.name;
        EXPECT_TRUE(members.contains("\n." + name + ' ')) << members.constData();
        EXPECT_TRUE(all.contains('\'' + name + "': <")) << all.constData();
    }
    for (const char* method :
         {"StartRecording", "StopRecording", "PauseRecording", "ResumeRecording"}) {
        EXPECT_TRUE(members.contains('.' + QByteArray(method) + ' ')) << members.constData();
    }
    EXPECT_EQ(propertyOf(kPALPath, u"deviceName"_s), "s \"Studio\"");
    EXPECT_EQ(propertyOf(kNTSCPath, u"deviceName"_s), "s \"Field\"");
    EXPECT_EQ(propertyOf(kPALPath, u"referenceMovieDuration"_s), "d 3600");
    EXPECT_EQ(propertyOf(kPALPath, u"recordedFrames"_s), "x 0");
    EXPECT_EQ(propertyOf(kPALPath, u"isRecording"_s), "b false");
}

TEST(ScriptingService, commandsReachTheirDeck) {
    const RunningRecorder recorder;
    const auto call = [](const QString& path, const QString& interface, const QString& method) {
        return busctl({u"call"_s, kService, path, interface, method}).exitCode;
    };
    EXPECT_EQ(call(kNTSCPath, kDevice, u"StartRecording"_s), 0);
    EXPECT_TRUE(recorder.deck(1).device()->isRecording());
    EXPECT_FALSE(recorder.deck(0).device()->isRecording());
    EXPECT_EQ(call(kNTSCPath, kDevice, u"PauseRecording"_s), 0);
    EXPECT_TRUE(recorder.deck(1).device()->isPaused());
    EXPECT_EQ(propertyOf(kNTSCPath, u"isPaused"_s), "b true");
    EXPECT_EQ(call(kNTSCPath, kDevice, u"ResumeRecording"_s), 0);
    EXPECT_FALSE(recorder.deck(1).device()->isPaused());
    EXPECT_EQ(call(kNTSCPath, kDevice, u"StopRecording"_s), 0);
    EXPECT_FALSE(recorder.deck(1).device()->isRecording());
}

TEST(ScriptingService, commandsOfTheApplicationGoToTheFirstDeck) {
    const RunningRecorder recorder;
    test::LogCapture log;
    EXPECT_EQ(busctl({u"call"_s, kService, kPath, kApplication, u"StartRecording"_s}).exitCode, 0);
    EXPECT_TRUE(recorder.deck(0).device()->isRecording());
    EXPECT_FALSE(recorder.deck(1).device()->isRecording());
    EXPECT_EQ(log.count("STARTED RECORDING because we received an AppleScript command to record"),
              1);
    for (const bool paused : {true, false}) {
        const QString method = paused ? u"PauseRecording"_s : u"ResumeRecording"_s;
        EXPECT_EQ(busctl({u"call"_s, kService, kPath, kApplication, method}).exitCode, 0);
        EXPECT_EQ(recorder.deck(0).device()->isPaused(), paused);
    }
    EXPECT_EQ(busctl({u"call"_s, kService, kPath, kApplication, u"StopRecording"_s}).exitCode, 0);
    EXPECT_FALSE(recorder.deck(0).device()->isRecording());
    EXPECT_EQ(log.count("STOPPED because we received an AppleScript command to stop"), 1);
}

TEST(ScriptingService, settingsAreSetInTheirTypeOnly) {
    const RunningRecorder recorder;
    const auto set = [](const QString& name, const QStringList& value) {
        return busctl(QStringList{u"set-property"_s, kService, kPALPath, kDevice, name} + value);
    };
    EXPECT_EQ(set(u"recordingName"_s, {u"s"_s, u"Évening News"_s}).exitCode, 0);
    EXPECT_EQ(recorder.deck(0).recordingName(), u"Évening News"_s);
    EXPECT_EQ(set(u"loopRecording"_s, {u"b"_s, u"true"_s}).exitCode, 0);
    EXPECT_TRUE(recorder.deck(0).loopRecording());
    EXPECT_EQ(set(u"referenceMovieDuration"_s, {u"d"_s, u"60.5"_s}).exitCode, 0);
    EXPECT_EQ(recorder.deck(0).referenceMovieDuration(), 60.5);
    EXPECT_EQ(set(u"referenceMovieDuration"_s, {u"i"_s, u"90"_s}).exitCode, 0);
    EXPECT_EQ(recorder.deck(0).referenceMovieDuration(), 90.0);

    EXPECT_TRUE(set(u"recordingName"_s, {u"i"_s, u"1"_s}).output.contains("is of type s"));
    EXPECT_TRUE(set(u"guid"_s, {u"s"_s, u"1"_s}).output.contains("cannot be set"));
    EXPECT_TRUE(set(u"nonsense"_s, {u"s"_s, u"1"_s}).output.contains("no property nonsense"));
    EXPECT_EQ(recorder.deck(0).recordingName(), u"Évening News"_s);
}

TEST(ScriptingService, mistakesAreAnsweredWithAnError) {
    const RunningRecorder recorder;
    const auto call = [](const QString& path, const QString& interface, const QString& method,
                         const QStringList& arguments = {}) {
        return busctl(QStringList{u"call"_s, kService, path, interface, method} + arguments).output;
    };
    EXPECT_TRUE(call(kPALPath, kDevice, u"Rewind"_s).contains("no method Rewind"));
    EXPECT_TRUE(call(kPALPath, kDevice, u"StartRecording"_s, {u"s"_s, u"x"_s})
                    .contains("takes no arguments"));
    EXPECT_TRUE(
        call(kPath + u"/devices/0"_s, kDevice, u"StartRecording"_s).contains("no such deck"));
    EXPECT_TRUE(
        call(kPath, kApplication, u"Activate"_s, {u"s"_s, u"x"_s}).contains("takes a list"));
    EXPECT_TRUE(propertyOf(kPALPath, u"nonsense"_s).contains("no property nonsense"));
    const QString properties = u"org.freedesktop.DBus.Properties"_s;
    EXPECT_TRUE(call(kPALPath, properties, u"GetAll"_s, {u"s"_s, kApplication})
                    .contains("no interface com.marvanemedia.TakeboxDV.Application"));
    EXPECT_TRUE(call(kPALPath, properties, u"Get"_s, {u"s"_s, kDevice})
                    .contains("Get is not called like this"));
    EXPECT_FALSE(call(kPALPath, kApplication, u"StartRecording"_s).isEmpty());
    EXPECT_FALSE(recorder.deck(0).device()->isRecording());
}

/// Collects what gdbus sees of our signals.
class Monitor {
public:
    Monitor() {
        mProcess.start(u"gdbus"_s, {u"monitor"_s, u"--session"_s, u"--dest"_s, kService});
        // It says whom it listens to a moment before the bus knows: what it sees then is certain.
        EXPECT_TRUE(waitUntil([this] {
            QDBusConnection::sessionBus().send(QDBusMessage::createSignal(
                u"/"_s, u"com.marvanemedia.TakeboxDV.Test"_s, u"AreYouListening"_s));
            mSeen += mProcess.readAllStandardOutput();
            return mSeen.contains("AreYouListening");
        }));
    }
    ~Monitor() {
        mProcess.kill();
        mProcess.waitForFinished();
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    bool sees(const QByteArray& text) {
        return waitUntil([&] {
            mSeen += mProcess.readAllStandardOutput();
            return mSeen.contains(text);
        });
    }
    [[nodiscard]] const QByteArray& seen() const { return mSeen; }

private:
    test::ChildProcess mProcess;
    QByteArray mSeen;
};

TEST(ScriptingService, changesAreAnnouncedWithWhatChangedOnly) {
    const RunningRecorder recorder;
    Monitor monitor;
    recorder.deck(1).recordButtonPushed();
    EXPECT_TRUE(
        monitor.sees(kNTSCPath.toUtf8() + ": org.freedesktop.DBus.Properties.PropertiesChanged"));
    EXPECT_TRUE(monitor.sees("'isRecording': <true>"));
    EXPECT_FALSE(monitor.seen().contains("'deviceName'"));
    EXPECT_FALSE(monitor.seen().contains("'recordedFrames'"));
    recorder.deck(1).stopButtonPushed();
    EXPECT_TRUE(monitor.sees("'isRecording': <false>"));
    recorder.deck(0).setRecordingName(u"Late Show"_s);
    EXPECT_TRUE(monitor.sees("'recordingName': <'Late Show'>"));
}

TEST(ScriptingService, firstChangeIsAnnouncedWithWhatChangedOnly) {
    const RunningRecorder recorder(false);
    Monitor monitor;
    recorder.deck(0).setRecordingName(u"Late Show"_s);
    EXPECT_TRUE(monitor.sees("'recordingName': <'Late Show'>"));
    EXPECT_FALSE(monitor.seen().contains("'deviceName'")) << monitor.seen().constData();
}

TEST(ScriptingService, everyChangeOfASettingIsAnnounced) {
    const RunningRecorder recorder;
    ScriptableDecks decks;
    Monitor monitor;
    for (const DeckProperty& property : deckProperties()) {
        if (property.set == nullptr || property.isLive) {
            continue;
        }
        const QString name = QString::fromLatin1(property.name);
        recorder.deck(0).recordButtonPushed();  // a pause needs a recording
        QVariant value = u"/other"_s;
        if (property.type == QMetaType::Bool) {
            value = !property.get(recorder.deck(0)).toBool();
        } else if (property.type == QMetaType::Double) {
            value = 1234.5;
        }
        ASSERT_TRUE(decks.setProperty(RunningRecorder::kPALGuid, name, value)) << property.name;
        EXPECT_TRUE(monitor.sees('\'' + QByteArray(property.name) + "': <")) << property.name;
        recorder.deck(0).stopButtonPushed();
    }
}

TEST(ScriptingService, pythonProgramRecordsWithADeck) {
    const RunningRecorder recorder;
    const auto result = runClient(u"/usr/bin/python3"_s, {u"-c"_s,
                                                          uR"python(
import dbus, time
bus = dbus.SessionBus()
name = "com.marvanemedia.TakeboxDV"
application = bus.get_object(name, "/com/marvanemedia/TakeboxDV")
properties = dbus.Interface(application, "org.freedesktop.DBus.Properties")
for path in properties.Get(name + ".Application", "Devices"):
    deck = bus.get_object(name, path)
    device = dbus.Interface(deck, name + ".Device")
    values = dbus.Interface(deck, "org.freedesktop.DBus.Properties")
    if values.Get(name + ".Device", "deviceName") != "Field":
        continue
    values.Set(name + ".Device", "recordingName", "From Python")
    device.StartRecording()
    while values.Get(name + ".Device", "recordedTime") < 0.2:
        time.sleep(0.02)
    device.StopRecording()
    print(values.GetAll(name + ".Device")["currentReferenceMoviePath"])
)python"_s});
    EXPECT_EQ(result.exitCode, 0) << result.output.constData();
    EXPECT_EQ(result.output.trimmed(), recorder.filePath(u"From Python.ref"_s).toUtf8());
}

TEST(ScriptingService, activationIsPassedOn) {
    ScriptableDecks decks;
    NoDecks application;
    ScriptingService service(decks, application);
    ASSERT_TRUE(service.start());
    QStringList received;
    QObject::connect(&service, &ScriptingService::activated,
                     [&received](const QStringList& arguments) { received = arguments; });
    EXPECT_EQ(busctl({u"call"_s, kService, kPath, kApplication, u"Activate"_s, u"as"_s, u"2"_s,
                      u"--headless"_s, u"x y"_s})
                  .exitCode,
              1);  // busctl takes the dashes for its own
    EXPECT_EQ(busctl({u"call"_s, u"--"_s, kService, kPath, kApplication, u"Activate"_s, u"as"_s,
                      u"2"_s, u"--headless"_s, u"x y"_s})
                  .output,
              "b true\n");
    EXPECT_TRUE(waitUntil([&received] { return !received.isEmpty(); }));
    EXPECT_EQ(received, (QStringList{u"--headless"_s, u"x y"_s}));
}

TEST(ScriptingService, withoutDecksCommandsFailAndTheListIsEmpty) {
    ScriptableDecks decks;
    NoDecks application;
    ScriptingService service(decks, application);
    ASSERT_TRUE(service.start());
    EXPECT_EQ(busctl({u"get-property"_s, kService, kPath, kApplication, u"Devices"_s}).output,
              "ao 0\n");
    EXPECT_TRUE(busctl({u"call"_s, kService, kPath, kApplication, u"StartRecording"_s})
                    .output.contains("There is no deck"));
}

TEST(ScriptingService, nameThatIsTakenAndMissingBusAreLogLines) {
    test::LogCapture log;
    ScriptableDecks decks;
    NoDecks application;
    ScriptingService service(decks, application);
    EXPECT_FALSE(service.start(QDBusConnection(u"none"_s)));
    EXPECT_EQ(log.count("There is no session bus: other programs cannot control this one"), 1);

    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    {
        auto other = QDBusConnection::connectToBus(address, u"other"_s);
        ASSERT_TRUE(other.registerService(kService));
        EXPECT_FALSE(service.start());
        EXPECT_TRUE(log.containsText("cannot control this one over the session bus"));
        other.unregisterService(kService);
    }
    QDBusConnection::disconnectFromBus(u"other"_s);
    EXPECT_TRUE(service.start());
}

}  // namespace
}  // namespace takebox
