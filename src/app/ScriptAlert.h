#pragma once

#include <QMessageBox>
#include <memory>

#include "platform/scripting/ScriptSupervisor.h"

namespace takebox {

/// Tells the user which script holds up the program once it has run for 10 s, and lets him end it.
/// While the alert is shown the program answers as usual; it goes away when the script ends.
class ScriptAlert final : public ScriptSupervisor {
public:
    bool shouldEndScript(const QString& name, double seconds) override;
    void scriptDidEnd(const QString& name) override;

    /// Null while no alert is shown.
    [[nodiscard]] QMessageBox* alert() const { return mAlert.get(); }

private:
    std::unique_ptr<QMessageBox> mAlert;
};

}  // namespace takebox
