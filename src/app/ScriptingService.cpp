#include "app/ScriptingService.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <array>

#include "app/DeckProperties.h"
#include "platform/log/Log.h"

namespace takebox {

const QString ScriptingService::kServiceName = QStringLiteral("com.marvanemedia.TakeboxDV");
const QString ScriptingService::kPath = QStringLiteral("/com/marvanemedia/TakeboxDV");
const QString ScriptingService::kApplicationInterface =
    QStringLiteral("com.marvanemedia.TakeboxDV.Application");
const QString ScriptingService::kDeviceInterface =
    QStringLiteral("com.marvanemedia.TakeboxDV.Device");

namespace {

const QString kDevicesPath = ScriptingService::kPath + QStringLiteral("/devices");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

struct BusCommand {
    const char* method;
    const char* command;
};
constexpr std::array kCommands{
    BusCommand{"StartRecording", "start"},
    BusCommand{"StopRecording", "stop"},
    BusCommand{"PauseRecording", "pause"},
    BusCommand{"ResumeRecording", "resume"},
};

QString signatureOf(QMetaType::Type type) {
    switch (type) {
        case QMetaType::Bool:
            return QStringLiteral("b");
        case QMetaType::LongLong:
            return QStringLiteral("x");
        case QMetaType::Double:
            return QStringLiteral("d");
        default:
            return QStringLiteral("s");
    }
}

QString interfaceXml(const QString& name, const QString& members) {
    QString xml = QStringLiteral("  <interface name=\"%1\">\n").arg(name);
    for (const BusCommand& command : kCommands) {
        xml += QStringLiteral("    <method name=\"%1\"/>\n").arg(QLatin1String(command.method));
    }
    return xml + members + QStringLiteral("  </interface>\n");
}

QString applicationXml() {
    return interfaceXml(
        ScriptingService::kApplicationInterface,
        QStringLiteral("    <method name=\"Activate\">\n"
                       "      <arg name=\"arguments\" type=\"as\" direction=\"in\"/>\n"
                       "      <arg name=\"hasWindows\" type=\"b\" direction=\"out\"/>\n"
                       "    </method>\n"
                       "    <property name=\"Devices\" type=\"ao\" access=\"read\"/>\n"
                       "    <property name=\"Version\" type=\"s\" access=\"read\"/>\n"));
}

QString deviceXml() {
    QString members;
    for (const DeckProperty& property : deckProperties()) {
        members += QStringLiteral("    <property name=\"%1\" type=\"%2\" access=\"%3\"")
                       .arg(QLatin1String(property.name), signatureOf(property.type),
                            property.set == nullptr ? QStringLiteral("read")
                                                    : QStringLiteral("readwrite"));
        members += property.isLive
                       ? QStringLiteral(
                             ">\n      <annotation name=\"org.freedesktop.DBus.Property."
                             "EmitsChangedSignal\" value=\"false\"/>\n    </property>\n")
                       : QStringLiteral("/>\n");
    }
    return interfaceXml(ScriptingService::kDeviceInterface, members);
}

QDBusMessage errorReply(const QDBusMessage& message, QDBusError::ErrorType type,
                        const QString& text) {
    return message.createErrorReply(type, text);
}

}  // namespace

ScriptingService::ScriptingService(ScriptableDecks& decks, ScriptedApplication& application)
    : mDecks(decks), mApplication(application), mBus(QString()) {  // a connection that is none
    connect(&mDecks, &ScriptableDecks::decksChanged, this, &ScriptingService::announceDecks);
    connect(&mDecks, &ScriptableDecks::deckChanged, this, &ScriptingService::announceDeck);
}

ScriptingService::~ScriptingService() {
    if (mIsStarted) {
        mBus.unregisterObject(kPath, QDBusConnection::UnregisterTree);
        mBus.unregisterService(kServiceName);
    }
}

bool ScriptingService::start(const QDBusConnection& bus) {
    mBus = bus;
    rememberDecks();
    if (!mBus.isConnected()) {
        logMessage("There is no session bus: other programs cannot control this one");
        return false;
    }
    mIsStarted = mBus.registerVirtualObject(kPath, this, QDBusConnection::SubPath) &&
                 mBus.registerService(kServiceName);
    if (!mIsStarted) {
        logMessage("Other programs cannot control this one over the session bus: %s",
                   qUtf8Printable(mBus.lastError().message()));
        mBus.unregisterObject(kPath, QDBusConnection::UnregisterTree);
    }
    return mIsStarted;
}

QString ScriptingService::guidOfPath(const QString& path) const {
    const QString guid = path.mid(kDevicesPath.size() + 1);
    return path.startsWith(kDevicesPath + QLatin1Char('/')) && mDecks.guids().contains(guid)
               ? guid
               : QString();
}

QString ScriptingService::introspect(const QString& path) const {
    if (path == kPath) {
        return applicationXml() + QStringLiteral("  <node name=\"devices\"/>\n");
    }
    if (path == kDevicesPath) {
        QString nodes;
        for (const QString& guid : mDecks.guids()) {
            nodes += QStringLiteral("  <node name=\"%1\"/>\n").arg(guid);
        }
        return nodes;
    }
    return guidOfPath(path).isEmpty() ? QString() : deviceXml();
}

bool ScriptingService::handleMessage(const QDBusMessage& message,
                                     const QDBusConnection& connection) {
    const QString guid = guidOfPath(message.path());
    const bool isApplication = message.path() == kPath;
    const QString& interface = message.interface();
    if (!isApplication && guid.isEmpty() && message.path() != kDevicesPath) {
        return connection.send(errorReply(message, QDBusError::UnknownObject,
                                          QStringLiteral("There is no such deck")));
    }
    if (interface == kPropertiesInterface && message.path() != kDevicesPath) {
        return connection.send(replyToProperties(message, guid));
    }
    const bool hasCommands = (isApplication && interface == kApplicationInterface) ||
                             (!guid.isEmpty() && interface == kDeviceInterface);
    if (!hasCommands) {
        return false;  // introspection and the like are the library's
    }
    if (isApplication && message.member() == QLatin1String("Activate")) {
        return connection.send(replyToActivate(message));
    }
    return connection.send(replyToCommand(message, guid));
}

QDBusMessage ScriptingService::replyToActivate(const QDBusMessage& message) {
    if (message.signature() != QLatin1String("as")) {
        return errorReply(message, QDBusError::InvalidArgs,
                          QStringLiteral("Activate takes a list"));
    }
    const QStringList arguments = message.arguments().value(0).toStringList();
    // After the answer, so that the second start ends before our windows come up.
    QMetaObject::invokeMethod(
        this, [this, arguments] { Q_EMIT activated(arguments); }, Qt::QueuedConnection);
    return message.createReply(mApplication.hasWindows());
}

QDBusMessage ScriptingService::replyToCommand(const QDBusMessage& message, const QString& guid) {
    for (const BusCommand& command : kCommands) {
        if (message.member() != QLatin1String(command.method)) {
            continue;
        }
        if (!message.arguments().isEmpty()) {
            return errorReply(message, QDBusError::InvalidArgs,
                              QStringLiteral("%1 takes no arguments").arg(message.member()));
        }
        const QString word = QLatin1String(command.command);
        return (guid.isEmpty() ? mApplication.runCommand(word) : mDecks.runCommand(guid, word))
                   ? message.createReply()
                   : errorReply(message, QDBusError::Failed, QStringLiteral("There is no deck"));
    }
    return errorReply(message, QDBusError::UnknownMethod,
                      QStringLiteral("There is no method %1").arg(message.member()));
}

QDBusMessage ScriptingService::replyToProperties(const QDBusMessage& message, const QString& guid) {
    const QString signature = message.signature();
    const QString interface = message.arguments().value(0).toString();
    if (!interface.isEmpty() &&
        interface != (guid.isEmpty() ? kApplicationInterface : kDeviceInterface)) {
        return errorReply(message, QDBusError::UnknownInterface,
                          QStringLiteral("There is no interface %1").arg(interface));
    }
    if (message.member() == QLatin1String("GetAll") && signature == QLatin1String("s")) {
        return message.createReply(guid.isEmpty() ? applicationProperties()
                                                  : properties(guid, true));
    }
    if (message.member() == QLatin1String("Get") && signature == QLatin1String("ss")) {
        return replyToGet(message, guid);
    }
    if (message.member() == QLatin1String("Set") && signature == QLatin1String("ssv")) {
        return replyToSet(message, guid);
    }
    return errorReply(message, QDBusError::InvalidArgs,
                      QStringLiteral("%1 is not called like this").arg(message.member()));
}

QDBusMessage ScriptingService::replyToGet(const QDBusMessage& message, const QString& guid) const {
    const QString name = message.arguments().value(1).toString();
    const QVariant value =
        guid.isEmpty() ? applicationProperties().value(name) : mDecks.property(guid, name);
    return value.isValid() ? message.createReply(QVariant::fromValue(QDBusVariant(value)))
                           : errorReply(message, QDBusError::UnknownProperty,
                                        QStringLiteral("There is no property %1").arg(name));
}

QDBusMessage ScriptingService::replyToSet(const QDBusMessage& message, const QString& guid) {
    const QString name = message.arguments().value(1).toString();
    const auto value = message.arguments().value(2).value<QDBusVariant>().variant();
    const DeckProperty* const property = guid.isEmpty() ? nullptr : deckPropertyNamed(name);
    if (property == nullptr && !applicationProperties().contains(name)) {
        return errorReply(message, QDBusError::UnknownProperty,
                          QStringLiteral("There is no property %1").arg(name));
    }
    if (property == nullptr || property->set == nullptr) {
        return errorReply(message, QDBusError::PropertyReadOnly,
                          QStringLiteral("%1 cannot be set").arg(name));
    }
    return mDecks.setProperty(guid, name, value)
               ? message.createReply()
               : errorReply(
                     message, QDBusError::InvalidArgs,
                     QStringLiteral("%1 is of type %2").arg(name, signatureOf(property->type)));
}

QVariantMap ScriptingService::applicationProperties() const {
    QList<QDBusObjectPath> devices;
    for (const QString& guid : mDecks.guids()) {
        devices << QDBusObjectPath(kDevicesPath + QLatin1Char('/') + guid);
    }
    return {{QStringLiteral("Devices"), QVariant::fromValue(devices)},
            {QStringLiteral("Version"), QCoreApplication::applicationVersion()}};
}

QVariantMap ScriptingService::properties(const QString& guid, bool withLive) const {
    QVariantMap values;
    for (const DeckProperty& property : deckProperties()) {
        const QString name = QLatin1String(property.name);
        const QVariant value =
            withLive || !property.isLive ? mDecks.property(guid, name) : QVariant();
        if (value.isValid()) {
            values.insert(name, value);
        }
    }
    return values;
}

void ScriptingService::rememberDecks() {
    const QStringList guids = mDecks.guids();
    mAnnounced.removeIf([&guids](const auto& known) { return !guids.contains(known.key()); });
    for (const QString& guid : guids) {
        if (!mAnnounced.contains(guid)) {
            mAnnounced.insert(guid, properties(guid, false));
        }
    }
}

void ScriptingService::announceDecks() {
    rememberDecks();
    const QString devices = QStringLiteral("Devices");
    sendPropertiesChanged(kPath, kApplicationInterface,
                          {{devices, applicationProperties().value(devices)}});
}

void ScriptingService::announceDeck(const QString& guid) {
    const QVariantMap now = properties(guid, false);
    QVariantMap& known = mAnnounced[guid];
    QVariantMap changed;
    for (const auto& [name, value] : now.asKeyValueRange()) {
        if (known.value(name) != value) {
            changed.insert(name, value);
        }
    }
    known = now;
    if (!changed.isEmpty()) {
        sendPropertiesChanged(kDevicesPath + QLatin1Char('/') + guid, kDeviceInterface, changed);
    }
}

void ScriptingService::sendPropertiesChanged(const QString& path, const QString& interface,
                                             const QVariantMap& changed) const {
    if (mIsStarted) {
        QDBusMessage signal = QDBusMessage::createSignal(path, kPropertiesInterface,
                                                         QStringLiteral("PropertiesChanged"));
        signal << interface << changed << QStringList();
        mBus.send(signal);
    }
}

}  // namespace takebox
