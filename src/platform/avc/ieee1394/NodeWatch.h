#pragma once

#include <cstdint>

#include "platform/avc/ieee1394/FileDescriptor.h"

namespace takebox::avc {

/// A node's place on its bus, as of the last bus reset.
struct NodeInfo {
    std::uint32_t card = 0;        ///< index of the controller
    std::uint32_t generation = 0;  ///< counts bus resets
    std::uint16_t node = 0;        ///< node ID with bus number, 0xFFC0 and up
};

/// The device file of one node, /dev/fwN, kept open to hear of bus resets and of the node's end.
/// It needs access to this node's file only. One thread.
class NodeWatch {
public:
    enum class News {
        kNone,
        kBusReset,  ///< info() has changed
        kGone,      ///< the node has left; nothing will come any more
    };

    /// @param number N of /dev/fwN.
    /// @return 0, EACCES, ENODEV or another errno value. Never waits for the device.
    [[nodiscard]] int open(int number);
    void close() { mFile.reset(); }
    [[nodiscard]] bool isOpen() const { return mFile.isValid(); }

    /// Becomes readable when there is news.
    [[nodiscard]] int descriptor() const { return mFile.get(); }
    /// Takes in all news that waits; does not block.
    News read();
    /// Asks the kernel where the node is now. @return false when it is gone.
    bool refresh();

    [[nodiscard]] const NodeInfo& info() const { return mInfo; }

private:
    [[nodiscard]] int getInfo();

    FileDescriptor mFile;
    NodeInfo mInfo;
};

}  // namespace takebox::avc
