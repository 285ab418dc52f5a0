#include "Resources.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <memory>
#include <vector>

// The macro names a function outside every namespace.
static void registerBuiltInFiles() {
    Q_INIT_RESOURCE(takebox);
    Q_INIT_RESOURCE(translations);
}

namespace takebox {
namespace {

std::vector<std::unique_ptr<QTranslator>>& installedTranslators() {
    static std::vector<std::unique_ptr<QTranslator>> translators;
    return translators;
}

// Later translators are asked first.
bool install(const QLocale& locale, const QString& name, const QString& folder) {
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(locale, name, QStringLiteral("_"), folder)) {
        return false;
    }
    QCoreApplication::installTranslator(translator.get());
    installedTranslators().push_back(std::move(translator));
    return true;
}

}  // namespace

void loadResources() {
    registerBuiltInFiles();
}

void installTranslations(const QLocale& locale) {
    loadResources();
    for (const auto& translator : installedTranslators()) {
        QCoreApplication::removeTranslator(translator.get());
    }
    installedTranslators().clear();
    const QString ours = QStringLiteral("takebox");
    const QString folder = QStringLiteral(":/translations");
    install(QLocale(QLocale::English), ours, folder);
    if (install(locale, ours, folder)) {
        // Texts of the toolkit itself (buttons of dialogs), in the same language as ours.
        install(locale, QStringLiteral("qtbase"),
                QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    }
}

}  // namespace takebox
