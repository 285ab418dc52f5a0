#pragma once

class QLocale;

namespace takebox {

/// Makes the icons and translations that are built into the program available. To be called before
/// the first window is made; further calls do nothing.
void loadResources();

/// Shows all texts in the language of a locale, English where there is no translation. Replaces the
/// language that was installed before. Needs an application object.
void installTranslations(const QLocale& locale);

}  // namespace takebox
