#pragma once

#include <QByteArray>
#include <QStringList>

namespace takebox::test {

/// The tests of this program talk over a session bus of their own, which ends with them.

struct ClientResult {
    int exitCode = -1;
    QByteArray output;  ///< standard output, then standard error
};

/// Runs another program on the bus while our event loop goes on to answer it.
ClientResult runClient(const QString& program, const QStringList& arguments);

/// busctl with these arguments.
ClientResult busctl(const QStringList& arguments);

}  // namespace takebox::test
