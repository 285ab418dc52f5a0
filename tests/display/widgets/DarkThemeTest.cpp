#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include "../../app/SessionBus.h"
#include "display/widgets/Theme.h"

namespace takebox {
namespace {

/// The desktop's settings, on the session bus of this program.
class SettingsPortal : public QDBusVirtualObject {
public:
    explicit SettingsPortal(QVariant colorScheme) : mColorScheme(std::move(colorScheme)) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        EXPECT_TRUE(bus.registerVirtualObject(kPath, this));
        EXPECT_TRUE(bus.registerService(kService));
    }
    ~SettingsPortal() override {
        QDBusConnection::sessionBus().unregisterService(kService);
        QDBusConnection::sessionBus().unregisterObject(kPath);
    }
    SettingsPortal(const SettingsPortal&) = delete;
    SettingsPortal& operator=(const SettingsPortal&) = delete;

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        EXPECT_EQ(message.interface(), QStringLiteral("org.freedesktop.portal.Settings"));
        EXPECT_EQ(message.member(), QStringLiteral("Read"));
        EXPECT_EQ(message.arguments(), (QVariantList{QStringLiteral("org.freedesktop.appearance"),
                                                     QStringLiteral("color-scheme")}));
        return bus.send(message.createReply(QVariant::fromValue(QDBusVariant(mColorScheme))));
    }
    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

private:
    static inline const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
    static inline const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");

    QVariant mColorScheme;
};

bool isDarkOn(const QVariant& colorScheme) {
    const QPalette before = QApplication::palette();
    const SettingsPortal portal(colorScheme);
    followDesktopTheme();
    const bool isDark = QApplication::palette() == darkPalette();
    QApplication::setPalette(before);
    return isDark;
}

TEST(DarkTheme, isThatOfADesktopThatPrefersIt) {
    EXPECT_FALSE(isDarkOn(0U)) << "no preference";
    EXPECT_TRUE(isDarkOn(1U));
    EXPECT_FALSE(isDarkOn(2U)) << "light";
}

TEST(DarkTheme, isFoundInAnAnswerThatIsWrappedTwice) {
    EXPECT_TRUE(isDarkOn(QVariant::fromValue(QDBusVariant(1U))));
}

}  // namespace
}  // namespace takebox
