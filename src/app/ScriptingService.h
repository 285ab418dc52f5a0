#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QHash>
#include <QVariantMap>

#include "app/ScriptableDecks.h"

namespace takebox {

/// What the object of the application on the session bus stands for. Main thread.
class ScriptedApplication {
public:
    virtual ~ScriptedApplication() = default;
    /// Whether there are windows that a second start can bring to the front.
    [[nodiscard]] virtual bool hasWindows() const = 0;
    /// "start", "stop", "pause" or "resume", to the first deck. @return false without one.
    [[nodiscard]] virtual bool runCommand(const QString& command) = 0;

protected:
    ScriptedApplication() = default;
    ScriptedApplication(const ScriptedApplication&) = default;
    ScriptedApplication& operator=(const ScriptedApplication&) = default;
};

/// The decks on the session bus, for other programs: docs/scripting.md describes the objects. Main
/// thread.
///
/// One object at kPath for the application and one below it for each deck, with the commands and
/// the list of deckProperties(). Other programs are told of changes to the properties that are not
/// live.
class ScriptingService final : public QDBusVirtualObject {
    Q_OBJECT

public:
    static const QString kServiceName;
    static const QString kPath;
    static const QString kApplicationInterface;
    static const QString kDeviceInterface;

    ScriptingService(ScriptableDecks& decks, ScriptedApplication& application);
    ~ScriptingService() override;

    /// Puts the objects on the bus under our service name. @return false when it cannot (logged).
    bool start(const QDBusConnection& bus = QDBusConnection::sessionBus());

    // QDBusVirtualObject
    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    /// The program was started a second time, with these arguments.
    void activated(const QStringList& arguments);

private:
    [[nodiscard]] QString guidOfPath(const QString& path) const;
    [[nodiscard]] QDBusMessage replyToCommand(const QDBusMessage& message, const QString& guid);
    [[nodiscard]] QDBusMessage replyToActivate(const QDBusMessage& message);
    [[nodiscard]] QDBusMessage replyToProperties(const QDBusMessage& message, const QString& guid);
    [[nodiscard]] QDBusMessage replyToGet(const QDBusMessage& message, const QString& guid) const;
    [[nodiscard]] QDBusMessage replyToSet(const QDBusMessage& message, const QString& guid);
    [[nodiscard]] QVariantMap applicationProperties() const;
    [[nodiscard]] QVariantMap properties(const QString& guid, bool withLive) const;
    void rememberDecks();
    void announceDecks();
    void announceDeck(const QString& guid);
    void sendPropertiesChanged(const QString& path, const QString& interface,
                               const QVariantMap& changed) const;

    ScriptableDecks& mDecks;
    ScriptedApplication& mApplication;
    QDBusConnection mBus;
    bool mIsStarted = false;
    QHash<QString, QVariantMap> mAnnounced;  // by GUID: what others know
};

}  // namespace takebox
