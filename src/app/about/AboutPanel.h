#pragma once

#include <QDialog>
#include <QString>
#include <memory>

namespace Ui {
class AboutPanel;
}

namespace takebox {

/// Name, icon and version of the program. Main thread.
class AboutPanel : public QDialog {
    Q_OBJECT

public:
    AboutPanel();
    ~AboutPanel() override;

    /// Shows the panel in the middle of the screen.
    /// @param versionText "version 1.0.0"
    void orderFront(const QString& versionText);

private:
    std::unique_ptr<Ui::AboutPanel> mUi;
};

}  // namespace takebox
