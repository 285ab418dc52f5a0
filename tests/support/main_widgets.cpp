#include <QApplication>

#include "support/TestMain.h"

// With windows: on a platform that needs no display.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return takebox::test::runTests<QApplication>(argc, argv);
}
