#include <QCoreApplication>

#include "support/TestMain.h"

int main(int argc, char** argv) {
    return takebox::test::runTests<QCoreApplication>(argc, argv);
}
