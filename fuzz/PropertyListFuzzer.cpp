#include <cstdint>
#include <cstdlib>

#include "platform/defaults/PropertyList.h"

/// Reads any bytes as the preferences are read. What could be read is written as XML and has to
/// come back with the same keys.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace takebox;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto values = readPropertyList(bytes)) {
        const auto again = readPropertyList(writePropertyList(*values));
        if (!again || again->size() > values->size()) {
            std::abort();
        }
    }
    return 0;
}
