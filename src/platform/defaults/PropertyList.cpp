#include "platform/defaults/PropertyList.h"

#include <plist/plist.h>

#include <QDateTime>
#include <QString>
#include <clocale>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/defaults/BinaryPropertyListCheck.h"

namespace takebox {
namespace {

struct FreePlist {
    void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, FreePlist>;

struct FreePlistText {
    void operator()(char* text) const { plist_to_xml_free(text); }
};
using PlistText = std::unique_ptr<char, FreePlistText>;

/// libplist reads and writes reals with the C library's locale; in a German one "3600.5" would be
/// 3600.
class NumbersInCLocale {
public:
    NumbersInCLocale()
        : mLocale(newlocale(LC_NUMERIC_MASK, "C", nullptr)), mPrevious(uselocale(mLocale)) {}
    ~NumbersInCLocale() {
        uselocale(mPrevious);
        freelocale(mLocale);
    }
    NumbersInCLocale(const NumbersInCLocale&) = delete;
    NumbersInCLocale& operator=(const NumbersInCLocale&) = delete;

private:
    locale_t mLocale;
    locale_t mPrevious;
};

QByteArray xmlOf(plist_t node) {
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &text, &length);
    const PlistText owned(text);
    return text == nullptr ? QByteArray() : QByteArray(text, static_cast<qsizetype>(length));
}

// libplist's own date functions end in 2068 and its integer functions cannot tell a number above
// the signed range from a negative one, though its XML reader and writer know both. So these few
// values go through their XML text.

QByteArray elementText(plist_t node, const char* element) {
    const QByteArray start = QByteArray("<") + element + '>';
    const Plist copy(plist_copy(node));
    const QByteArray xml = xmlOf(copy.get());
    const auto from = xml.indexOf(start);
    const auto to = xml.indexOf("</", from);
    return from < 0 || to < 0 ? QByteArray()
                              : xml.mid(from + start.size(), to - from - start.size());
}

plist_t nodeOfElement(const char* element, const QByteArray& text) {
    const QByteArray xml =
        QByteArray("<plist><") + element + '>' + text + "</" + element + "></plist>";
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), static_cast<std::uint32_t>(xml.size()), &node);
    return node;
}

QVariant valueOf(plist_t node, int depth);

QVariant integerValue(plist_t node) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    if (std::in_range<qint64>(bits) || elementText(node, "integer").startsWith('-')) {
        return QVariant::fromValue(static_cast<qint64>(bits));
    }
    return QVariant::fromValue(static_cast<quint64>(bits));
}

QVariant dateValue(plist_t node) {
    const auto date =
        QDateTime::fromString(QString::fromLatin1(elementText(node, "date")), Qt::ISODate);
    return date.isValid() ? QVariant(date) : QVariant();
}

QVariant bytesValue(plist_t node) {
    std::uint64_t length = 0;
    const char* const data = plist_get_data_ptr(node, &length);
    return data == nullptr ? QByteArray("") : QByteArray(data, static_cast<qsizetype>(length));
}

QVariant stringValue(plist_t node) {
    std::uint64_t length = 0;
    const char* const text = plist_get_string_ptr(node, &length);
    return text == nullptr ? QString::fromLatin1("")
                           : QString::fromUtf8(text, static_cast<qsizetype>(length));
}

QVariant listValue(plist_t node, int depth) {
    QVariantList list;
    const auto count = plist_array_get_size(node);
    list.reserve(static_cast<qsizetype>(count));
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    for (std::uint32_t i = 0; i < count; ++i) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator, &item);
        if (QVariant value = valueOf(item, depth + 1); value.isValid()) {
            list.append(std::move(value));
        }
    }
    std::free(iterator);
    return list;
}

QVariant mapValue(plist_t node, int depth) {
    QVariantMap map;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        const PlistText owned(key);
        if (item == nullptr) {
            break;
        }
        if (const QVariant value = valueOf(item, depth + 1); key != nullptr && value.isValid()) {
            map.insert(QString::fromUtf8(key), value);
        }
    }
    std::free(iterator);
    return map;
}

/// @return an invalid value for a node of a type that the store does not know.
QVariant valueOf(plist_t node, int depth) {
    if (depth > kMaximumPropertyListDepth) {
        return {};
    }
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return value != 0;
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return value;
        }
        case PLIST_UINT:
            return integerValue(node);
        case PLIST_DATE:
            return dateValue(node);
        case PLIST_DATA:
            return bytesValue(node);
        case PLIST_STRING:
            return stringValue(node);
        case PLIST_ARRAY:
            return listValue(node, depth);
        case PLIST_DICT:
            return mapValue(node, depth);
        default:
            return {};
    }
}

