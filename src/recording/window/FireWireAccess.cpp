#include "FireWireAccess.h"

#include <QDir>
#include <QFileInfo>

namespace takebox {

FireWireAccess fireWireAccess(const QString& folder) {
    FireWireAccess access = FireWireAccess::kNoAdapter;
    const auto files = QDir(folder).entryInfoList(
        {QStringLiteral("fw[0-9]*")}, QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& file : files) {
        if (file.isReadable() && file.isWritable()) {
            return FireWireAccess::kReady;
        }
        access = FireWireAccess::kNoPermission;
    }
    return access;
}

}  // namespace takebox
