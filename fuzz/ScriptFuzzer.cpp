#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

#include "platform/log/Log.h"
#include "platform/scripting/Script.h"

/// Whatever lies in the folder of actions: it is loaded and compiled as at the start of the
/// program, and not run, for a script may do what its user may.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace takebox;
    static const QTemporaryDir folder;
    static const QString path = folder.filePath(QStringLiteral("Action.lua"));
    static const bool isQuiet = (setLogSink([](std::string_view) {}), true);
    static_cast<void>(isQuiet);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) !=
            static_cast<qint64>(size)) {
        std::abort();
    }
    file.close();
    if (const auto script = Script::load(path)) {
        static_cast<void>(script->compile());
    }
    return 0;
}
