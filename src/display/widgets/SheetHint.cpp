#include "display/widgets/SheetHint.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <algorithm>

namespace takebox {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("takebox::SheetHint", text);
}

/// What keeps files from being made in a folder; empty when nothing does.
QString problemOf(const QFileInfo& folder) {
    if (!folder.isDir()) {
        return tr(QT_TRANSLATE_NOOP("takebox::SheetHint", "%1 does not exist now."));
    }
    if (!folder.isWritable()) {
        return tr(QT_TRANSLATE_NOOP("takebox::SheetHint", "%1: you may not write there."));
    }
    return {};
}

}  // namespace

QStringList movieWarnings(std::initializer_list<MovieFolder> folders) {
    if (std::none_of(folders.begin(), folders.end(), [](const auto& one) { return one.isUsed; })) {
        return {tr(QT_TRANSLATE_NOOP("takebox::SheetHint",
                                     "No movie is ticked: nothing would be recorded."))};
    }
    QStringList texts;
    for (const auto& [field, isUsed] : folders) {
        // A disk that nobody wants is not asked: it may be slow to answer.
        const QString problem = isUsed ? problemOf(QFileInfo(field->text())) : QString();
        if (!problem.isEmpty()) {
            texts.append(problem.arg(field->accessibleName()));
        }
    }
    return texts;
}

void showHint(QLabel& icon, QLabel& label, QStyle::StandardPixmap picture, const QString& hint) {
    const int size = label.style()->pixelMetric(QStyle::PM_SmallIconSize);
    icon.setPixmap(label.style()->standardIcon(picture).pixmap(size));
    icon.setVisible(!hint.isEmpty());
    label.setText(hint);
}

}  // namespace takebox
