#include "platform/avc/AVCDevice.h"

#include <algorithm>

namespace takebox::avc {

void AVCDevice::setDeviceName(std::string_view name) {
    std::size_t length = std::min(name.size(), kNameSize - 1);
    // Never cut a character of several bytes in two.
    while (length > 0 && length < name.size() &&
           (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) {
        --length;
    }
    mName.fill('\0');
    std::copy_n(name.begin(), length, mName.begin());
}

}  // namespace takebox::avc
