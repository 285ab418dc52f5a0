#include "TrayMenu.h"

#include "app/CTapedeckApplication.h"
#include "display/widgets/LiteralText.h"

namespace takebox {

TrayMenu::TrayMenu(CTapedeckApplication& application) : mApplication(application) {
    mIcon.setToolTip(QStringLiteral("Takebox DV"));
    mIcon.setContextMenu(&mMenu);
    connect(&mMenu, &QMenu::aboutToShow, this, [this] { fill(mMenu); });
    connect(&mIcon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger) {
                    Q_EMIT activated();
                }
            });
    fill(mMenu);
}

void TrayMenu::setIcon(const QIcon& icon) {
    mIcon.setIcon(icon);
    mIcon.show();
}

bool TrayMenu::isShown() const {
    return QSystemTrayIcon::isSystemTrayAvailable() && mIcon.isVisible();
}

void TrayMenu::fill(QMenu& menu) {
    menu.clear();
    for (const DockMenuItem& item : mApplication.dockMenu()) {
        if (item.kind == DockMenuItem::Kind::kSeparator) {
            menu.addSeparator();
            continue;
        }
        QAction* action = menu.addAction(menuText(item.title));
        if (item.kind == DockMenuItem::Kind::kDeviceName) {
            action->setEnabled(false);
            continue;
        }
        action->setCheckable(true);
        action->setChecked(item.isChecked);
        connect(action, &QAction::triggered, this, [this, item] {
            if (item.kind == DockMenuItem::Kind::kRecord) {
                mApplication.dockMenuRecordAction(item.tag);
            } else {
                mApplication.dockMenuStopAction(item.tag);
            }
        });
    }
}

}  // namespace takebox