/// libplist builds and frees nested values by recursion: a damaged file must not exhaust the stack.
bool nestsTooDeep(const QByteArray& xml) {
    constexpr std::string_view kContainers[] = {"array>", "dict>"};
    const std::string_view text(xml.constData(), static_cast<std::size_t>(xml.size()));
    int depth = 0;
    for (auto at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
        const bool isEnd = text.substr(at + 1).starts_with('/');
        const auto name = text.substr(at + (isEnd ? 2 : 1));
        for (const auto container : kContainers) {
            if (name.starts_with(container)) {
                depth += isEnd ? -1 : 1;
            }
        }
        if (depth > kMaximumPropertyListDepth) {
            return true;
        }
    }
    return false;
}

QByteArray xmlSafe(const QString& text) {
    QString safe = text;
    for (QChar& character : safe) {
        const auto code = character.unicode();
        const bool isAllowedControl = code == '\t' || code == '\n' || code == '\r';
        if ((code < 0x20 && !isAllowedControl) || code == 0xFFFE || code == 0xFFFF) {
            character = QChar::ReplacementCharacter;
        }
    }
    return safe.toUtf8();
}

plist_t nodeOf(const QVariant& value);

plist_t listNode(const QVariantList& list) {
    plist_t node = plist_new_array();
    for (const QVariant& item : list) {
        if (plist_t child = nodeOf(item)) {
            plist_array_append_item(node, child);
        }
    }
    return node;
}

plist_t mapNode(const QVariantMap& map) {
    plist_t node = plist_new_dict();
    for (const auto& [key, item] : map.asKeyValueRange()) {
        if (plist_t child = nodeOf(item)) {
            plist_dict_set_item(node, xmlSafe(key).constData(), child);
        }
    }
    return node;
}

/// @return null for a value of another type.
plist_t nodeOf(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
            return plist_new_bool(value.toBool() ? 1 : 0);
        case QMetaType::LongLong:
            return plist_new_uint(static_cast<std::uint64_t>(value.toLongLong()));
        case QMetaType::ULongLong:
            return nodeOfElement("integer", QByteArray::number(value.toULongLong()));
        case QMetaType::Double:
            return plist_new_real(value.toDouble());
        case QMetaType::QString:
            return plist_new_string(xmlSafe(value.toString()).constData());
        case QMetaType::QDateTime:
            return nodeOfElement("date",
                                 value.toDateTime().toUTC().toString(Qt::ISODate).toLatin1());
        case QMetaType::QByteArray: {
            const QByteArray bytes = value.toByteArray();
            return plist_new_data(bytes.constData(), static_cast<std::uint64_t>(bytes.size()));
        }
        case QMetaType::QVariantList:
            return listNode(value.toList());
        case QMetaType::QVariantMap:
            return mapNode(value.toMap());
        default:
            return nullptr;
    }
}

QVariant listOfValues(const QVariantList& list) {
    QVariantList result;
    for (const QVariant& item : list) {
        if (QVariant value = propertyListValue(item); value.isValid()) {
            result.append(std::move(value));
        }
    }
    return result;
}

QVariant mapOfValues(const QVariantMap& map) {
    QVariantMap result;
    for (const auto& [key, item] : map.asKeyValueRange()) {
        if (const QVariant value = propertyListValue(item); value.isValid()) {
            result.insert(key, value);
        }
    }
    return result;
}

}  // namespace

std::optional<QVariantMap> readPropertyList(const QByteArray& bytes) {
    const bool isSound = bytes.startsWith("bplist")
                             ? isSoundBinaryPropertyList(bytes, kMaximumPropertyListDepth)
                             : !nestsTooDeep(bytes);
    if (!isSound || bytes.size() > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    const NumbersInCLocale numbers;
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), static_cast<std::uint32_t>(bytes.size()), &root);
    const Plist owned(root);
    if (root == nullptr || plist_get_node_type(root) != PLIST_DICT) {
        return std::nullopt;
    }
    return valueOf(root, 0).toMap();
}

QByteArray writePropertyList(const QVariantMap& values) {
    const NumbersInCLocale numbers;
    const Plist root(mapNode(values));
    return xmlOf(root.get());
}

QVariant propertyListValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::LongLong:
        case QMetaType::Double:
        case QMetaType::QString:
        case QMetaType::QByteArray:
            return value;
        case QMetaType::QDateTime:
            return value.toDateTime().isValid() ? value : QVariant();
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
            return QVariant::fromValue<qint64>(value.toLongLong());
        case QMetaType::ULong:
        case QMetaType::ULongLong: {
            const quint64 number = value.toULongLong();
            return std::in_range<qint64>(number) ? QVariant::fromValue(static_cast<qint64>(number))
                                                 : QVariant::fromValue(number);
        }
        case QMetaType::Float:
            return value.toDouble();
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            return listOfValues(value.toList());
        case QMetaType::QVariantHash:
        case QMetaType::QVariantMap:
            return mapOfValues(value.toMap());
        default:
            return {};
    }
}

}  // namespace takebox
