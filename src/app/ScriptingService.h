#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QHash>
#include <QVariantMap>

#include "app/ScriptableDecks.h"

namespace takebox {

/// The decks on the session bus, for other programs: docs/scripting.md describes the objects. Main
/// thread.
///
/// One object at kPath for the application, whose commands go to the first deck, and one below it
/// for each deck, with the commands and the list of deckProperties(). Other programs are told of
/// changes to the properties that are not live.
class ScriptingService final : public QDBusVirtualObject {
    Q_OBJECT

public:
    static const QString kServiceName;
    static const QString kPath;
    static const QString kApplicationInterface;
    static const QString kDeviceInterface;

    explicit ScriptingService(ScriptableDecks& decks);
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
    void announceDecks();
    void announceDeck(const QString& guid);
    void sendPropertiesChanged(const QString& path, const QString& interface,
                               const QVariantMap& changed) const;

    ScriptableDecks& mDecks;
    QDBusConnection mBus;
    bool mIsStarted = false;
    QHash<QString, QVariantMap> mAnnounced;  // by GUID: what others know
};

}  // namespace takebox
