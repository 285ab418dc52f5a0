#pragma once

#include <QObject>
#include <functional>

namespace takebox::avc {

/// Runs actions from the main thread's event loop, in the order in which they were posted. Made and
/// destroyed on the main thread; what still waits then is forgotten.
class MainThreadCalls final : public QObject {
public:
    using Action = std::function<void()>;

    /// Any thread.
    void post(Action action);

    /// One that is never destroyed, for actions that stand for themselves.
    static MainThreadCalls& lasting();

protected:
    bool event(QEvent* event) override;
};

}  // namespace takebox::avc
