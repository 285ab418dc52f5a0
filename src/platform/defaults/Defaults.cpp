#include "platform/defaults/Defaults.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/defaults/AtomicFile.h"
#include "platform/defaults/PropertyList.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

/// The number that the text begins with; 0 when it begins with none. Independent of the locale.
double leadingDouble(const QString& text) {
    const QByteArray bytes = text.trimmed().toLatin1();
    const char* begin = bytes.constData();
    const char* const end = begin + bytes.size();
    if (*begin == '+') {
        ++begin;
    }
    const char first = *begin == '-' ? begin[1] : *begin;
    double number = 0;
    if ((first >= '0' && first <= '9') || first == '.') {  // neither "inf" nor "nan"
        std::from_chars(begin, end, number);
    }
    return number;
}

qint64 truncated(double number) {
    constexpr double kLimit = 9223372036854775808.0;  // 2 to the 63rd
    if (std::isnan(number)) {
        return 0;
    }
    if (number >= kLimit) {
        return std::numeric_limits<qint64>::max();
    }
    return number < -kLimit ? std::numeric_limits<qint64>::min() : static_cast<qint64>(number);
}

/// As leadingDouble(), with all 64 bits of a whole number.
qint64 leadingInteger(const QString& text) {
    const QByteArray bytes = text.trimmed().toLatin1();
    const char* const begin = bytes.startsWith('+') ? bytes.constData() + 1 : bytes.constData();
    qint64 number = 0;
    const auto [rest, error] = std::from_chars(begin, bytes.constData() + bytes.size(), number);
    const bool goesOn = *rest == '.' || *rest == 'e' || *rest == 'E';
    return error == std::errc() && !goesOn ? number : truncated(leadingDouble(text));
}

/// A name beside the path that says when the file was found damaged, free to be used.
QString nameForDamagedFile(const QString& path) {
    const QFileInfo file(path);
    const QString stem = file.path() + u'/' + file.completeBaseName() + u".damaged-"_s +
                         QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss"_s);
    const QString suffix = file.suffix().isEmpty() ? QString() : u'.' + file.suffix();
    QString name = stem + suffix;
    for (int i = 2; QFileInfo::exists(name); ++i) {
        name = stem + u'-' + QString::number(i) + suffix;
    }
    return name;
}

}  // namespace

QString Defaults::standardPath() {
    return QDir::homePath() + u"/Library/Preferences/com.marvanemedia.TakeboxDV.plist"_s;
}

Defaults& Defaults::standard() {
    static Defaults defaults(standardPath());
    return defaults;
}

Defaults::Defaults(QString path) : mPath(std::move(path)) {
    read();
}

void Defaults::reopen(const QString& path) {
    *this = Defaults(path);
}

void Defaults::registerDefaults(const QVariantMap& defaults) {
    mRegistered.insert(propertyListValue(defaults).toMap());
}

QVariant Defaults::objectForKey(const QString& key) const {
    const auto found = mValues.constFind(key);
    return found != mValues.constEnd() ? *found : mRegistered.value(key);
}

bool Defaults::boolForKey(const QString& key) const {
    return boolOf(objectForKey(key));
}

qint64 Defaults::integerForKey(const QString& key) const {
    return integerOf(objectForKey(key));
}

double Defaults::doubleForKey(const QString& key) const {
    return doubleOf(objectForKey(key));
}

float Defaults::floatForKey(const QString& key) const {
    return static_cast<float>(doubleForKey(key));
}

QVariantList Defaults::arrayForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

bool Defaults::boolOf(const QVariant& value) {
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        return text.compare("yes"_L1, Qt::CaseInsensitive) == 0 ||
               text.compare("true"_L1, Qt::CaseInsensitive) == 0 || leadingDouble(text) != 0;
    }
    return doubleOf(value) != 0;
}

qint64 Defaults::integerOf(const QVariant& value) {
    const QVariant known = propertyListValue(value);
    switch (known.typeId()) {
        case QMetaType::QString:
            return leadingInteger(known.toString());
        case QMetaType::ULongLong:
            return static_cast<qint64>(known.toULongLong());
        case QMetaType::Double:
            return truncated(known.toDouble());
        case QMetaType::Bool:
        case QMetaType::LongLong:
            return known.toLongLong();
        default:
            return 0;
    }
}

double Defaults::doubleOf(const QVariant& value) {
    const QVariant known = propertyListValue(value);
    switch (known.typeId()) {
        case QMetaType::QString:
            return leadingDouble(known.toString());
        case QMetaType::Bool:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
            return known.toDouble();
        default:
            return 0;
    }
}

QString Defaults::stringOf(const QVariant& value) {
    const QVariant known = propertyListValue(value);
    switch (known.typeId()) {
        case QMetaType::Bool:
            return known.toBool() ? u"1"_s : u"0"_s;
        case QMetaType::QString:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
            return known.toString();
        default:
            return {};
    }
}

void Defaults::setObject(const QString& key, const QVariant& value) {
    const QVariant known = propertyListValue(value);
    if (!known.isValid()) {
        removeObject(key);
        return;
    }
    mValues.insert(key, known);
    mHasChanged = true;
}

void Defaults::removeObject(const QString& key) {
    if (mValues.remove(key) > 0) {
        mHasChanged = true;
    }
}

bool Defaults::synchronize() {
    if (!mHasChanged) {
        return true;
    }
    if (mIsUnreadable || (mIsDamaged && !moveDamagedFileAside()) || !write()) {
        return false;
    }
    mHasChanged = false;
    mWriteFailureLogged = false;
    return true;
}

void Defaults::read() {
    removeAbandonedReplacements(mPath);
    QFile file(mPath);
    if (!file.exists()) {
        return;
    }
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    if (file.error() != QFileDevice::NoError) {
        // It may be good: it stays as it is, and nothing is written over it.
        mIsUnreadable = true;
        logMessage(
            "Warning: the preferences file %s cannot be read: %s. It is left as it is, and "
            "changes hold until the program ends.",
            qUtf8Printable(mPath), qUtf8Printable(file.errorString()));
        return;
    }
    if (auto values = readPropertyList(bytes)) {
        mValues = std::move(*values);
        return;
    }
    logMessage("Warning: the preferences file %s is damaged", qUtf8Printable(mPath));
    mIsDamaged = true;
    moveDamagedFileAside();
}

bool Defaults::moveDamagedFileAside() {
    const QString name = nameForDamagedFile(mPath);
    if (rename(QFile::encodeName(mPath).constData(), QFile::encodeName(name).constData()) != 0 &&
        errno != ENOENT) {
        logWriteFailure("cannot move the damaged file aside", errno);
        return false;
    }
    logMessage("Warning: it was kept as %s; the preferences start afresh", qUtf8Printable(name));
    mIsDamaged = false;
    return true;
}

bool Defaults::write() {
    const QString folder = QFileInfo(mPath).path();
    if (!QDir().mkpath(folder)) {
        logWriteFailure("cannot make its folder", errno);
        return false;
    }
    if (const int error = replaceFile(mPath, writePropertyList(mValues)); error != 0) {
        logWriteFailure("cannot write", error);
        return false;
    }
    return true;
}

/// Once until it has worked again: every change in a window tries to write.
void Defaults::logWriteFailure(const char* what, int error) {
    if (!mWriteFailureLogged) {
        logMessage(
            "The preferences could not be saved to %s: %s (%s). They hold until the program "
            "ends; each change tries again.",
            qUtf8Printable(mPath), what, std::strerror(error));
    }
    mWriteFailureLogged = true;
}

}  // namespace takebox
