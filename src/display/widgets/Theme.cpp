#include "Theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStyleFactory>

namespace takebox {
namespace {

constexpr int kAnswerTime = 300;  // milliseconds
constexpr uint kPrefersDark = 1;

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

// The settings portal wraps the value in one variant or, in older versions, in two.
uint unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value.toUInt();
}

bool desktopPrefersDark() {
    QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    question << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    const QDBusMessage answer = bus.call(question, QDBus::Block, kAnswerTime);
    return answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty() &&
           unwrapped(answer.arguments().constFirst()) == kPrefersDark;
}

}  // namespace

QPalette darkPalette() {
    const QColor window(0x33, 0x37, 0x3C);
    const QColor base(0x1A, 0x1C, 0x1F);
    const QColor text(0xE8, 0xEA, 0xED);
    const QColor dimmed(0x8C, 0x92, 0x99);
    QPalette palette(QColor(0x4A, 0x4F, 0x57), window);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::BrightText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, dimmed);
    }
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x25, 0x28, 0x2C));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3A, 0x3E, 0x44));
    palette.setColor(QPalette::PlaceholderText, dimmed);
    palette.setColor(QPalette::Highlight, QColor(0x3D, 0x7A, 0xC8));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x6C, 0xB0, 0xFF));
    return palette;
}

void followDesktopTheme() {
    if (isDark(QApplication::palette()) || !desktopPrefersDark()) {
        return;
    }
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(darkPalette());
}

}  // namespace takebox
