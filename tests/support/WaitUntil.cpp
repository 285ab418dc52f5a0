#include "WaitUntil.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace takebox::test {

bool waitUntil(const std::function<bool()>& condition, int seconds) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > seconds * 1000) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace takebox::test
