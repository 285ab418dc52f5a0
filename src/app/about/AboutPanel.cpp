#include "AboutPanel.h"

#include <QScreen>

#include "display/widgets/Icons.h"
#include "ui_AboutPanel.h"

namespace takebox {

AboutPanel::AboutPanel() : mUi(std::make_unique<Ui::AboutPanel>()) {
    constexpr int kIconSize = 96;
    mUi->setupUi(this);
    const QIcon icon = applicationIcon(QStringLiteral("TapedeckIcon"));
    setWindowIcon(icon);
    mUi->iconLabel->setPixmap(icon.pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF()));
    QFont name = mUi->nameLabel->font();
    name.setPixelSize(24);
    name.setBold(true);
    mUi->nameLabel->setFont(name);
    connect(mUi->aboutButtonBox, &QDialogButtonBox::rejected, this, &QDialog::close);
}

AboutPanel::~AboutPanel() = default;

void AboutPanel::orderFront(const QString& versionText) {
    mUi->aboutVersionField->setText(versionText);
    adjustSize();
    QRect frame = rect();
    frame.moveCenter(screen()->availableGeometry().center());
    move(frame.topLeft());
    show();
    raise();
    activateWindow();
}

}  // namespace takebox
