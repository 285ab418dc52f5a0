#include "platform/avc/virtualdeck/MainThreadCalls.h"

#include <QCoreApplication>
#include <QEvent>
#include <memory>
#include <utility>

namespace takebox::avc {
namespace {

class Call final : public QEvent {
public:
    explicit Call(MainThreadCalls::Action action) : QEvent(kind()), mAction(std::move(action)) {}
    void run() const { mAction(); }

    static Type kind() {
        static const auto type = static_cast<Type>(registerEventType());
        return type;
    }

private:
    MainThreadCalls::Action mAction;
};

}  // namespace

void MainThreadCalls::post(Action action) {
    QCoreApplication::postEvent(this, std::make_unique<Call>(std::move(action)).release());
}

bool MainThreadCalls::event(QEvent* event) {
    if (event->type() != Call::kind()) {
        return QObject::event(event);
    }
    static_cast<const Call*>(event)->run();
    return true;
}

MainThreadCalls& MainThreadCalls::lasting() {
    static auto* const calls = std::make_unique<MainThreadCalls>().release();
    return *calls;
}

}  // namespace takebox::avc
