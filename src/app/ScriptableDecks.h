#pragma once

#include <QObject>
#include <memory>

#include "platform/scripting/ScriptDecks.h"

namespace takebox {

class CDVDeviceWindowController;

/// The device list as scripts and other programs see it. Main thread.
class ScriptableDecks final : public QObject, public ScriptDecks {
    Q_OBJECT

public:
    [[nodiscard]] QStringList guids() const override;
    [[nodiscard]] QStringList propertyNames() const override;
    [[nodiscard]] QVariant property(const QString& guid, const QString& name) const override;
    [[nodiscard]] bool setProperty(const QString& guid, const QString& name,
                                   const QVariant& value) override;
    [[nodiscard]] bool runCommand(const QString& guid, const QString& command) override;

    /// To be called when the device list has been rebuilt.
    void deviceListDidChange();

    /// Null without such a deck.
    [[nodiscard]] static std::shared_ptr<CDVDeviceWindowController> controllerWithGUID(
        const QString& guid);

Q_SIGNALS:
    /// Decks have come or gone.
    void decksChanged();
    /// A property that is not live may have changed.
    void deckChanged(const QString& guid);
};

}  // namespace takebox
