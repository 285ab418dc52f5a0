#pragma once

#include <QByteArray>
#include <QVariantMap>
#include <optional>

namespace takebox {

/// Reads a property list, XML or binary, whose root is a dictionary. Any thread.
///
/// Booleans become bool, integers qint64 (quint64 above its range), reals double, strings QString,
/// dates QDateTime in UTC to the second, data QByteArray, arrays QVariantList and dictionaries
/// QVariantMap. Nothing when the bytes are no such list or are nested more than
/// kMaximumPropertyListDepth deep.
[[nodiscard]] std::optional<QVariantMap> readPropertyList(const QByteArray& bytes);

/// Writes values of the types above as an XML property list in UTF-8, keys in order. Whole numbers
/// stay apart from reals. Values of other types are left out; a character that XML cannot carry
/// becomes U+FFFD.
[[nodiscard]] QByteArray writePropertyList(const QVariantMap& values);

/// The value with every part in the types above (an int is a qint64, a QStringList a QVariantList);
/// an invalid QVariant when it has no such form.
[[nodiscard]] QVariant propertyListValue(const QVariant& value);

inline constexpr int kMaximumPropertyListDepth = 64;

}  // namespace takebox
