#include "display/widgets/Resources.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLocale>

namespace takebox {
namespace {

QString folderTitle() {
    return QCoreApplication::translate("takebox::CDVDeviceWindowController", "SelectFolder");
}

TEST(Resources, giveEveryKeyAnEnglishText) {
    installTranslations(QLocale(QLocale::English));
    EXPECT_EQ(folderTitle(), QStringLiteral("Select a Folder"));
    EXPECT_EQ(QCoreApplication::translate("CRecordingEvent", "DaysString"),
              QStringLiteral("SMTWTFS"));
}

TEST(Resources, fallBackToEnglishForOtherLanguages) {
    installTranslations(QLocale(QLocale::Finnish));
    EXPECT_EQ(folderTitle(), QStringLiteral("Select a Folder"));
}

TEST(Resources, changeTheLanguage) {
    installTranslations(QLocale(QLocale::German));
    EXPECT_EQ(folderTitle(), QStringLiteral("Ordner wählen"));
    EXPECT_EQ(QCoreApplication::translate("CDiskTimeFormatter", "Couldn't convert to time"),
              QStringLiteral("Das ist keine Zeitangabe"));
    installTranslations(QLocale(QLocale::English));
    EXPECT_EQ(folderTitle(), QStringLiteral("Select a Folder"));
    EXPECT_EQ(QCoreApplication::translate("CDiskTimeFormatter", "Couldn't convert to time"),
              QStringLiteral("Couldn't convert to time"));
}

}  // namespace
}  // namespace takebox
