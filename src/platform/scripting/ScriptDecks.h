#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

namespace takebox {

/// The decks of the recorder as scripts and other programs see them: by GUID, with named properties
/// and commands. Implemented by the application. Main thread.
class ScriptDecks {
public:
    virtual ~ScriptDecks() = default;

    /// The connected decks in the order of the device list.
    [[nodiscard]] virtual QStringList guids() const = 0;

    [[nodiscard]] virtual QStringList propertyNames() const = 0;

    /// A bool, qint64, double or QString; invalid without such a deck or property.
    [[nodiscard]] virtual QVariant property(const QString& guid, const QString& name) const = 0;

    /// @return false without such a deck, and when the property is unknown, read-only or of a type
    /// to which the value does not convert.
    [[nodiscard]] virtual bool setProperty(const QString& guid, const QString& name,
                                           const QVariant& value) = 0;

    /// "start", "stop", "pause" or "resume". @return false without such a deck or command.
    [[nodiscard]] virtual bool runCommand(const QString& guid, const QString& command) = 0;
};

}  // namespace takebox
