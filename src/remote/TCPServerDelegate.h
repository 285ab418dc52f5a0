#pragma once

#include <memory>

namespace takebox {

class Command;

/// Who answers the commands of a TCPServer's clients. Main thread.
class TCPServerDelegate {
public:
    virtual ~TCPServerDelegate() = default;

    /// One command has come in. The answer is given within the call: setResponseString() or
    /// setResponseData(), then sendResponse(). The command keeps its connection until it is let go.
    virtual void receivedNewCommand(const std::shared_ptr<Command>& command) = 0;

protected:
    TCPServerDelegate() = default;
    TCPServerDelegate(const TCPServerDelegate&) = default;
    TCPServerDelegate& operator=(const TCPServerDelegate&) = default;
};

}  // namespace takebox
