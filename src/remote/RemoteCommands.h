#pragma once

#include <deque>
#include <memory>

#include "remote/TCPServerDelegate.h"

namespace takebox {

class CDVDevicesController;

/// Answers the remote commands: the vocabulary of docs/remote-control.md. Main thread.
///
/// A command is executed and answered before receivedNewCommand() returns, so it never overlaps
/// another, nor what a user or the schedule does.
class RemoteCommands : public TCPServerDelegate {
public:
    /// @param devices the decks that commands address; outlives this object.
    explicit RemoteCommands(CDVDevicesController& devices) : mDevices(devices) {}

    /// Queues the command and answers the first of the queue.
    void receivedNewCommand(const std::shared_ptr<Command>& command) override;

    /// Answers one command; does nothing when none waits.
    void processNextCommand();

private:
    CDVDevicesController& mDevices;
    std::deque<std::shared_ptr<Command>> mCommandsToProcess;
};

}  // namespace takebox
