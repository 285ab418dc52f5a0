#include <QCoreApplication>

#include "support/TestMain.h"
#include "support/firewire/FirewireBench.h"

// As the other test programs, on a bus that is not there.
int main(int argc, char** argv) {
    takebox::test::enterFirewireBench(argv);
    const int result = takebox::test::runTests<QCoreApplication>(argc, argv);
    takebox::test::leaveFirewireBench();
    return result;
}
