#pragma once

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

namespace takebox {

/// The per-user defaults of the program: keys and values in one property list file, with registered
/// defaults beneath. Main thread only.
///
/// Values are of the property list's types: bool, qint64 (quint64 above its range), double,
/// QString, QDateTime, QByteArray, QVariantList and QVariantMap of these.
///
/// The file is read as an XML or binary property list when the object is made and written as XML by
/// synchronize(): to a temporary file beside it, flushed to the disk, then renamed over it, so that
/// a crash leaves the old or the new file, never a part. A file that cannot be parsed is renamed
/// with the date and a warning is logged. A file that cannot be written is a log line; the values
/// stay in memory and the next synchronize() tries again.
class Defaults {
public:
    /// ~/Library/Preferences/com.marvanemedia.TakeboxDV.plist, below HOME.
    static QString standardPath();

    /// The defaults of this process, opened at standardPath() on first use.
    static Defaults& standard();

    explicit Defaults(QString path);

    /// Forgets everything (registered defaults too) and reads the file at the path. For tests and
    /// after the file was replaced.
    void reopen(const QString& path);

    [[nodiscard]] const QString& path() const { return mPath; }

    /// Values that hold where the user has set none.
    void registerDefaults(const QVariantMap& defaults);

    /// The value as it is stored, else as it is registered, else an invalid QVariant.
    [[nodiscard]] QVariant objectForKey(const QString& key) const;

    // Values of a neighbouring type are converted: a number is true when it is not 0; a text is
    // true for "YES", "yes", "true", "1" and other non-zero numbers; a text that begins with a
    // number is that number; true is 1. As qint64 a real is cut off towards 0 and an integer above
    // the range keeps its 64 bits. What cannot be converted, and an absent value, is false, 0 or
    // empty.
    [[nodiscard]] bool boolForKey(const QString& key) const;
    [[nodiscard]] qint64 integerForKey(const QString& key) const;
    [[nodiscard]] double doubleForKey(const QString& key) const;
    [[nodiscard]] float floatForKey(const QString& key) const;
    [[nodiscard]] QVariantList arrayForKey(const QString& key) const;

    /// The same conversions for a value inside an array or dictionary.
    [[nodiscard]] static bool boolOf(const QVariant& value);
    [[nodiscard]] static qint64 integerOf(const QVariant& value);
    [[nodiscard]] static double doubleOf(const QVariant& value);
    [[nodiscard]] static QString stringOf(const QVariant& value);

    /// Sets in memory; synchronize() writes. An invalid value removes the key.
    void setObject(const QString& key, const QVariant& value);
    void removeObject(const QString& key);

    /// Writes the file when something has changed. @return false when it could not be written (it
    /// has been logged).
    bool synchronize();

private:
    void read();
    bool moveDamagedFileAside();
    bool write();
    void logWriteFailure(const char* what, int error);

    QString mPath;
    QVariantMap mValues;
    QVariantMap mRegistered;
    bool mHasChanged = false;
    bool mIsUnreadable = false;  // the file at mPath could not be read, good as it may be
    bool mIsDamaged = false;     // it is no property list and could not yet be moved aside
    bool mWriteFailureLogged = false;
};

}  // namespace takebox
