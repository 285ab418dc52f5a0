#pragma once

#include <QMetaType>
#include <QVariant>
#include <span>

namespace takebox {

class CDVDeviceWindowController;

/// What scripts and other programs can read, and some of it set, of a deck.
struct DeckProperty {
    const char* name;      ///< as the controller's accessor
    QMetaType::Type type;  ///< Bool, LongLong, Double or QString
    bool isLive;           ///< changes all the time, so that its changes are not announced
    QVariant (*get)(CDVDeviceWindowController& controller);
    void (*set)(CDVDeviceWindowController& controller, const QVariant& value);  ///< null: read-only
};

/// The whole list. A new property is a row there and a row in docs/scripting.md, which the test
/// checks against this list.
[[nodiscard]] std::span<const DeckProperty> deckProperties();

/// Null when there is none of the name.
[[nodiscard]] const DeckProperty* deckPropertyNamed(const QString& name);

/// The value in the property's type; invalid when it is of another kind or not finite.
[[nodiscard]] QVariant valueForDeckProperty(const DeckProperty& property, const QVariant& value);

}  // namespace takebox
