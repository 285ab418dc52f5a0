#pragma once

#include <QStringList>
#include <vector>

#include "support/ChildProcess.h"

namespace takebox::test {

/// A system bus and a service daemon of the test's own, on a loopback network of its own; see
/// tests/support/private_mdns.py.
class PrivateMdns {
public:
    /// The one of this process: a process keeps the first system bus that it has seen. Its daemon
    /// runs or not as the test before left it.
    static PrivateMdns& shared();

    ~PrivateMdns();
    PrivateMdns(const PrivateMdns&) = delete;
    PrivateMdns& operator=(const PrivateMdns&) = delete;

    /// False on a machine without the programs or rights for it; that has been printed.
    [[nodiscard]] bool isAvailable() const { return mIsAvailable; }

    void startDaemon();                       ///< Does nothing when it runs.
    void stopDaemon();                        ///< Does nothing when it does not run.
    void pauseDaemon() { command("pause"); }  ///< It hangs: holds its connections, says nothing.
    void resumeDaemon() { command("resume"); }

    /// What avahi-browse resolves: name, type and port of each recorder, such as
    /// "takebox-test _takebox._tcp 1026", each once.
    [[nodiscard]] static QStringList browse();

private:
    PrivateMdns();
    void command(const char* word);
    QByteArray readLine();

    ChildProcess mProcess;
    bool mIsAvailable = false;
    bool mDaemonRuns = false;
};

}  // namespace takebox::test
