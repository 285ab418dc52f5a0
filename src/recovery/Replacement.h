#pragma once

#include <QString>

#include "recovery/Recovery.h"

namespace takebox {

/// A new file that is to take the place of an old one beside it. Until it does, it has a temporary
/// name, and it is removed when the object goes without that.
class Replacement {
public:
    /// @param original the file that stays as it is until replaceOriginal().
    explicit Replacement(QString original);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    [[nodiscard]] const QString& temporaryPath() const { return mTemporaryPath; }

    /// Lets both files change their names: the original becomes "NAME (original)", or with a number
    /// where that is taken. The new file is on the disk already.
    /// @param kept receives where the original is. @return 0 or an errno value.
    [[nodiscard]] int replaceOriginal(QString& kept);

private:
    QString mOriginal;
    QString mTemporaryPath;
};

}  // namespace takebox
